#pragma once

#include "RKImageLoader/RKImageLoaderExport.h"
#include "RKImageLoader/decoders/RKBitmapDecoder.h"

class QImageReader;

/// The bitmap formats that Qt and its plug-ins read and write. Stateless and thread-safe.
///
/// A picture whose header promises more than its data can hold is refused with a warning, before
/// memory is taken for it. So is a huge picture that is wanted far smaller, if it can't be scaled
/// while it is decoded.
class RKIMAGELOADER_EXPORT RKBitmapDecoderQt : public RKBitmapDecoder
{
public:
    using RKBitmapDecoder::decodeDrawable;
    using RKBitmapDecoder::save;

    RKMediaFormatList readableImageFileFormats() const override;
    RKMediaFormatList writableImageFileFormats() const override;
    bool canRead(const RKMediaFormat& format) const override;
    bool canWrite(const RKMediaFormat& format) const override;

    /// If the format allows, the picture is made smaller while it is decoded. HEIC pictures come
    /// upright, all others as they are stored. A picture with a side below 8 pixels or one 64 times
    /// as long as the other is refused silently. A HEIC picture that can't be measured or decoded
    /// is reported to RKImageLoadingReporter.
    QImage decode(const QByteArray& data,
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

    /// The new file replaces an old one only when it is complete; after a failure, which is logged,
    /// the old one is still there.
    bool save(const QFileInfo& file, const RKDrawable& drawable) const override;
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

    /// The displayed size of the reader's picture. May use up what the device holds: the reader
    /// can't read the picture afterwards. Invalid if it can't be measured.
    QSize heicAwareSize(QImageReader& reader) const;

    QString name() const override;

private:
    RKMediaError reasonForUnwritten(
        const QIODevice& device, const RKMediaFormat& format, const QSize& size) const;
    /// The size in pixels of the picture in bytes that are safe to read.
    QSize measured(const QByteArray& bytes, const QByteArray& format, RKLoadContext& context) const;
    static RKMediaFormatList createReadableImageFileFormats();
    static RKMediaFormatList createWritableImageFileFormats();
};
