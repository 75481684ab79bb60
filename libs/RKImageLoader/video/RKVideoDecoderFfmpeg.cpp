#include "RKImageLoader/video/RKVideoDecoderFfmpeg.h"

#include "RKImageLoader/drawables/RKQtScaler_p.h"
#include "RKImageLoader/metadata/RKMetaDataField.h"
#include "RKImageLoader/video/RKCancellableLock_p.h"
#include "RKImageLoader/video/RKFfmpegBridge.h"
#include "RKImageLoader/video/RKFfmpegBridgeLame.h"

#include <QMutexLocker>
#include <QRegularExpression>

#include <algorithm>
#include <atomic>
#include <iterator>
#include <mutex>

#ifdef __GLIBC__
#    include <malloc.h>
#endif

namespace {

// Each holds a file and its threads open.
constexpr size_t kMaxVideos = 50;
// A dozen videos of 1080p, three of 4K.
constexpr long long kMaxBytes = 512LL << 20;

/// From degrees and their fractions, which is what cameras write; minutes and seconds have more
/// digits and are left out.
void writePlace(RKMetaData& metaData, const QString& location)
{
    static const QRegularExpression degrees(QStringLiteral(
        "^([+-]\\d{1,2}(?:\\.\\d{1,12})?)([+-]\\d{1,3}(?:\\.\\d{1,12})?)(?:[+-/]|$)"));
    const QRegularExpressionMatch match = degrees.match(location);
    if (match.hasMatch())
        metaData.setGeoPosition({match.captured(1).toDouble(), match.captured(2).toDouble()});
}

} // namespace

struct RKVideoDecoderFfmpeg::OpenVideo
{
    explicit OpenVideo(const QString& filePath)
        : path(filePath)
    {
    }

    const QString path;
    // Guards the bridge; held while it is opened. The decoder's is taken after it.
    std::mutex mutex;
    std::shared_ptr<RKFfmpegBridge> bridge;
    std::atomic<long long> bytes = 0;
};

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
    RKLoadContext context;
    return decode(descriptor, wanted, context);
}

RKDrawable RKVideoDecoderFfmpeg::decodeDrawable(
    const RKMediaDescriptor& descriptor, const QSize& wanted, RKLoadContext& context) const
{
    return RKDrawable(decode(descriptor, wanted, context));
}

QImage RKVideoDecoderFfmpeg::decode(
    const RKMediaDescriptor& descriptor, const QSize& wanted, RKLoadContext& context) const
{
    const auto opened = bridge(descriptor, context);
    if (!opened || !opened->isOpenFile())
        return {};
    QImage image = opened->decodeFrame(frameIndex(descriptor).frame(), context);
    // The middle of a video of one frame is its second one, and lengths and rates may lie.
    if (image.isNull() && !context.isCancelled()
        && context.error().code() != RKMediaErrorCode::OutOfMemory
        && !descriptor.frameIndex().isValid())
    {
        // Nobody asked for the frame that is missing.
        context.succeed();
        image = opened->decodeFrame(0, context);
    }
    if (image.isNull() || wanted.width() < 0 || wanted.height() < 0)
        return image;
    return RKQtScaler::scaled(std::move(image), wanted);
}

RKMetaData RKVideoDecoderFfmpeg::metaData(const RKMediaDescriptor& descriptor) const
{
    const auto opened = bridge(descriptor);
    RKMetaData metaData;
    metaData.forceSetSize(opened->videoSize());
    // An invalid date would be written as an empty one.
    if (const QDateTime taken = opened->videoTaken(); taken.isValid())
        metaData.setPictureTaken(taken);
    writePlace(metaData, opened->location());
    metaData.write(RKMetaDataFieldEnum::exifModel, opened->cameraModel());
    metaData.write(RKMetaDataFieldEnum::exifImageDescription,
        QString::number(descriptor.frameIndex().frame()));
    metaData.write(RKMetaDataFieldEnum::originalFilename, descriptor.absoluteFilePath());
    return metaData;
}

QSize RKVideoDecoderFfmpeg::size(const RKMediaDescriptor& descriptor) const
{
    return bridge(descriptor)->videoSize();
}

QSize RKVideoDecoderFfmpeg::size(const RKMediaDescriptor& descriptor, RKLoadContext& context) const
{
    const auto opened = bridge(descriptor, context);
    return opened ? opened->videoSize() : QSize();
}

RKFramesPerSecond RKVideoDecoderFfmpeg::framesPerSecond(const RKMediaDescriptor& descriptor) const
{
    return bridge(descriptor)->framesPerSecond();
}

