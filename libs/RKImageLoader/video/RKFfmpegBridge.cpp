#include "RKImageLoader/video/RKFfmpegBridge.h"

#include "RKImageLoader/video/RKFfmpegFile_p.h"
#include "RKImageLoader/video/RKFfmpegLog_p.h"
#include "RKImageLoader/video/RKFrameSeeker_p.h"

#include "RKCore/RKMonolithFile.h"

#include <QDebug>
#include <QFileInfo>
#include <QMutexLocker>
#include <QTransform>
#include <QUrl>

#include <algorithm>

static_assert(RKFfmpegBridge::kAnyTimestamp == RKFrameSeeker::kAnyTimestamp);

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

} // namespace

RKFfmpegBridge::RKFfmpegBridge(const QString& path)
    : m_path(localPath(path))
{
    RKFfmpegLog::install();
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
    if (!m_seeker)
        open();
    return m_seeker != nullptr;
}

bool RKFfmpegBridge::reopenFile()
{
    const QMutexLocker locker(&m_mutex);
    // Others see the old facts until there are new ones.
    m_seeker.reset();
    open();
    return m_seeker != nullptr;
}

void RKFfmpegBridge::close()
{
    const QMutexLocker locker(&m_mutex);
    m_seeker.reset();
    setFile({});
}

void RKFfmpegBridge::open()
{
    std::shared_ptr<RKFfmpegFile> file = RKFfmpegFile::open(m_path);
    m_seeker = file ? RKFrameSeeker::create(file) : nullptr;
    setFile(m_seeker ? std::move(file) : nullptr);
}

/// The open file's facts; null if there is none.
std::shared_ptr<const RKFfmpegFile> RKFfmpegBridge::file() const
{
    const QMutexLocker locker(&m_fileMutex);
    return m_file;
}

void RKFfmpegBridge::setFile(std::shared_ptr<const RKFfmpegFile> file)
{
    const QMutexLocker locker(&m_fileMutex);
    m_file = std::move(file);
}

bool RKFfmpegBridge::isOpenFile() const
{
    return file() != nullptr;
}

QImage RKFfmpegBridge::decodeFrame(long long frameNumber)
{
    const QMutexLocker locker(&m_mutex);
    return seekFrame(frameNumber) ? getFrame() : QImage();
}

long long RKFfmpegBridge::lastFrameNumber()
{
    const QMutexLocker locker(&m_mutex);
    return m_seeker ? m_seeker->lastFrame() : -1;
}

bool RKFfmpegBridge::seekFrame(long long frameNumber)
{
    const QMutexLocker locker(&m_mutex);
    return m_seeker && m_seeker->seekFrame(frameNumber);
}

bool RKFfmpegBridge::decodeSeekFrame(long long timestamp)
{
    const QMutexLocker locker(&m_mutex);
    return m_seeker && m_seeker->decodeSeekFrame(timestamp);
}

long long RKFfmpegBridge::estimatedBytes() const
{
    const auto opened = file();
    return opened ? opened->estimatedBytes() : 0;
}

