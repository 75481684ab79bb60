#pragma once

#include "RKImageLoader/RKImageLoaderExport.h"
#include "RKImageLoader/video/RKVideoDecoder.h"

#include <QString>

#include <list>
#include <memory>
#include <mutex>

class RKFfmpegBridge;

/// Decodes videos through FFmpeg. Thread-safe: files are decoded in parallel, frames of one file
/// one after the other. Sizes, rates and the like of an open file are given without waiting for a
/// frame.
///
/// Files stay open, so that going through a video doesn't open it again and again: at most 50, and
/// at most as many as take 512 MiB by an estimate (an open 1080p file takes some 40 MB and up to
/// four idle threads, one of 4K some 160 MB). The least recently used are closed first. A file that
/// is in use is closed when its request is done; freeResource() and freeResources() don't wait for
/// that.
///
/// Files of the format MTS can't be sought in: they are decoded from the start up to the frame.
class RKIMAGELOADER_EXPORT RKVideoDecoderFfmpeg : public RKVideoDecoder
{
public:
    RKVideoDecoderFfmpeg();
    ~RKVideoDecoderFfmpeg() override;

    RKMediaFormatList supportedVideoFileFormats() const override;
    /// If no frame was asked for and the default one does not exist, the first one is returned.
    QImage decode(const RKMediaDescriptor& descriptor, const QSize& wanted) const override;
    QImage decode(const RKMediaDescriptor& descriptor,
        const QSize& wanted,
        RKLoadContext& context) const override;
    using RKVideoDecoder::decodeDrawable;
    RKDrawable decodeDrawable(const RKMediaDescriptor& descriptor,
        const QSize& wanted,
        RKLoadContext& context) const override;
    RKMetaData metaData(const RKMediaDescriptor& descriptor) const override;
    QSize size(const RKMediaDescriptor& descriptor) const override;
    QSize size(const RKMediaDescriptor& descriptor, RKLoadContext& context) const override;
    RKFramesPerSecond framesPerSecond(const RKMediaDescriptor& descriptor) const override;
    int durationInMS(const RKMediaDescriptor& descriptor) const override;
    QString usedCodec(const RKMediaDescriptor& descriptor) const override;
    /// Also gives the memory back to the system, if the C library can.
    void freeResources() const override;
    void freeResource(const RKMediaDescriptor& descriptor) const override;
    int rotation(const RKMediaDescriptor& descriptor) const override;
    /// Decodes the last group of pictures.
    RKVideoFrameIndex lastFrameIndex(const RKMediaDescriptor& descriptor) const override;

private:
    struct OpenVideo;
    using Videos = std::list<std::shared_ptr<OpenVideo>>;

    std::shared_ptr<RKFfmpegBridge> bridge(const RKMediaDescriptor& descriptor) const;
    std::shared_ptr<RKFfmpegBridge> bridge(
        const RKMediaDescriptor& descriptor, RKLoadContext& context) const;
    static std::shared_ptr<RKFfmpegBridge> createBridge(
        const RKMediaDescriptor& descriptor, const RKCancellation& cancellation);
    std::shared_ptr<OpenVideo> used(const QString& path) const;
    void closeUnused() const;
    Videos::iterator find(const QString& path) const;
    RKVideoFrameIndex frameIndex(const RKMediaDescriptor& descriptor) const;

    // Guards the list of videos, not what is in them: none is opened, decoded or closed under it.
    mutable std::mutex m_mutex;
    // The one last used first.
    mutable Videos m_videos;
};
