#include "RKImageLoader/video/RKFfmpegBridge.h"

#include "RKImageLoader/media/RKErrorText_p.h"
#include "RKImageLoader/media/RKLogCategories_p.h"
#include "RKImageLoader/media/RKMemory_p.h"
#include "RKImageLoader/video/RKCancellableLock_p.h"
#include "RKImageLoader/video/RKFfmpegModule_p.h"

#include "RKCore/RKMonolithFile.h"
#include "RKCore/RKRegularExpression.h"

#include <QDebug>
#include <QFileInfo>
#include <QMutexLocker>
#include <QTransform>
#include <QUrl>

#include <algorithm>

static_assert(RKFfmpegBridge::kAnyTimestamp == RKVideoFrames::kAnyTimestamp);

namespace {

// A coded picture of 16000x16 pixels may ask for a display of 16000000x16.
constexpr int kMaxShownSide = 32767;
constexpr qint64 kMaxShownPixels = qint64(1) << 28;

QString localPath(const QString& path)
{
    const QString local = RKMonolithFile::externalize(QUrl::fromLocalFile(path)).toLocalFile();
    // FFmpeg takes relative paths such as "concat:x" for protocols.
    return local.isEmpty() ? local : QFileInfo(local).absoluteFilePath();
}

bool isRightAngle(int rotation)
{
    return rotation != 0 && rotation % 90 == 0;
}

bool isTooLarge(const QSize& size)
{
    return std::max(size.width(), size.height()) > kMaxShownSide
        || qint64(size.width()) * size.height() > kMaxShownPixels;
}

RKMediaError reasonOf(RKVideoFailure failure)
{
    switch (failure) {
    case RKVideoFailure::Unknown: return {};
    case RKVideoFailure::NoFfmpeg:
        return RKMediaError(
            RKMediaErrorCode::NoDecoder, RKErrorText::tr("The module for videos can't be loaded."));
    case RKVideoFailure::NoVideoStream:
        return RKMediaError(RKMediaErrorCode::NoDecoder,
            RKErrorText::tr("The file has no video, only sound or data."));
    case RKVideoFailure::NoDecoder:
        return RKMediaError(
            RKMediaErrorCode::NoDecoder, RKErrorText::tr("There is no decoder for this video."));
    case RKVideoFailure::OutOfMemory: return RKMediaError(RKMediaErrorCode::OutOfMemory);
    }
    return {};
}

} // namespace

/// What is done while it lives gives up when it is cancelled. The mutex has to be held, or the
/// bridge to be new.
class RKFfmpegBridge::Cancellable
{
public:
    Cancellable(RKFfmpegBridge* bridge, const RKCancellation& cancellation)
        : m_bridge(bridge)
    {
        set(cancellation);
    }

    ~Cancellable()
    {
        set({});
    }

    Cancellable(const Cancellable&) = delete;
    Cancellable& operator=(const Cancellable&) = delete;

private:
    void set(const RKCancellation& cancellation)
    {
        m_bridge->m_cancellation = cancellation;
        if (m_bridge->m_frames)
            m_bridge->m_frames->setCancellation(cancellation);
    }

    RKFfmpegBridge* const m_bridge;
};

RKFfmpegBridge::RKFfmpegBridge(const QString& path, const RKCancellation& cancellation)
    : m_path(localPath(path))
{
    const Cancellable opening(this, cancellation);
    openFile();
    log(QStringLiteral("ctor"));
    dump();
}

RKFfmpegBridge::~RKFfmpegBridge()
{
    close();
}

bool RKFfmpegBridge::openFile()
{
    const QMutexLocker locker(&m_mutex);
    if (!m_frames)
        open();
    return m_frames != nullptr;
}

bool RKFfmpegBridge::reopenFile()
{
    const QMutexLocker locker(&m_mutex);
    // Others see the old facts until there are new ones.
    m_frames.reset();
    open();
    return m_frames != nullptr;
}

void RKFfmpegBridge::close()
{
    const QMutexLocker locker(&m_mutex);
    m_frames.reset();
    setFacts({});
}

void RKFfmpegBridge::open()
{
    auto failure = RKVideoFailure::Unknown;
    m_frames = RKFfmpegModule::open(m_path, &failure, m_cancellation);
    if (m_frames)
        setFacts(std::make_shared<RKVideoFacts>(m_frames->facts()));
    else
        setFacts({}, reasonOf(failure));
}

bool RKFfmpegBridge::canMove()
{
    if (m_frames && m_frames->isInterrupted() && !isCancelled())
        open();
    return m_frames != nullptr;
}

bool RKFfmpegBridge::isCancelled() const
{
    return m_cancellation.isCancelled();
}

bool RKFfmpegBridge::isShortOfMemory() const
{
    return m_frames && m_frames->isShortOfMemory();
}

/// The open file's facts; null if there is none.
std::shared_ptr<const RKVideoFacts> RKFfmpegBridge::facts() const
{
    const QMutexLocker locker(&m_factsMutex);
    return m_facts;
}

void RKFfmpegBridge::setFacts(
    std::shared_ptr<const RKVideoFacts> facts, const RKMediaError& openError)
{
    const QMutexLocker locker(&m_factsMutex);
    m_facts = std::move(facts);
    m_openError = openError;
}

