#include "RKImageLoader/media/RKMediaDescriptor.h"

#include <QHash>

RKMediaDescriptor::RKMediaDescriptor(
    const QDir& directory, const QString& fileName, const RKVideoFrameIndex& frame)
    : RKMediaDescriptor(QFileInfo(directory, fileName), frame)
{
}

RKMediaDescriptor::RKMediaDescriptor(const QFileInfo& file, const RKVideoFrameIndex& frame)
    : m_fileInfo(file)
    , m_frame(frame)
{
    checkValidity();
}

RKMediaDescriptor::RKMediaDescriptor(const QUrl& url, const RKVideoFrameIndex& frame)
    : RKMediaDescriptor(QFileInfo(url.toLocalFile()), frame)
{
}

RKMediaDescriptor::~RKMediaDescriptor() = default;

void RKMediaDescriptor::checkValidity()
{
    m_isValid = !m_fileInfo.fileName().isEmpty();
}

bool RKMediaDescriptor::isValid() const
{
    return m_isValid;
}

void RKMediaDescriptor::refresh()
{
    m_fileInfo.refresh();
}

QFileInfo RKMediaDescriptor::fileInfo() const
{
    return m_fileInfo;
}

QString RKMediaDescriptor::absoluteFilePath() const
{
    return m_fileInfo.absoluteFilePath();
}

QString RKMediaDescriptor::fileName() const
{
    return m_fileInfo.fileName();
}

RKVideoFrameIndex RKMediaDescriptor::frameIndex() const
{
    return m_frame;
}

void RKMediaDescriptor::setFrame(const RKVideoFrameIndex& frame)
{
    m_frame = frame;
}

RKMediaFormat RKMediaDescriptor::mediaFormat() const
{
    return RKMediaFormat(m_fileInfo);
}

bool RKMediaDescriptor::hasMediaFormat(const RKMediaFormat& format) const
{
    return mediaFormat() == format;
}

QByteArray RKMediaDescriptor::fileFormatAsByteArray() const
{
    return m_fileInfo.suffix().toLower().toLatin1();
}

bool RKMediaDescriptor::operator==(const RKMediaDescriptor& other) const
{
    return m_frame == other.m_frame && absoluteFilePath() == other.absoluteFilePath();
}

bool RKMediaDescriptor::operator!=(const RKMediaDescriptor& other) const
{
    return !(*this == other);
}

size_t RKMediaDescriptor::hash() const
{
    return qHash(fileName(), 0) + size_t(m_frame.frame());
}

QUrl RKMediaDescriptor::url() const
{
    QUrl url = QUrl::fromLocalFile(m_isValid ? absoluteFilePath() : QString());
    m_frame.addToUrl(url);
    return url;
}

size_t qHash(const RKMediaDescriptor& descriptor, size_t seed)
{
    return qHash(descriptor.hash(), seed);
}
