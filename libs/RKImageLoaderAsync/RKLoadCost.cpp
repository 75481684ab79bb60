#include "RKImageLoader/loading/RKMediaLoaderAbstract.h"
#include "RKImageLoaderAsync/RKLoadCost_p.h"

#include <algorithm>

namespace {

// Decoders have rows, coefficients or a second picture besides the one that they make.
constexpr qint64 kBytesPerPixel = 8;
// LibRaw has the sensor's values, four channels of 16 bits, and two pictures.
constexpr qint64 kRawBytesPerPixel = 17;
// Their decoders stay open and have a limit of their own; this is for a frame.
constexpr qint64 kVideoBytes = 64LL << 20;

qint64 pixels(const QSize& size)
{
    return size.isValid() ? qint64(size.width()) * size.height() : 0;
}

} // namespace

qint64 RKLoadCost::estimate(const RKMediaLoaderAbstract& loader, const RKLoadRequest& request)
{
    const RKMediaDescriptor descriptor = request.descriptor();
    const QFileInfo file = descriptor.fileInfo();
    // What can't be loaded costs nothing, and isn't to be reported twice.
    if (!file.isFile() || file.size() == 0 || !loader.hasSupportedMediaFormat(descriptor))
        return 0;
    const RKMediaFormat format = descriptor.mediaFormat();
    if (format.isVideo())
        return kVideoBytes;
    // A drawing stays one.
    if (format.isSVG())
        return 2 * file.size();
    const qint64 perPixel = format.isRaw() ? kRawBytesPerPixel : kBytesPerPixel;
    const QSize stored = loader.unrotatedSize(descriptor);
    return file.size() + perPixel * std::max(pixels(stored), pixels(request.wanted));
}
