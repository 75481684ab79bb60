#pragma once

#include "RKImageLoader/RKImageLoaderExport.h"
#include "RKImageLoader/video/RKVideoDecoder.h"

/// Stands in for a decoder: every frame is a test card with the file's name and the frame's number,
/// and no file is ever opened. Needs a QGuiApplication for its fonts.
///
/// Still abstract: a subclass says what there is to free. Not registered.
class RKIMAGELOADER_EXPORT RKVideoDecoderDummy : public RKVideoDecoder
{
public:
    using RKVideoDecoder::decode;
    using RKVideoDecoder::size;

    RKMediaFormatList supportedVideoFileFormats() const override;
    /// Fills the wanted size, 640x480 for one with a negative side.
    QImage decode(const RKMediaDescriptor& descriptor, const QSize& wanted) const override;
    /// The date is the current one.
    RKMetaData metaData(const RKMediaDescriptor& descriptor) const override;
    /// Always 300x300.
    QSize size(const RKMediaDescriptor& descriptor) const override;
    /// Always 25.
    RKFramesPerSecond framesPerSecond(const RKMediaDescriptor& descriptor) const override;
    /// Always one and a half hours.
    int durationInMS(const RKMediaDescriptor& descriptor) const override;
    /// Always empty.
    QString usedCodec(const RKMediaDescriptor& descriptor) const override;
};
