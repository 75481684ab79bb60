#pragma once

#include "RKImageLoader/RKImageLoaderExport.h"
#include "RKImageLoader/decoders/RKBitmapDecoder.h"

class QImageReader;

/// Reads and writes what Qt and its plug-ins do, except for the formats of other decoders.
///
/// JPEG and PNG are scaled while they are read. JPEG is written with the configured quality, so the
/// configuration file must have been named before.
class RKIMAGELOADER_EXPORT RKBitmapDecoderQt : public RKBitmapDecoder
{
public:
    using RKBitmapDecoder::save;

    RKMediaFormatList readableImageFileFormats() const override;
    RKMediaFormatList writableImageFileFormats() const override;

    /// HEIC pictures come out upright. Logs why a picture could not be read, except for one whose
    /// size can't be measured, or is not acceptable (RKDrawable::isAcceptableSize()).
    QImage decode(const QByteArray& data,
        const QByteArray& format,
        const QSize& wantedSize,
        const RKMediaDescriptor& descriptor) const override;

    /// False for a format that is not writable.
    bool save(const QFileInfo& file, const RKDrawable& drawable) const override;
    bool save(QIODevice* device, const RKMediaFormat& format, const QImage& image) const override;
    bool save(
        QIODevice* device, const RKMediaFormat& format, const RKDrawable& drawable) const override;

    QSize size(QIODevice* device, const QByteArray& format) const override;
    QSize size(const QByteArray& data, const QByteArray& format) const override;
    QSize size(const QFileInfo& file, const QByteArray& format) const override;

    /// The size as the reader tells it or, where the format can't, as it reads the image, which
    /// uses the reader up. Of a HEIC picture the size as displayed.
    QSize heicAwareSize(QImageReader& reader) const;

    QString name() const override;

private:
    static RKMediaFormatList createReadableImageFileFormats();
    static RKMediaFormatList createWritableImageFileFormats();
    QImage read(const QByteArray& data, const QByteArray& format, const QSize& wantedSize) const;
};
