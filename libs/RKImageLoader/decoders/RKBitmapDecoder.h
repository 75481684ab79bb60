#pragma once

#include "RKImageLoader/RKImageLoaderExport.h"
#include "RKImageLoader/drawables/RKDrawable.h"
#include "RKImageLoader/media/RKLoadContext.h"
#include "RKImageLoader/media/RKMediaDescriptor.h"
#include "RKImageLoader/media/RKMediaFormatList.h"

#include <QByteArray>
#include <QFileInfo>
#include <QImage>
#include <QSize>
#include <QString>

#include <optional>

class QIODevice;

/// Reads, measures and writes still pictures of some formats. Stateless and thread-safe.
///
/// A format name is a file extension in lower case. Sizes are in pixels; an invalid size (a side
/// is negative) as the wanted size means full size, and as a result that the picture could not be
/// measured. Devices are opened when they are closed, and closed again if so.
///
/// Functions with a trailing RKLoadContext or RKMediaError* do the same and say why they failed, as
/// far as they know; null stores nothing. Decoding gives up soon after the context's request was
/// cancelled. Those of a decoder that doesn't override them call the ones without.
class RKIMAGELOADER_EXPORT RKBitmapDecoder
{
public:
    RKBitmapDecoder() = default;
    virtual ~RKBitmapDecoder();

    RKBitmapDecoder(const RKBitmapDecoder&) = delete;
    RKBitmapDecoder& operator=(const RKBitmapDecoder&) = delete;

    /// The formats that decode() and size() are for, each once, in any order.
    virtual RKMediaFormatList readableImageFileFormats() const = 0;
    /// The formats that save() is for; empty for a decoder that writes nothing.
    virtual RKMediaFormatList writableImageFileFormats() const = 0;

    /// The picture, fitted into the wanted size with its proportions kept (it may grow); a null
    /// image when the data can't be decoded.
    virtual QImage decode(const QByteArray& data,
        const QByteArray& format,
        const QSize& wantedSize,
        const RKMediaDescriptor& descriptor) const = 0;
    /// The same as a drawable, which decoders of vector formats return as a vector.
    virtual RKDrawable decodeDrawable(const QByteArray& data,
        const QByteArray& format,
        const QSize& wantedSize,
        const RKMediaDescriptor& descriptor) const;
    virtual QImage decode(const QByteArray& data,
        const QByteArray& format,
        const QSize& wantedSize,
        const RKMediaDescriptor& descriptor,
        RKLoadContext& context) const;
    virtual RKDrawable decodeDrawable(const QByteArray& data,
        const QByteArray& format,
        const QSize& wantedSize,
        const RKMediaDescriptor& descriptor,
        RKLoadContext& context) const;

    /// Saving returns true when the whole picture was written.
    virtual bool save(const QFileInfo& file, const QImage& image) const;
    /// A vector is rendered at its nominal size, except by decoders of vector formats. The file's
    /// format is that of its suffix.
    virtual bool save(const QFileInfo& file, const RKDrawable& drawable) const = 0;
    /// Writes from the device's position on; what was written of a failure stays there.
    virtual bool save(
        QIODevice* device, const RKMediaFormat& format, const QImage& image) const = 0;
    /// The same for a drawable.
    virtual bool save(
        QIODevice* device, const RKMediaFormat& format, const RKDrawable& drawable) const = 0;
    virtual bool save(const QFileInfo& file, const RKDrawable& drawable, RKMediaError* error) const;
    virtual bool save(QIODevice* device,
        const RKMediaFormat& format,
        const RKDrawable& drawable,
        RKMediaError* error) const;

    /// The picture's size, measured without decoding it where the format allows.
    virtual QSize size(QIODevice* device, const QByteArray& format) const = 0;
    /// The same for the bytes of a file.
    virtual QSize size(const QByteArray& data, const QByteArray& format) const = 0;
    /// The same for a file; one that can't be opened can't be measured.
    virtual QSize size(const QFileInfo& file, const QByteArray& format) const = 0;
    virtual QSize size(
        const QFileInfo& file, const QByteArray& format, RKLoadContext& context) const;

    /// A name for lists and logs, "Qt" for instance; the same for all objects of a class.
    virtual QString name() const = 0;

    /// Whether decode() turns the file's picture by a quarter; the measured and the wanted sizes
    /// are those before. Absent, as it is unless overridden, where the decoder doesn't know; the
    /// file's metadata decide then.
    virtual std::optional<bool> exchangesSides(
        const QFileInfo& file, const QByteArray& format) const;

    /// Whether a format is among readableImageFileFormats() or writableImageFileFormats().
    /// Overridden where to make these lists means to load codecs that the format has no use for.
    virtual bool canRead(const RKMediaFormat& format) const;
    /// Whether save() is for the format.
    virtual bool canWrite(const RKMediaFormat& format) const;

    /// All bytes of a file; empty, with a warning, when it can't be opened.
    QByteArray readBinaryFile(const QFileInfo& file) const;

    /// The data begin with the marker of a JPEG file (ITU-T T.81, B.1.1.3: SOI, and the 0xFF of the
    /// marker that follows).
    static bool startsWithJpegSignature(const QByteArray& data);
    /// False also when the file can't be opened.
    static bool startsWithJpegSignature(const QFileInfo& file);

    /// The image size fitted into the target size with its proportions kept; it may grow. Sides of
    /// 0 become 1. Neither size may have a negative side.
    static QSize calculateRealTargetSize(const QSize& targetSize, const QSize& imageSize);
};