RKMediaError RKFfmpegBridge::openError() const
{
    const QMutexLocker locker(&m_factsMutex);
    return m_openError;
}

bool RKFfmpegBridge::isOpenFile() const
{
    return facts() != nullptr;
}

QImage RKFfmpegBridge::decodeFrame(long long frameNumber)
{
    const QMutexLocker locker(&m_mutex);
    return seekFrame(frameNumber) ? getFrame() : QImage();
}

QImage RKFfmpegBridge::decodeFrame(long long frameNumber, RKLoadContext& context)
{
    const auto lock = rkLockUnlessCancelled(m_mutex, context.cancellation());
    if (!lock.owns_lock())
        return {};
    const Cancellable decoding(this, context.cancellation());
    QImage image = decodeFrame(frameNumber);
    if (image.isNull() && !context.isCancelled())
        context.fail(reasonForNoFrame(frameNumber));
    return image;
}

RKMediaError RKFfmpegBridge::reasonForNoFrame(long long frameNumber)
{
    if (!isOpenFile())
        return openError();
    if (isTooLarge(effectiveVideoSize()))
        return RKMediaError(RKMediaErrorCode::TooLarge);
    // The search for the last frame may run out of memory, too.
    const long long last = isShortOfMemory() ? -1 : lastFrameNumber();
    if (isShortOfMemory())
        return RKMediaError(RKMediaErrorCode::OutOfMemory);
    if (last < 0) {
        return RKMediaError(
            RKMediaErrorCode::Damaged, RKErrorText::tr("No frame of the video can be decoded."));
    }
    if (frameNumber >= 0 && frameNumber <= last) {
        if (RKMemory::isShortFor(effectiveVideoSize()))
            return RKMediaError(RKMediaErrorCode::OutOfMemory);
        return RKMediaError(RKMediaErrorCode::Damaged,
            RKErrorText::tr("Frame %1 can't be decoded.").arg(frameNumber));
    }
    return RKMediaError(RKMediaErrorCode::FrameOutOfRange,
        RKErrorText::tr("The video has no frame %1; its last one is %2.")
            .arg(frameNumber)
            .arg(last));
}

long long RKFfmpegBridge::lastFrameNumber()
{
    const QMutexLocker locker(&m_mutex);
    return canMove() ? m_frames->lastFrame() : -1;
}

bool RKFfmpegBridge::seekFrame(long long frameNumber)
{
    const QMutexLocker locker(&m_mutex);
    return canMove() && m_frames->seekFrame(frameNumber);
}

bool RKFfmpegBridge::decodeSeekFrame(long long timestamp)
{
    const QMutexLocker locker(&m_mutex);
    return canMove() && m_frames->decodeSeekFrame(timestamp);
}

long long RKFfmpegBridge::estimatedBytes() const
{
    const auto known = facts();
    return known ? known->estimatedBytes : 0;
}

