#pragma once

#include <QString>

/// The versions of the libraries that decoders call, as they are loaded. Thread-safe.
namespace RKCodecVersions {

QString libtiff();
QString libwebp();
/// Only in builds that read camera raw files.
QString libraw();

} // namespace RKCodecVersions
