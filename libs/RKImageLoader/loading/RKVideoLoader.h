#pragma once

#include "RKImageLoader/RKImageLoaderExport.h"
#include "RKImageLoader/loading/RKMediaLoaderAbstract.h"
#include "RKImageLoader/video/RKFramesPerSecond.h"

#include "RKCore/RKSingleton.h"

/// Opens and measures videos, frame by frame. Thread-safe.
///
/// A descriptor without a frame stands for the default one. Frames come upright; they have no
/// orientation of their own, no thumbnails and no colour profiles, so image options change nothing.
/// Videos are never written.
class RKIMAGELOADER_EXPORT RKVideoLoader
    : public RKMediaLoaderAbstract
    , public RKSingleton<RKVideoLoader>
{
public:
    using RKMediaLoaderAbstract::drawable;
    using RKMediaLoaderAbstract::size;
    using RKMediaLoaderAbstract::unrotatedSize;

    /// The supported formats, although save() refuses all of them.
    RKMediaFormatList writableMediaFormats() const override;
    RKMediaFormatList supportedMediaFormats() const override;
    bool supportsMediaFormat(const RKMediaFormat& format) const override;

    /// Null if the frame does not exist or can't be decoded; the debug log says why.
    RKDrawable drawable(const RKMediaDescriptor& descriptor,
        const QSize& wanted,
        const RKImageOption& option) const override;
    RKDrawable drawable(const RKMediaDescriptor& descriptor,
        const QSize& wanted,
        const RKImageOption& option,
        RKLoadContext& context) const override;
    /// The size of the frames as drawable() gives them, upright.
    QSize unrotatedSize(const RKMediaDescriptor& descriptor) const override;
    QSize unrotatedSize(const RKMediaDescriptor& descriptor, RKLoadContext& context) const override;
    QSize size(const RKMediaDescriptor& descriptor, RKLoadContext& context) const override;
    /// The file's creation date. The one recorded inside the video is in the metadata of
    /// RKVideoDecoderRegistry.
    QDateTime recordingDate(const RKMediaDescriptor& descriptor) const override;

    /// All of them return false and do nothing.
    bool save(
        QBuffer* buffer, const RKMediaFormat& format, const RKDrawable& drawable) const override;
    bool save(const RKMediaDescriptor& descriptor, const RKDrawable& drawable) const override;
    bool save(QBuffer* buffer,
        const RKMediaFormat& format,
        const RKDrawable& drawable,
        const RKMetaData& metaData) const override;
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
    /// Does nothing. After RKVideoDecoderRegistry::freeResource() a changed file is read anew.
    void invalidateMetaData(const RKMediaDescriptor& descriptor) const override;

    /// The rate that the file claims; null if the file can't be opened.
    RKFramesPerSecond framesPerSecond(const RKMediaDescriptor& descriptor) const;
    /// The length in ms that the file claims; 0 if unknown, -1 if the file can't be opened.
    int durationInMS(const RKMediaDescriptor& descriptor) const;
    /// The last frame that can be decoded, which may lie before the end. No frame if there is none.
    RKVideoFrameIndex lastFrameIndex(const RKMediaDescriptor& descriptor) const;
    /// The frame shown when none is asked for, see RKVideoDecoder::defaultFrameIndex().
    RKVideoFrameIndex defaultFrameIndex(const RKMediaDescriptor& descriptor) const;
};