int RKVideoDecoderFfmpeg::durationInMS(const RKMediaDescriptor& descriptor) const
{
    return bridge(descriptor)->videoLengthMs();
}

QString RKVideoDecoderFfmpeg::usedCodec(const RKMediaDescriptor& descriptor) const
{
    return bridge(descriptor)->usedCodec();
}

int RKVideoDecoderFfmpeg::rotation(const RKMediaDescriptor& descriptor) const
{
    return bridge(descriptor)->rotation();
}

RKVideoFrameIndex RKVideoDecoderFfmpeg::lastFrameIndex(const RKMediaDescriptor& descriptor) const
{
    return static_cast<int>(bridge(descriptor)->lastFrameNumber());
}

void RKVideoDecoderFfmpeg::freeResources() const
{
    {
        Videos closed;
        const QMutexLocker locker(&m_mutex);
        m_videos.swap(closed);
    }
#ifdef __GLIBC__
    // Frames are too small for the allocator to give them back by itself.
    malloc_trim(0);
#endif
}

void RKVideoDecoderFfmpeg::freeResource(const RKMediaDescriptor& descriptor) const
{
    Videos closed;
    const QMutexLocker locker(&m_mutex);
    const auto known = find(descriptor.absoluteFilePath());
    if (known != m_videos.end())
        closed.splice(closed.end(), m_videos, known);
}

std::shared_ptr<RKFfmpegBridge> RKVideoDecoderFfmpeg::bridge(
    const RKMediaDescriptor& descriptor) const
{
    RKLoadContext context;
    return bridge(descriptor, context);
}

/// Notes why when it is closed; null if it was cancelled.
std::shared_ptr<RKFfmpegBridge> RKVideoDecoderFfmpeg::bridge(
    const RKMediaDescriptor& descriptor, RKLoadContext& context) const
{
    const std::shared_ptr<OpenVideo> video = used(descriptor.absoluteFilePath());
    const auto lock = rkLockUnlessCancelled(video->mutex, context.cancellation());
    if (!lock.owns_lock())
        return nullptr;
    // A closed one is tried again: the file may be there by now.
    if (!video->bridge || !video->bridge->isOpenFile()) {
        video->bridge = createBridge(descriptor, context.cancellation());
        video->bytes = video->bridge->estimatedBytes();
        closeUnused();
    }
    if (!video->bridge->isOpenFile())
        context.fail(video->bridge->openError());
    return video->bridge;
}

std::shared_ptr<RKFfmpegBridge> RKVideoDecoderFfmpeg::createBridge(
    const RKMediaDescriptor& descriptor, const RKCancellation& cancellation)
{
    const QString path = descriptor.absoluteFilePath();
    if (descriptor.hasMediaFormat(MEDIA_FORMAT_MTS))
        return std::make_shared<RKFfmpegBridgeLame>(path, cancellation);
    return std::make_shared<RKFfmpegBridge>(path, cancellation);
}

RKVideoDecoderFfmpeg::Videos::iterator RKVideoDecoderFfmpeg::find(const QString& path) const
{
    return std::find_if(m_videos.begin(), m_videos.end(), [&path](const auto& video) {
        return video->path == path;
    });
}

/// The video of that path, from now on the one last used.
std::shared_ptr<RKVideoDecoderFfmpeg::OpenVideo> RKVideoDecoderFfmpeg::used(
    const QString& path) const
{
    Videos closed;
    const QMutexLocker locker(&m_mutex);
    const auto known = find(path);
    if (known != m_videos.end()) {
        m_videos.splice(m_videos.begin(), m_videos, known);
        return m_videos.front();
    }
    // Before it is opened, so that there are never more.
    if (m_videos.size() == kMaxVideos)
        closed.splice(closed.end(), m_videos, std::prev(m_videos.end()));
    m_videos.push_front(std::make_shared<OpenVideo>(path));
    return m_videos.front();
}

/// Closes those that were not used for the longest time, as far as memory demands it.
void RKVideoDecoderFfmpeg::closeUnused() const
{
    Videos closed;
    const QMutexLocker locker(&m_mutex);
    long long bytes = 0;
    auto video = m_videos.begin();
    while (video != m_videos.end()
        && (video == m_videos.begin() || bytes + (*video)->bytes <= kMaxBytes))
    {
        bytes += (*video)->bytes;
        ++video;
    }
    closed.splice(closed.end(), m_videos, video, m_videos.end());
}

RKVideoFrameIndex RKVideoDecoderFfmpeg::frameIndex(const RKMediaDescriptor& descriptor) const
{
    return descriptor.frameIndex().isValid() ? descriptor.frameIndex()
                                             : defaultFrameIndex(descriptor);
}
