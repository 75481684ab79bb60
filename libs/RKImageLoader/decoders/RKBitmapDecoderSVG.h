#pragma once

#include "RKImageLoader/RKImageLoaderExport.h"
#include "RKImageLoader/decoders/RKBitmapDecoder.h"

/// SVG documents, compressed or not, as vector drawables or rendered to pixels. Thread-safe;
/// rendering is serialised over the process.
///
/// Documents are rendered without what they refer to outside themselves. The size in pixels is the
/// document's own (its width and height), not that of its view box.
class RKIMAGELOADER_EXPORT RKBitmapDecoderSVG : public RKBitmapDecoder
{
public:
    /// The most pixels for which a document's own size is used: 1 GiB at 32 bits. Nothing in a
    /// document shows whether its size makes sense; a larger one has to be asked for.
    static constexpr qint64 kMaxPixels = 1LL << 28;

    using RKBitmapDecoder::save;

    RKMediaFormatList readableImageFileFormats() const override;
    /// None: pictures are turned into documents only if this decoder is called directly.
    RKMediaFormatList writableImageFileFormats() const override;

    /// Transparent where the document draws nothing.
    QImage decode(const QByteArray& data,
        const QByteArray& format,
        const QSize& wantedSize,
        const RKMediaDescriptor& descriptor) const override;
    /// A vector drawable, whose nominal size is fitted into the wanted one.
    RKDrawable decodeDrawable(const QByteArray& data,
        const QByteArray& format,
        const QSize& wantedSize,
        const RKMediaDescriptor& descriptor) const override;
    QImage decode(const QByteArray& data,
        const QByteArray& format,
        const QSize& wantedSize,
        const RKMediaDescriptor& descriptor,
        RKLoadContext& context) const override;
    RKDrawable decodeDrawable(const QByteArray& data,
        const QByteArray& format,
        const QSize& wantedSize,
        const RKMediaDescriptor& descriptor,
        RKLoadContext& context) const override;

    /// Writes the drawable's document, which holds a bitmap as an inline picture. The new file
    /// replaces an old one only when it is complete; after a failure, which is logged, the old one
    /// is still there.
    bool save(const QFileInfo& file, const RKDrawable& drawable) const override;
    /// Writes a document that holds the picture.
    bool save(QIODevice* device, const RKMediaFormat& format, const QImage& image) const override;
    bool save(
        QIODevice* device, const RKMediaFormat& format, const RKDrawable& drawable) const override;
    bool save(
        const QFileInfo& file, const RKDrawable& drawable, RKMediaError* error) const override;
    bool save(QIODevice* device,
        const RKMediaFormat& format,
        const RKDrawable& drawable,
        RKMediaError* error) const override;

    QSize size(QIODevice* device, const QByteArray& format) const override;
    QSize size(const QByteArray& data, const QByteArray& format) const override;
    QSize size(const QFileInfo& file, const QByteArray& format) const override;
    QSize size(
        const QFileInfo& file, const QByteArray& format, RKLoadContext& context) const override;

    QString name() const override;

private:
    static QImage rendered(const QByteArray& data, const QSize& wantedSize);
};
