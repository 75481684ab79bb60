#pragma once

#include "RKImageLoader/RKImageLoaderExport.h"
#include "RKImageLoader/drawables/RKDrawable.h"
#include "RKImageLoader/media/RKImageOption.h"
#include "RKImageLoader/media/RKImageOrientation.h"
#include "RKImageLoader/media/RKLoadContext.h"
#include "RKImageLoader/media/RKMediaDescriptor.h"
#include "RKImageLoader/media/RKMediaFormatList.h"

#include <QDateTime>
#include <QImage>
#include <QSize>

class QBuffer;
class RKMetaData;

/// Opens, measures and saves the media of some formats. Thread-safe.
///
/// Sizes are in pixels; an invalid size (a side is negative) as the wanted size means full size,
/// and as a result that the medium could not be measured. "Unrotated" means as stored, before the
/// medium's orientation is applied.
///
/// Overloads with a trailing RKMediaError* do the same and store why they failed, or no error; a
/// null pointer stores nothing. Those with a trailing RKLoadContext note the reason in it, and give
/// up soon after its request is cancelled. Both also work for a loader that overrides neither; the
/// reason is then what the file itself shows.
class RKIMAGELOADER_EXPORT RKMediaLoaderAbstract
{
public:
    RKMediaLoaderAbstract() = default;
    virtual ~RKMediaLoaderAbstract();

    RKMediaLoaderAbstract(const RKMediaLoaderAbstract&) = delete;
    RKMediaLoaderAbstract& operator=(const RKMediaLoaderAbstract&) = delete;

    /// The formats that save() takes pictures for. Finding them out may load all codecs once.
    virtual RKMediaFormatList writableMediaFormats() const = 0;
    /// The formats that can be loaded, each once. Finding them out may load all codecs once.
    virtual RKMediaFormatList supportedMediaFormats() const = 0;
    /// Whether one format can be loaded; loads no codecs of others.
    virtual bool supportsMediaFormat(const RKMediaFormat& format) const = 0;

    /// The medium, upright, in sRGB and fitted into the wanted size with its proportions kept; it
    /// may grow. A null drawable if the format is not supported or the file can't be decoded; the
    /// latter is logged.
    virtual RKDrawable drawable(const RKMediaDescriptor& descriptor,
        const QSize& wanted,
        const RKImageOption& option) const = 0;
    virtual RKDrawable drawable(const RKMediaDescriptor& descriptor,
        const QSize& wanted,
        const RKImageOption& option,
        RKLoadContext& context) const;
    /// The error may be RKMediaErrorCode::Truncated with a drawable that is not null.
    RKDrawable drawable(const RKMediaDescriptor& descriptor,
        const QSize& wanted,
        const RKImageOption& option,
        RKMediaError* error) const;

    /// The orientation of the stored picture; upright unless a loader overrides this.
    virtual RKImageOrientation imageOrientation(const RKMediaDescriptor& descriptor) const;

    /// The size as displayed.
    virtual QSize size(const RKMediaDescriptor& descriptor) const;
    virtual QSize size(const RKMediaDescriptor& descriptor, RKLoadContext& context) const;
    QSize size(const RKMediaDescriptor& descriptor, RKMediaError* error) const;
    /// The size as stored, before the orientation is applied.
    virtual QSize unrotatedSize(const RKMediaDescriptor& descriptor) const = 0;
    virtual QSize unrotatedSize(const RKMediaDescriptor& descriptor, RKLoadContext& context) const;
    QSize unrotatedSize(const RKMediaDescriptor& descriptor, RKMediaError* error) const;

    /// When the medium was recorded; invalid if unknown. For pictures what the camera's clock
    /// showed (RKMetaData::pictureTaken()), or else when the file was created; for videos always
    /// the latter: the date inside is in RKVideoDecoderRegistry::metaData().
    virtual QDateTime recordingDate(const RKMediaDescriptor& descriptor) const = 0;

    /// Saves into a buffer, which is opened if it is closed. **The format must be among
    /// writableMediaFormats()**: any other may end the process.
    virtual bool save(
        QBuffer* buffer, const RKMediaFormat& format, const RKDrawable& drawable) const = 0;
    /// Saves to the descriptor's file, which is replaced as a whole or left as it was. **The format
    /// must be among writableMediaFormats()**: any other may end the process.
    virtual bool save(const RKMediaDescriptor& descriptor, const RKDrawable& drawable) const = 0;

    /// The same with metadata. The buffer is closed afterwards. False if either could not be saved;
    /// the picture alone may have been.
    virtual bool save(QBuffer* buffer,
        const RKMediaFormat& format,
        const RKDrawable& drawable,
        const RKMetaData& metaData) const = 0;
    /// The same for the descriptor's file.
    virtual bool save(const RKMediaDescriptor& descriptor,
        const RKDrawable& drawable,
        const RKMetaData& metaData) const = 0;
    /// Merges the metadata into the descriptor's file, whose pixels stay as they are.
    virtual bool save(const RKMediaDescriptor& descriptor, const RKMetaData& metaData) const = 0;

    /// For these, a format that can't be written is an error; it never ends the process.
    virtual bool save(QBuffer* buffer,
        const RKMediaFormat& format,
        const RKDrawable& drawable,
        RKMediaError* error) const;
    virtual bool save(
        const RKMediaDescriptor& descriptor, const RKDrawable& drawable, RKMediaError* error) const;
    virtual bool save(QBuffer* buffer,
        const RKMediaFormat& format,
        const RKDrawable& drawable,
        const RKMetaData& metaData,
        RKMediaError* error) const;
    virtual bool save(const RKMediaDescriptor& descriptor,
        const RKDrawable& drawable,
        const RKMetaData& metaData,
        RKMediaError* error) const;
    virtual bool save(
        const RKMediaDescriptor& descriptor, const RKMetaData& metaData, RKMediaError* error) const;

    /// Drops the cached metadata of the file; call it when the file was changed by others.
    virtual void invalidateMetaData(const RKMediaDescriptor& descriptor) const = 0;

    /// The format that the file name's suffix stands for.
    RKMediaFormat mediaFormat(const RKMediaDescriptor& descriptor) const;
    /// Whether the file name's format is supported; the file need not exist.
    bool hasSupportedMediaFormat(const RKMediaDescriptor& descriptor) const;
    /// Whether the format is among supportedMediaFormats().
    bool isSupportedFormat(const RKMediaFormat& format) const;
    /// Whether the format is among writableMediaFormats().
    bool isSupportedWritableFormat(const RKMediaFormat& format) const;

    /// The image of drawable() with no option set. The file of a video stays open for its next
    /// frames, with 40 to 160 MB. Call RKVideoDecoderRegistry::freeResource() to close it, when the
    /// host is done with the video and before the file is changed, moved or deleted.
    QImage bitmap(const RKMediaDescriptor& descriptor, const QSize& wanted) const;
    QImage bitmap(
        const RKMediaDescriptor& descriptor, const QSize& wanted, RKLoadContext& context) const;
    QImage bitmap(
        const RKMediaDescriptor& descriptor, const QSize& wanted, RKMediaError* error) const;

    /// The formats that a medium of this format can be saved as without losing transparency: for a
    /// bitmap the writable bitmap formats, itself first if it is one; for others at most itself.
    RKMediaFormatList convertableFormats(const RKMediaFormat& format) const;

    /// When the file was created; invalid if the file system does not record it.
    QDateTime fileCreationDate(const RKMediaDescriptor& descriptor) const;
};
