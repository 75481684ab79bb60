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
/// measured. A device that is closed is opened, and closed again afterwards.
///
/// Overloads with a trailing RKLoadContext or RKMediaError* do the same and also give the reason of
/// a failure, as far as it is known; a null pointer stores nothing. Decoding gives up soon after
/// the context's request is cancelled. Unless overridden, they call the overload without it.
class RKIMAGELOADER_EXPORT RKBitmapDecoder
{
public:
    RKBitmapDecoder() = default;
    virtual ~RKBitmapDecoder();

    RKBitmapDecoder(const RKBitmapDecoder&) = delete;
    RKBitmapDecoder& operator=(const RKBitmapDecoder&) = delete;

    /// The formats that decode() and size() take, each once, in any order.
    virtual RKMediaFormatList readableImageFileFormats() const = 0;
    /// The formats that save() takes; empty for a decoder that writes nothing.
    virtual RKMediaFormatList writableImageFileFormats() const = 0;

    /// The picture, fitted into the wanted size with its proportions kept (it may grow); a null
    /// image if the data can't be decoded.
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

    /// Saves in the format of the file's suffix; true if the whole picture was written.
    virtual bool save(const QFileInfo& file, const QImage& image) const;
    /// The same for a drawable. A vector is rendered at its nominal size, except by decoders of
    /// vector formats.
    virtual bool save(const QFileInfo& file, const RKDrawable& drawable) const = 0;
    /// Writes from the device's position on; after a failure, what was already written stays there.
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

    /// The picture's size, measured without decoding it if the format allows that.
    virtual QSize size(QIODevice* device, const QByteArray& format) const = 0;
    /// The same for the bytes of a file.
    virtual QSize size(const QByteArray& data, const QByteArray& format) const = 0;
    /// The same for a file; one that can't be opened can't be measured.
    virtual QSize size(const QFileInfo& file, const QByteArray& format) const = 0;
    virtual QSize size(
        const QFileInfo& file, const QByteArray& format, RKLoadContext& context) const;

    /// A name for lists and logs, "Qt" for instance; the same for all objects of a class.
    virtual QString name() const = 0;

    /// Whether decode() turns the file's picture by a quarter; measured and wanted sizes are those
    /// before the turn. Without a value, which is the default, the decoder doesn't know, and the
    /// file's metadata decides.
    virtual std::optional<bool> exchangesSides(
        const QFileInfo& file, const QByteArray& format) const;

    /// Whether the format is among readableImageFileFormats(). Overridden by decoders that would
    /// have to load codecs of other formats to make that list.
    virtual bool canRead(const RKMediaFormat& format) const;
    /// The same for writableImageFileFormats().
    virtual bool canWrite(const RKMediaFormat& format) const;

    /// All bytes of a file; empty, with a warning, if it can't be opened.
    QByteArray readBinaryFile(const QFileInfo& file) const;

    /// Whether the data begins like a JPEG file (ITU-T T.81, B.1.1.3: SOI, and the 0xFF of the
    /// marker that follows).
    static bool startsWithJpegSignature(const QByteArray& data);
    /// The same for a file; also false if it can't be opened.
    static bool startsWithJpegSignature(const QFileInfo& file);

    /// The image size fitted into the target size with its proportions kept; it may grow. Sides of
    /// 0 become 1. Neither size may have a negative side.
    static QSize calculateRealTargetSize(const QSize& targetSize, const QSize& imageSize);
};