QImage RKFfmpegBridge::getFrame() const
{
    const QMutexLocker locker(&m_mutex);
    const QSize size = effectiveVideoSize();
    QImage image = m_seeker ? m_seeker->image() : QImage();
    if (image.isNull() || size.isEmpty() || isTooLarge(size))
        return {};
    if (image.size() != size)
        image = image.scaled(size, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    if (shouldApplyRotation()) {
        image = image.transformed(
            QTransform().rotate(rotation(), Qt::ZAxis), Qt::SmoothTransformation);
    }
    return image;
}

void RKFfmpegBridge::setLastFrameOkay(bool isOkay)
{
    const QMutexLocker locker(&m_mutex);
    if (m_seeker)
        m_seeker->setLastFrameOkay(isOkay);
}

long long RKFfmpegBridge::lastTimestamp() const
{
    const QMutexLocker locker(&m_mutex);
    return m_seeker ? m_seeker->lastTimestamp() : 0;
}

bool RKFfmpegBridge::lastsUntil(long long timestamp) const
{
    const QMutexLocker locker(&m_mutex);
    return m_seeker && m_seeker->lastsUntil(timestamp);
}

long long RKFfmpegBridge::ticksSinceStart(long long frameNumber) const
{
    const QMutexLocker locker(&m_mutex);
    return m_seeker ? m_seeker->ticksSinceStart(frameNumber) : 0;
}

long long RKFfmpegBridge::timestampAt(long long ticks) const
{
    const QMutexLocker locker(&m_mutex);
    return m_seeker ? m_seeker->timestampAt(ticks) : ticks;
}

const AVStream* RKFfmpegBridge::videoStream() const
{
    const QMutexLocker locker(&m_mutex);
    return m_seeker ? m_seeker->stream() : nullptr;
}

double RKFfmpegBridge::timeScale() const
{
    const auto opened = file();
    return opened ? opened->timeScale() : 0.0;
}

RKFramesPerSecond RKFfmpegBridge::framesPerSecond() const
{
    const auto opened = file();
    return opened ? opened->framesPerSecond() : RKFramesPerSecond();
}

int RKFfmpegBridge::videoLengthMs() const
{
    const auto opened = file();
    return opened ? opened->lengthMs() : -1;
}

int RKFfmpegBridge::rotation() const
{
    const auto opened = file();
    return opened ? opened->rotation() : 0;
}

bool RKFfmpegBridge::shouldApplyRotation() const
{
    return isRightAngle(rotation());
}

QSize RKFfmpegBridge::sourceVideoSize() const
{
    const auto opened = file();
    return opened ? opened->sourceSize() : QSize();
}

QSize RKFfmpegBridge::effectiveVideoSize() const
{
    const auto opened = file();
    return opened ? opened->effectiveSize() : QSize();
}

QSize RKFfmpegBridge::videoSize() const
{
    const auto opened = file();
    if (!opened)
        return {};
    const bool liesOnItsSide = opened->rotation() == 90 || opened->rotation() == 270;
    return liesOnItsSide ? opened->effectiveSize().transposed() : opened->effectiveSize();
}

AVRational RKFfmpegBridge::sourceAspectRatio() const
{
    const auto opened = file();
    return opened ? opened->sourceAspectRatio() : AVRational{0, 0};
}

AVRational RKFfmpegBridge::displayAspectRatio() const
{
    const auto opened = file();
    return opened ? opened->displayAspectRatio() : AVRational{0, 0};
}

QDateTime RKFfmpegBridge::videoTaken() const
{
    const auto opened = file();
    return opened ? opened->taken() : QDateTime();
}

QString RKFfmpegBridge::cameraModel() const
{
    const auto opened = file();
    return opened ? opened->cameraModel() : QString();
}

QString RKFfmpegBridge::usedCodec() const
{
    const auto opened = file();
    return opened ? opened->codecName() : QString();
}

void RKFfmpegBridge::dump() const
{
    const AVRational source = sourceAspectRatio();
    const AVRational display = displayAspectRatio();
    qDebug() << "RKFfmpegBridge::dump";
    qDebug() << "  file:" << m_path;
    qDebug() << "  isOpen:" << isOpenFile();
    qDebug() << "  camera model:" << cameraModel();
    qDebug() << "  frames per second:" << framesPerSecond().fps();
    qDebug() << "  time scale:" << timeScale();
    qDebug() << "  used codec:" << usedCodec();
    qDebug() << "  video length milliseconds:" << videoLengthMs();
    qDebug() << "  video size:" << videoSize();
    qDebug() << "  source video size:" << sourceVideoSize();
    qDebug() << "  effective video size:" << effectiveVideoSize();
    qDebug() << "  source aspect ratio:" << source.num << "/" << source.den;
    qDebug() << "  display aspect ratio:" << display.num << "/" << display.den;
    qDebug() << "  video taken:" << videoTaken().toString();
    qDebug() << "  rotation:" << rotation();
    qDebug() << "  should apply rotation:" << shouldApplyRotation();
    qDebug() << "";
}

void RKFfmpegBridge::log(const QString& message) const
{
    RKFfmpegLog::write(m_path, message);
}

double RKFfmpegBridge::toReal(const AVRational& ratio)
{
    return RKFfmpeg::toReal(ratio);
}

QDateTime RKFfmpegBridge::parseDateTime(const QString& text)
{
    return RKFfmpegFile::parseDateTime(text);
}

AVRational RKFfmpegBridge::repairedTimeBase(const AVRational& timeBase)
{
    return RKFfmpegFile::repairedTimeBase(timeBase);
}
