#pragma once

#include "RKImageLoader/RKImageLoaderExport.h"
#include "RKImageLoader/decoders/RKBitmapDecoder.h"

#include <QList>

struct CGImage;

/// Camera raw and Photoshop pictures through the picture services of macOS. Stateless and
/// thread-safe.
///
/// Only the static members exist on other platforms, where another decoder has these formats.
class RKIMAGELOADER_EXPORT RKBitmapDecoderMacCoreGraphics : public RKBitmapDecoder
{
public:
    using RKBitmapDecoder::decode;
    using RKBitmapDecoder::save;
    using RKBitmapDecoder::size;

    /// The names of the formats that only the platform's decoder may take.
    static QList<QByteArray> staticReadableImageFileFormats();

    /// Whether a picture of this width, in pixels, is only a raw file's preview, so that the file
    /// has to be decoded in another way. False for an invalid descriptor.
    static bool isOnlyPreview(int width, const RKMediaDescriptor& descriptor);
    /// The size in which to ask for a file's picture: its own if the wanted one is invalid.
    static QSize proposedSize(const QSize& wantedSize, const QSize& ownSize);
    /// The picture fitted into the wanted size with its proportions kept; unchanged if that size
    /// is invalid.
    static QImage fitted(const QImage& image, const QSize& wantedSize);

    RKMediaFormatList readableImageFileFormats() const override;
    /// None.
    RKMediaFormatList writableImageFileFormats() const override;

    /// In sRGB, as ARGB32_Premultiplied.
    QImage decode(const QByteArray& data,
        const QByteArray& format,
        const QSize& wantedSize,
        const RKMediaDescriptor& descriptor) const override;
    /// The same for a file that the system draws, a PDF document for instance.
    QImage decodePDF(const QByteArray& data,
        const QByteArray& format,
        const QSize& wantedSize,
        const RKMediaDescriptor& descriptor) const;

    /// Always false: nothing is written.
    bool save(const QFileInfo& file, const RKDrawable& drawable) const override;
    bool save(QIODevice* device, const RKMediaFormat& format, const QImage& image) const override;
    bool save(
        QIODevice* device, const RKMediaFormat& format, const RKDrawable& drawable) const override;

    QSize size(QIODevice* device, const QByteArray& format) const override;
    QSize size(const QByteArray& data, const QByteArray& format) const override;
    QSize size(const QFileInfo& file, const QByteArray& format) const override;

    QString name() const override;

private:
    static QImage cgImageToQImage(CGImage* cgImage);
};
