#pragma once

#include "RKImageLoader/RKImageLoaderExport.h"
#include "RKImageLoader/loading/RKMediaLoaderAbstract.h"

#include "RKCore/RKSingleton.h"

#include <QByteArray>
#include <QFileInfo>
#include <QFileInfoList>
#include <QList>
#include <QString>

#include <atomic>

class RKBitmapDecoder;
class RKBitmapDecoderRegistry;
class RKColorProfileConverter;
class RKMetaDataCache;

using ImageLoaderFlags = quint32;

/// Opens, measures and saves still pictures, bitmaps and vectors. Thread-safe.
class RKIMAGELOADER_EXPORT RKImageLoader
    : public RKMediaLoaderAbstract
    , public RKSingleton<RKImageLoader>
{
public:
    using RKMediaLoaderAbstract::drawable;
    using RKMediaLoaderAbstract::size;
    using RKMediaLoaderAbstract::unrotatedSize;

    /// Small requests may be served from the thumbnail in a JPEG's Exif data. The only flag that is
    /// set from the start.
    static constexpr ImageLoaderFlags kUseExifThumbnail = 1;
    /// TIFF pictures are turned upright like all others, and the sizes of TIFF and WEBP are those
    /// of the upright pictures. Without this flag TIFF is shown as stored, and both are measured as
    /// stored.
    static constexpr ImageLoaderFlags kTurnTiff = 2;

    RKImageLoader();

    /// Replaces all flags, for the whole process from the next request on.
    void setFlags(ImageLoaderFlags flags);
    /// Sets or clears the given bits and returns the flags as they were before.
    ImageLoaderFlags setFlag(ImageLoaderFlags flag, bool on);
    /// The flags that are set.
    ImageLoaderFlags flags() const;

    /// The process-wide registry, never null.
    const RKBitmapDecoderRegistry* bitmapDecoders() const;
    /// The registry's first decoder of the format. **Ends the process if there is none.**
    RKBitmapDecoder* primaryDecoder(const RKMediaFormat& format) const;
    /// The same for writing; ask RKMediaLoader::canSave() before.
    RKBitmapDecoder* primaryEncoder(const RKMediaFormat& format) const;
    /// The format's decoders in the order in which they are tried; none for an unsupported format.
    /// The registry owns them.
    QList<RKBitmapDecoder*> decoders(const RKMediaFormat& format) const;

    RKMediaFormatList writableMediaFormats() const override;
    RKMediaFormatList supportedMediaFormats() const override;
    bool supportsMediaFormat(const RKMediaFormat& format) const override;

    /// convertableFormats(), with or without the format itself.
    virtual RKMediaFormatList compatibleWritableMediaFormats(
        const RKMediaFormat& format, bool includeFormat) const;

    RKDrawable drawable(const RKMediaDescriptor& descriptor,
        const QSize& wanted,
        const RKImageOption& option) const override;
    RKDrawable drawable(const RKMediaDescriptor& descriptor,
        const QSize& wanted,
        const RKImageOption& option,
        RKLoadContext& context) const override;

    /// The picture as stored, not turned upright; the wanted size is that of the stored picture.
    RKDrawable unrotatedDrawable(const RKMediaDescriptor& descriptor,
        const QSize& wanted,
        const RKImageOption& option) const;
    RKDrawable unrotatedDrawable(const RKMediaDescriptor& descriptor,
        const QSize& wanted,
        const RKImageOption& option,
        RKLoadContext& context) const;
    RKDrawable unrotatedDrawable(const RKMediaDescriptor& descriptor,
        const QSize& wanted,
        const RKImageOption& option,
        RKMediaError* error) const;
    /// The picture, not turned upright: the embedded thumbnail if the option or the rule below
    /// allows it, else decoded from the whole file.
    RKDrawable readDrawable(const QSize& wanted,
        const RKMediaDescriptor& descriptor,
        const RKImageOption& option) const;
    /// Whether kUseExifThumbnail is set, the format is JPG and each wanted side is 0 to 160 pixels.
    bool shouldIUseTheExifThumbnail(const QSize& wanted, const RKMediaDescriptor& descriptor) const;
    /// Decodes the whole file, in sRGB but not turned upright.
    RKDrawable decodeBigDrawable(const RKMediaDescriptor& descriptor, const QSize& wanted) const;
    /// What the first decoder of the format that succeeds makes of the data; null if none does.
    RKDrawable tryAllDecoders(const QByteArray& data,
        const QByteArray& format,
        const QSize& wanted,
        const RKMediaDescriptor& descriptor) const;
    /// All bytes of a file; empty, with a warning, if it can't be opened.
    QByteArray readBinaryFile(const QFileInfo& file) const;

    RKImageOrientation imageOrientation(const RKMediaDescriptor& descriptor) const override;
    /// Whether the displayed picture has the stored one's width as its height.
    bool imageIsTiltedByMetadata(const RKMediaDescriptor& descriptor) const;
    /// Whether the orientation is one of 5 to 8, which swap width and height.
    static bool isTransposingOrientation(RKImageOrientation orientation);
    /// The displayed size as the decoder has to be asked for it, its sides swapped if need be: for
    /// camera raw pictures that their decoder turns, and for tilted pictures in any other format,
    /// TIFF only with kTurnTiff. Invalid and square sizes stay.
    QSize swapSizeRatio(const RKMediaDescriptor& descriptor, const QSize& displayed) const;

    /// The picture turned by the file's orientation, a vector as pixels; camera raw pictures, and
    /// TIFF without kTurnTiff, stay as they are.
    RKDrawable autoRotate(const RKMediaDescriptor& descriptor, const RKDrawable& drawable) const;
    /// The embedded thumbnail, fitted into the wanted size; a null drawable if there is none. That
    /// of a camera raw picture is upright, as its decoded picture is.
    RKDrawable decodeExifThumbnail(const RKMediaDescriptor& descriptor,
        const QSize& wanted,
        const RKImageOption& option) const;
    /// The picture converted to sRGB from the file's colour profile or its marker of Adobe RGB
    /// (1998). Vectors, and pictures whose profile can't be used, stay as they are.
    RKDrawable convertColorProfile(
        const RKMediaDescriptor& descriptor, const RKDrawable& drawable) const;
    /// The process-wide converter, never null.
    RKColorProfileConverter* colorProfileConverter() const;

    /// The size that the metadata states, which other programs may have left out of date; for TIFF,
    /// WEBP and camera raw that of the decoder, TIFF and WEBP as stored without kTurnTiff.
    QSize size(const RKMediaDescriptor& descriptor) const override;
    QSize size(const RKMediaDescriptor& descriptor, RKLoadContext& context) const override;
    QSize unrotatedSize(const RKMediaDescriptor& descriptor) const override;
    QSize unrotatedSize(const RKMediaDescriptor& descriptor, RKLoadContext& context) const override;
    QDateTime recordingDate(const RKMediaDescriptor& descriptor) const override;

    bool save(
        QBuffer* buffer, const RKMediaFormat& format, const RKDrawable& drawable) const override;
    bool save(const RKMediaDescriptor& descriptor, const RKDrawable& drawable) const override;
    bool save(QBuffer* buffer,
        const RKMediaFormat& format,
        const RKDrawable& drawable,
        const RKMetaData& metaData) const override;
    /// Leaves out the metadata's colour profile, since a decoded picture is in sRGB.
    bool save(const RKMediaDescriptor& descriptor,
        const RKDrawable& drawable,
        const RKMetaData& metaData) const override;
    bool save(const RKMediaDescriptor& descriptor, const RKMetaData& metaData) const override;
    bool save(QBuffer* buffer,
        const RKMediaFormat& format,
        const RKDrawable& drawable,
        RKMediaError* error) const override;
    bool save(const RKMediaDescriptor& descriptor,
        const RKDrawable& drawable,
        RKMediaError* error) const override;
    bool save(QBuffer* buffer,
        const RKMediaFormat& format,
        const RKDrawable& drawable,
        const RKMetaData& metaData,
        RKMediaError* error) const override;
    bool save(const RKMediaDescriptor& descriptor,
        const RKDrawable& drawable,
        const RKMetaData& metaData,
        RKMediaError* error) const override;
    bool save(const RKMediaDescriptor& descriptor,
        const RKMetaData& metaData,
        RKMediaError* error) const override;
    void invalidateMetaData(const RKMediaDescriptor& descriptor) const override;

    /// The process-wide cache, never null. Hosts should use copyMetaData() and
    /// invalidateMetaData() instead.
    RKMetaDataCache* metaDataCache() const;
    /// The cache's object, see RKMetaDataCache::metaData() for who owns it. Prefer copyMetaData().
    RKMetaData* metaData(const RKMediaDescriptor& descriptor) const;
    /// The same for a file whose bytes the host has read.
    RKMetaData* metaData(const RKMediaDescriptor& descriptor, const QByteArray& data) const;
    /// The metadata of the descriptor's file, from the cache or read now.
    RKMetaData copyMetaData(const RKMediaDescriptor& descriptor) const;
    /// Deletes what the cache holds; pointers from metaData() dangle afterwards.
    void clearMetaDataCache() const;

    /// Turns the displayed picture by 90 degrees in the cached metadata; the file is not touched.
    /// To save that, call save(descriptor, copyMetaData(descriptor)).
    void softRotate(const RKMediaDescriptor& descriptor, bool clockwise);

    /// The files among the given ones that have a supported format.
    QFileInfoList extractSupportedImageFiles(const QFileInfoList& files) const;
    /// The path without its extension if that is one of a supported format, else the path.
    QString removeImageSuffixFromPath(const QString& path) const;
    /// Writes the supported formats and their decoders to the debug log.
    void dumpSupportedFormats() const;

private:
    enum class Turning
    {
        Upright,
        AsStored
    };

    /// What one request has read of its file.
    struct Source;

    // The steps of a request, which note in its context why they fail.
    RKDrawable loadSupported(const RKMediaDescriptor& descriptor,
        const QSize& wanted,
        const RKImageOption& option,
        Turning turning,
        RKLoadContext& context) const;
    Source readSource(const RKMediaDescriptor& descriptor, RKLoadContext& context) const;
    /// For the wanted size of the picture as it will be turned.
    RKDrawable load(const RKMediaDescriptor& descriptor,
        const QSize& wanted,
        const RKImageOption& option,
        Turning turning,
        RKLoadContext& context) const;
    RKDrawable decode(const RKMediaDescriptor& descriptor,
        const QSize& wanted,
        const Source& source,
        RKLoadContext& context) const;
    RKDrawable tryAllDecoders(const QByteArray& data,
        const QByteArray& format,
        const QSize& wanted,
        const RKMediaDescriptor& descriptor,
        RKLoadContext& context) const;
    QSize displayedSize(const RKMediaDescriptor& descriptor, RKLoadContext& context) const;
    QSize storedSize(const RKMediaDescriptor& descriptor, RKLoadContext& context) const;

    bool isWritable(const RKMediaFormat& format, RKMediaError* error) const;
    // For formats that can be written; null stores no reason.
    bool saveWritable(QBuffer* buffer,
        const RKMediaFormat& format,
        const RKDrawable& drawable,
        RKMediaError* error) const;
    bool saveWritable(
        const RKMediaDescriptor& descriptor, const RKDrawable& drawable, RKMediaError* error) const;

    // With the metadata that the request has asked for once.
    QSize swapSizeRatio(const RKMediaDescriptor& descriptor,
        const QSize& displayed,
        const RKMetaData& metaData) const;
    RKDrawable decodeExifThumbnail(const RKMediaDescriptor& descriptor,
        const QSize& wanted,
        const RKImageOption& option,
        const RKMetaData& metaData) const;
    QImage toSrgb(QImage image,
        const RKMetaData& metaData,
        bool* hasChanged,
        const RKCancellation& cancellation = {}) const;
    bool mustTurn(const RKMediaDescriptor& descriptor) const;
    bool mustConvert(const RKMediaDescriptor& descriptor, const RKDrawable& drawable) const;
    /// The displayed picture has the stored one's width as its height.
    bool exchangesSides(const RKMediaDescriptor& descriptor, const RKMetaData& metaData) const;

    std::atomic<ImageLoaderFlags> m_flags{kUseExifThumbnail};
};
