// What doesn't need the platform; the rest is in RKBitmapDecoderMacCoreGraphics.mm.
#include "RKImageLoader/decoders/RKBitmapDecoderMacCoreGraphics.h"

namespace {

constexpr int kNarrowestPicture = 200;

} // namespace

QList<QByteArray> RKBitmapDecoderMacCoreGraphics::staticReadableImageFileFormats()
{
    return {"psd", "crw", "cr2", "arw", "nef", "raf", "dng", "rw2"};
}

bool RKBitmapDecoderMacCoreGraphics::isOnlyPreview(int width, const RKMediaDescriptor& descriptor)
{
    return width < kNarrowestPicture && descriptor.isValid();
}

QSize RKBitmapDecoderMacCoreGraphics::proposedSize(const QSize& wantedSize, const QSize& ownSize)
{
    return wantedSize.isValid() ? wantedSize : ownSize;
}

QImage RKBitmapDecoderMacCoreGraphics::fitted(const QImage& image, const QSize& wantedSize)
{
    if (image.isNull() || !wantedSize.isValid())
        return image;
    return image.scaled(calculateRealTargetSize(wantedSize, image.size()),
        Qt::IgnoreAspectRatio,
        Qt::SmoothTransformation);
}
