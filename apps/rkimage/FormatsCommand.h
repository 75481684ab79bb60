#pragma once

/// Lists the readable formats with their decoders, and the writable ones. Returns the exit code.
int runFormatsCommand(bool json);
