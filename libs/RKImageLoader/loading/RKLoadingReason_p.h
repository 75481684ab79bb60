#pragma once

class RKLoadContext;
class RKMediaDescriptor;

/// Completes the reasons of requests by what the file itself shows.
namespace RKLoadingReason {

/// Notes that nothing loads files with such a name.
void noteUnsupported(const RKMediaDescriptor& descriptor, RKLoadContext& context);

enum class Outcome
{
    Loaded,
    Failed
};

/// To be called when a request is done. A failed one has a reason then.
void conclude(const RKMediaDescriptor& descriptor, Outcome outcome, RKLoadContext& context);

} // namespace RKLoadingReason
