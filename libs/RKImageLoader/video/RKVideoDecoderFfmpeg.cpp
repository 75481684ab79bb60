#include "RKImageLoader/video/RKVideoDecoderFfmpeg.h"

#include "RKImageLoader/metadata/RKMetaDataField.h"
#include "RKImageLoader/video/RKFfmpegBridge.h"
#include "RKImageLoader/video/RKFfmpegBridgeLame.h"

#include <QMutexLocker>

RKVideoDecoderFfmpeg::RKVideoDecoderFfmpeg() = default;

RKVideoDecoderFfmpeg::~RKVideoDecoderFfmpeg() = default;

RKMediaFormatList RKVideoDecoderFfmpeg::supportedVideoFileFormats() const
{
    static const RKMediaFormatList formats{MEDIA_FORMAT_AVI,
        MEDIA_FORMAT_3GP,
        MEDIA_FORMAT_MPG,
        MEDIA_FORMAT_WMV,
        MEDIA_FORMAT_MP4,
        MEDIA_FORMAT_MOV,
        MEDIA_FORMAT_MOD,
        MEDIA_FORMAT_MTS,
        MEDIA_FORMAT_VRO,
        MEDIA_FORMAT_VOB,
        MEDIA_FORMAT_M4V,
        MEDIA_FORMAT_OGG,
        MEDIA_FORMAT_MKV};
    return formats;
}

QImage RKVideoDecoderFfmpeg::decode(const RKMediaDescriptor& descriptor, const QSize& wanted) const
{
    const QMutexLocker locker(&m_mutex);
    RKFfmpegBridge& opened = bridge(descriptor);
    if (!opened.isOpenFile())
        return {};
    QImage image = opened.decodeFrame(frameIndex(descriptor).frame());
    // The middle of a video of one frame is its second one, and lengths and rates may lie.
    if (image.isNull() && !descriptor.frameIndex().isValid())
        image = opened.decodeFrame(0);
    if (image.isNull() || wanted.width() < 0 || wanted.height() < 0)
        return image;
    return image.scaled(wanted, Qt::KeepAspectRatio, Qt::SmoothTransformation);
}

RKMetaData RKVideoDecoderFfmpeg::metaData(const RKMediaDescriptor& descriptor) const
{
    const QMutexLocker locker(&m_mutex);
    const RKFfmpegBridge& opened = bridge(descriptor);
    RKMetaData metaData;
    metaData.forceSetSize(opened.videoSize());
    // An invalid date would be written as an empty one.
    if (const QDateTime taken = opened.videoTaken(); taken.isValid())
        metaData.setPictureTaken(taken);
    metaData.write(RKMetaDataFieldEnum::exifModel, opened.cameraModel());
    metaData.write(RKMetaDataFieldEnum::exifImageDescription,
        QString::number(descriptor.frameIndex().frame()));
    metaData.write(RKMetaDataFieldEnum::originalFilename, descriptor.absoluteFilePath());
    return metaData;
}

QSize RKVideoDecoderFfmpeg::size(const RKMediaDescriptor& descriptor) const
{
    const QMutexLocker locker(&m_mutex);
    return bridge(descriptor).videoSize();
}

RKFramesPerSecond RKVideoDecoderFfmpeg::framesPerSecond(const RKMediaDescriptor& descriptor) const
{
    const QMutexLocker locker(&m_mutex);
    return bridge(descriptor).framesPerSecond();
}

int RKVideoDecoderFfmpeg::durationInMS(const RKMediaDescriptor& descriptor) const
{
    const QMutexLocker locker(&m_mutex);
    return bridge(descriptor).videoLengthMs();
}

QString RKVideoDecoderFfmpeg::usedCodec(const RKMediaDescriptor& descriptor) const
{
    const QMutexLocker locker(&m_mutex);
    return bridge(descriptor).usedCodec();
}

void RKVideoDecoderFfmpeg::freeResources() const
{
    const QMutexLocker locker(&m_mutex);
    m_bridges.clear();
}

void RKVideoDecoderFfmpeg::freeResource(const RKMediaDescriptor& descriptor) const
{
    const QMutexLocker locker(&m_mutex);
    m_bridges.erase(descriptor.absoluteFilePath());
}

int RKVideoDecoderFfmpeg::rotation(const RKMediaDescriptor& descriptor) const
{
    const QMutexLocker locker(&m_mutex);
    return bridge(descriptor).rotation();
}

RKFfmpegBridge& RKVideoDecoderFfmpeg::bridge(const RKMediaDescriptor& descriptor) const
{
    const QString path = descriptor.absoluteFilePath();
    const auto cached = m_bridges.find(path);
    if (cached != m_bridges.end()) {
        if (cached->second->isOpenFile())
            return *cached->second;
        // The file may be there by now.
        m_bridges.erase(cached);
    }
    memFix();
    return *m_bridges.emplace(path, createBridge(descriptor)).first->second;
}

std::unique_ptr<RKFfmpegBridge> RKVideoDecoderFfmpeg::createBridge(
    const RKMediaDescriptor& descriptor)
{
    const QString path = descriptor.absoluteFilePath();
    if (descriptor.hasMediaFormat(MEDIA_FORMAT_MTS))
        return std::make_unique<RKFfmpegBridgeLame>(path);
    return std::make_unique<RKFfmpegBridge>(path);
}

void RKVideoDecoderFfmpeg::memFix() const
{
    // Kept: all are dropped, not the one unused for the longest time. The bridge that is about to
    // be added counts, so never more than 50 files are open.
    constexpr size_t kTooMany = 51;
    if (m_bridges.size() + 1 >= kTooMany)
        freeResources();
}

RKVideoFrameIndex RKVideoDecoderFfmpeg::frameIndex(const RKMediaDescriptor& descriptor) const
{
    return descriptor.frameIndex().isValid() ? descriptor.frameIndex()
                                             : defaultFrameIndex(descriptor);
}
