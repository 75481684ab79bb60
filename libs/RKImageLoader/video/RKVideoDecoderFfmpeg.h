#pragma once

#include "RKImageLoader/RKImageLoaderExport.h"
#include "RKImageLoader/video/RKVideoDecoder.h"

#include <QString>

#include <memory>
#include <mutex>
#include <unordered_map>

class RKFfmpegBridge;

/// Decodes videos through FFmpeg. Thread-safe, but one request is served at a time.
///
/// Up to 50 files stay open, so that going through a video doesn't open it again and again; the
/// next one closes all of them. An open 1080p file takes some 40 MB and up to four
/// idle threads, one of 4K some 160 MB, so hosts should free what they are done with.
///
/// A file of the format MTS can't be entered at a frame: it is decoded from the start up to it.
class RKIMAGELOADER_EXPORT RKVideoDecoderFfmpeg : public RKVideoDecoder
{
public:
    RKVideoDecoderFfmpeg();
    ~RKVideoDecoderFfmpeg() override;

    RKMediaFormatList supportedVideoFileFormats() const override;
    /// Where no frame was asked for and the default one does not exist, the first one is given.
    QImage decode(const RKMediaDescriptor& descriptor, const QSize& wanted) const override;
    RKMetaData metaData(const RKMediaDescriptor& descriptor) const override;
    QSize size(const RKMediaDescriptor& descriptor) const override;
    RKFramesPerSecond framesPerSecond(const RKMediaDescriptor& descriptor) const override;
    int durationInMS(const RKMediaDescriptor& descriptor) const override;
    QString usedCodec(const RKMediaDescriptor& descriptor) const override;
    void freeResources() const override;
    void freeResource(const RKMediaDescriptor& descriptor) const override;
    int rotation(const RKMediaDescriptor& descriptor) const override;

private:
    using BridgeMap = std::unordered_map<QString, std::unique_ptr<RKFfmpegBridge>>;

    RKFfmpegBridge& bridge(const RKMediaDescriptor& descriptor) const;
    static std::unique_ptr<RKFfmpegBridge> createBridge(const RKMediaDescriptor& descriptor);
    void memFix() const;
    RKVideoFrameIndex frameIndex(const RKMediaDescriptor& descriptor) const;

    // Guards the bridges; held for a whole request, which locks the bridge inside it. Recursive,
    // since the default frame follows from other requests; ThreadSanitizer can't see Qt's.
    mutable std::recursive_mutex m_mutex;
    // By the file's absolute path.
    mutable BridgeMap m_bridges;
};
