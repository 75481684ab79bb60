#include "RKImageLoader/video/RKFfmpegBridgeLame.h"

#include <QMutexLocker>

#include <cstdlib>
#include <limits>

namespace {

constexpr int kMaxWayOn = 10;
constexpr int kMaxKeptDistance = 10;
constexpr int kMaxKeptFrames = 21;

} // namespace

QImage RKFfmpegBridgeLame::decodeFrame(long long frameNumber)
{
    const QMutexLocker locker(&m_mutex);
    if (frameNumber < 0)
        return {};
    QImage cached = readFromCache(frameNumber);
    if (!cached.isNull())
        return cached;
    // The frames passed on a short way are probably the next ones asked for.
    if (m_lastFrame < frameNumber - 1 && frameNumber - kMaxWayOn < m_lastFrame) {
        for (long long passed = m_lastFrame + 1; passed < frameNumber && !isCancelled(); ++passed)
            justDecodeThisFrame(passed);
    }
    return justDecodeThisFrame(frameNumber);
}

long long RKFfmpegBridgeLame::estimatedBytes() const
{
    const QSize size = videoSize();
    const long long kept = size.isEmpty() ? 0 : 3LL * size.width() * size.height() * kMaxKeptFrames;
    return RKFfmpegBridge::estimatedBytes() + kept;
}

QImage RKFfmpegBridgeLame::readFromCache(long long frameNumber) const
{
    return m_cache.value(frameNumber);
}

QImage RKFfmpegBridgeLame::justDecodeThisFrame(long long frameNumber)
{
    // Also where the single steps of the base class have moved on.
    if (isOpenFile() && (m_lastFrame > frameNumber || m_lastTimestamp != lastTimestamp()))
        reopenFile();
    m_lastFrame = frameNumber;
    // Kept: the ticks are cut to 32 bits, 6.6 hours at 90 kHz.
    const int ticks = static_cast<int>(ticksSinceStart(frameNumber));
    const long long timestamp = timestampAt(ticks);
    // Interlaced video counts its fields: two numbers share a frame. Decoding on for each of them
    // would go through it at twice its speed.
    const bool isCurrent = lastsUntil(timestamp);
    if (!isCurrent)
        setLastFrameOkay(false);
    QImage image = isCurrent || decodeSeekFrame(timestamp) ? getFrame() : QImage();
    m_lastTimestamp = lastTimestamp();
    if (isCancelled() || isShortOfMemory()) {
        // The next one begins anew.
        m_lastFrame = std::numeric_limits<long long>::max();
        return {};
    }
    recordInCache(frameNumber, image);
    return image;
}

void RKFfmpegBridgeLame::recordInCache(long long frameNumber, const QImage& image)
{
    if (m_cache.size() >= kMaxKeptFrames) {
        m_cache.removeIf([frameNumber](const auto& entry) {
            return std::llabs(entry.key() - frameNumber) > kMaxKeptDistance;
        });
    }
    m_cache.insert(frameNumber, image);
}