QImage RKFfmpegBridge::getFrame() const
{
    const QMutexLocker locker(&m_mutex);
    const QSize size = effectiveVideoSize();
    QImage image = m_frames ? m_frames->image() : QImage();
    if (image.isNull() || size.isEmpty() || isTooLarge(size))
        return {};
    if (image.size() != size)
        image = image.scaled(size, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    if (const auto known = facts(); known && known->isMirrored && known->rotation % 90 == 0)
        image = image.mirrored();
    if (shouldApplyRotation()) {
        image = image.transformed(
            QTransform().rotate(rotation(), Qt::ZAxis), Qt::SmoothTransformation);
    }
    return image;
}

void RKFfmpegBridge::setLastFrameOkay(bool isOkay)
{
    const QMutexLocker locker(&m_mutex);
    if (m_frames)
        m_frames->setLastFrameOkay(isOkay);
}

long long RKFfmpegBridge::lastTimestamp() const
{
    const QMutexLocker locker(&m_mutex);
    return m_frames ? m_frames->lastTimestamp() : 0;
}

bool RKFfmpegBridge::lastsUntil(long long timestamp) const
{
    const QMutexLocker locker(&m_mutex);
    return m_frames && m_frames->lastsUntil(timestamp);
}

long long RKFfmpegBridge::ticksSinceStart(long long frameNumber) const
{
    const QMutexLocker locker(&m_mutex);
    return m_frames ? m_frames->ticksSinceStart(frameNumber) : 0;
}

long long RKFfmpegBridge::timestampAt(long long ticks) const
{
    const QMutexLocker locker(&m_mutex);
    return m_frames ? m_frames->timestampAt(ticks) : ticks;
}

const AVStream* RKFfmpegBridge::videoStream() const
{
    const QMutexLocker locker(&m_mutex);
    return m_frames ? m_frames->stream() : nullptr;
}

double RKFfmpegBridge::timeScale() const
{
    const auto known = facts();
    return known ? known->timeScale() : 0.0;
}

RKFramesPerSecond RKFfmpegBridge::framesPerSecond() const
{
    const auto known = facts();
    return known ? RKFramesPerSecond(toReal(known->frameRate)) : RKFramesPerSecond();
}

int RKFfmpegBridge::videoLengthMs() const
{
    const auto known = facts();
    return known ? known->lengthMs : -1;
}

int RKFfmpegBridge::rotation() const
{
    const auto known = facts();
    return known ? known->rotation : 0;
}

bool RKFfmpegBridge::shouldApplyRotation() const
{
    return isRightAngle(rotation());
}

QSize RKFfmpegBridge::sourceVideoSize() const
{
    const auto known = facts();
    return known ? known->sourceSize : QSize();
}

QSize RKFfmpegBridge::effectiveVideoSize() const
{
    const auto known = facts();
    return known ? known->effectiveSize : QSize();
}

QSize RKFfmpegBridge::videoSize() const
{
    const auto known = facts();
    if (!known)
        return {};
    const bool liesOnItsSide = known->rotation == 90 || known->rotation == 270;
    return liesOnItsSide ? known->effectiveSize.transposed() : known->effectiveSize;
}

AVRational RKFfmpegBridge::sourceAspectRatio() const
{
    const auto known = facts();
    return known ? known->sourceAspectRatio : AVRational{0, 0};
}

AVRational RKFfmpegBridge::displayAspectRatio() const
{
    const auto known = facts();
    return known ? known->displayAspectRatio : AVRational{0, 0};
}

QSize RKFfmpegBridge::sourceAspect() const
{
    const AVRational ratio = sourceAspectRatio();
    return {ratio.num, ratio.den};
}

QSize RKFfmpegBridge::displayAspect() const
{
    const AVRational ratio = displayAspectRatio();
    return {ratio.num, ratio.den};
}

QDateTime RKFfmpegBridge::videoTaken() const
{
    const auto known = facts();
    return known ? parseDateTime(known->creationTime) : QDateTime();
}

QString RKFfmpegBridge::cameraModel() const
{
    const auto known = facts();
    return known ? known->cameraModel : QString();
}

QString RKFfmpegBridge::location() const
{
    const auto known = facts();
    return known ? known->location : QString();
}

QString RKFfmpegBridge::usedCodec() const
{
    const auto known = facts();
    return known ? known->codecName : QString();
}

void RKFfmpegBridge::dump() const
{
    const AVRational source = sourceAspectRatio();
    const AVRational display = displayAspectRatio();
    qCDebug(rkVideo) << "RKFfmpegBridge::dump";
    qCDebug(rkVideo) << "  file:" << m_path;
    qCDebug(rkVideo) << "  isOpen:" << isOpenFile();
    qCDebug(rkVideo) << "  camera model:" << cameraModel();
    qCDebug(rkVideo) << "  frames per second:" << framesPerSecond().fps();
    qCDebug(rkVideo) << "  time scale:" << timeScale();
    qCDebug(rkVideo) << "  used codec:" << usedCodec();
    qCDebug(rkVideo) << "  video length milliseconds:" << videoLengthMs();
    qCDebug(rkVideo) << "  video size:" << videoSize();
    qCDebug(rkVideo) << "  source video size:" << sourceVideoSize();
    qCDebug(rkVideo) << "  effective video size:" << effectiveVideoSize();
    qCDebug(rkVideo) << "  source aspect ratio:" << source.num << "/" << source.den;
    qCDebug(rkVideo) << "  display aspect ratio:" << display.num << "/" << display.den;
    qCDebug(rkVideo) << "  video taken:" << videoTaken().toString();
    qCDebug(rkVideo) << "  rotation:" << rotation();
    qCDebug(rkVideo) << "  should apply rotation:" << shouldApplyRotation();
    qCDebug(rkVideo) << "";
}

void RKFfmpegBridge::log(const QString& message) const
{
    RKFfmpegLog::write(m_path, message);
}

double RKFfmpegBridge::toReal(const AVRational& ratio)
{
    return RKVideoFacts::toReal(ratio);
}

QDateTime RKFfmpegBridge::parseDateTime(const QString& text)
{
    static const RKRegularExpression dateInText(QStringLiteral("(\\d\\d\\d\\d-\\d\\d-\\d\\d)"));
    static const RKRegularExpression timeWithSeconds(QStringLiteral("(\\d\\d:\\d\\d:\\d\\d)"));
    static const RKRegularExpression timeInText(QStringLiteral("(\\d\\d:\\d\\d)"));

    const QDate date
        = QDate::fromString(dateInText.match(text).captured(1), QStringLiteral("yyyy-MM-dd"));
    if (!date.isValid())
        return {};
    QRegularExpressionMatch match = timeWithSeconds.match(text);
    QString format = QStringLiteral("hh:mm:ss");
    if (!match.hasMatch()) {
        match = timeInText.match(text);
        format = QStringLiteral("hh:mm");
    }
    QDateTime dateTime = date.startOfDay();
    const QTime time = QTime::fromString(match.captured(1), format);
    if (time.isValid())
        dateTime.setTime(time);
    return dateTime;
}

AVRational RKFfmpegBridge::repairedTimeBase(const AVRational& timeBase)
{
    return RKVideoFacts::repairedTimeBase(timeBase);
}
