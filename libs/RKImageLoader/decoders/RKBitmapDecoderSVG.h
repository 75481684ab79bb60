#pragma once

#include "RKImageLoader/RKImageLoaderExport.h"
#include "RKImageLoader/decoders/RKBitmapDecoder.h"

/// Reads SVG documents, compressed or not, as vector drawables. Offers no writable format, but
/// saves what it is told to as an SVG document.
class RKIMAGELOADER_EXPORT RKBitmapDecoderSVG : public RKBitmapDecoder
{
public:
    using RKBitmapDecoder::save;

    RKMediaFormatList readableImageFileFormats() const override;
    RKMediaFormatList writableImageFileFormats() const override;

    /// The document rendered at its default size, or fitted into the wanted size.
    QImage decode(const QByteArray& data,
        const QByteArray& format,
        const QSize& wantedSize,
        const RKMediaDescriptor& descriptor) const override;
    /// The document as a vector whose nominal size is fitted into the wanted size.
    RKDrawable decodeDrawable(const QByteArray& data,
        const QByteArray& format,
        const QSize& wantedSize,
        const RKMediaDescriptor& descriptor) const override;

    bool save(const QFileInfo& file, const RKDrawable& drawable) const override;
    bool save(QIODevice* device, const RKMediaFormat& format, const QImage& image) const override;
    bool save(
        QIODevice* device, const RKMediaFormat& format, const RKDrawable& drawable) const override;

    /// The default size: the document's width and height, or those of its view box.
    QSize size(QIODevice* device, const QByteArray& format) const override;
    QSize size(const QByteArray& data, const QByteArray& format) const override;
    QSize size(const QFileInfo& file, const QByteArray& format) const override;

    QString name() const override;
};
