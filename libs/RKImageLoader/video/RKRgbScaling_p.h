#pragma once

#include <memory>

struct AVFrame;
struct SwsContext;

/// The conversion of decoded frames to RGB, 8 bits per channel.
namespace RKRgbScaling {

struct Deleter
{
    void operator()(SwsContext* context) const;
};

using Context = std::unique_ptr<SwsContext, Deleter>;

/// A conversion for frames of this size, pixel format, YCbCr matrix and range; null where FFmpeg
/// has none. Frames that don't name their matrix count as BT.601 (ITU-T H.273, table 4).
Context contextFor(const AVFrame& frame);

} // namespace RKRgbScaling
