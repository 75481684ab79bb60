#include "RKImageLoader/video/RKVideoDecoder.h"

#include <algorithm>

RKVideoDecoder::~RKVideoDecoder() = default;

RKDrawable RKVideoDecoder::decodeDrawable(
    const RKMediaDescriptor& descriptor, const QSize& wanted) const
{
    return RKDrawable(decode(descriptor, wanted));
}

QImage RKVideoDecoder::decode(
    const RKMediaDescriptor& descriptor, const QSize& wanted, RKLoadContext&) const
{
    return decode(descriptor, wanted);
}

RKDrawable RKVideoDecoder::decodeDrawable(
    const RKMediaDescriptor& descriptor, const QSize& wanted, RKLoadContext&) const
{
    return decodeDrawable(descriptor, wanted);
}

QSize RKVideoDecoder::size(const RKMediaDescriptor& descriptor, RKLoadContext&) const
{
    return size(descriptor);
}

int RKVideoDecoder::rotation(const RKMediaDescriptor&) const
{
    return 0;
}

RKVideoFrameIndex RKVideoDecoder::lastFrameIndex(const RKMediaDescriptor& descriptor) const
{
    return framesPerSecond(descriptor).ms2frameIndex(durationInMS(descriptor)).frame() - 1;
}

RKVideoFrameIndex RKVideoDecoder::defaultFrameIndex(const RKMediaDescriptor& descriptor) const
{
    constexpr double kLatestSecond = 5.0;
    const double seconds = durationInMS(descriptor) / 1000.0;
    const auto ms = static_cast<long long>(std::min(seconds * 0.5, kLatestSecond) * 1000.0);
    return framesPerSecond(descriptor).ms2frameIndex(ms);
}
