#pragma once

#include "RKImageLoader/media/RKLoadContext.h"
#include "RKImageLoader/media/RKMemoryShortage_p.h"
#include "RKImageLoader/media/RKPoolThreads_p.h"

#include <QSize>

#include <new>

/// Memory that the system doesn't give.
namespace RKMemory {

/// What the work returns; the empty result, with the reason noted, if it ran out of memory.
template <typename Work>
auto noted(RKLoadContext& context, const Work& work) -> decltype(work())
{
    try {
        if (RKPoolThreads::areReady())
            return work();
    } catch (const std::bad_alloc&) {
    }
    context.fail(RKMediaErrorCode::OutOfMemory);
    return {};
}

/// For functions that store their reason.
template <typename Work>
auto stored(RKMediaError* error, const Work& work) -> decltype(work())
{
    try {
        if (RKPoolThreads::areReady())
            return work();
    } catch (const std::bad_alloc&) {
    }
    if (error)
        *error = RKMediaError(RKMediaErrorCode::OutOfMemory);
    return {};
}

/// Whether a picture of that size has failed for lack of memory, as far as that can be known
/// afterwards: few codecs say why they fail. They hold three channels in 32 bits besides the
/// picture.
inline bool isShortFor(const QSize& size)
{
    constexpr qint64 kBytesPerPixel = 16;
    const qint64 pixels = size.isValid() ? qint64(size.width()) * size.height() : 0;
    return isShortOf(kBytesPerPixel * pixels);
}

} // namespace RKMemory
