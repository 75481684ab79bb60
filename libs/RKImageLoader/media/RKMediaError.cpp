#include "RKImageLoader/media/RKMediaError.h"

#include <QCoreApplication>

namespace {

QString usualText(RKMediaErrorCode code)
{
    const auto text
        = [](const char* source) { return QCoreApplication::translate("RKMediaError", source); };
    switch (code) {
    case RKMediaErrorCode::None: return {};
    case RKMediaErrorCode::Missing:
        return text(QT_TRANSLATE_NOOP("RKMediaError", "There is no such file."));
    case RKMediaErrorCode::NoPermission:
        return text(QT_TRANSLATE_NOOP("RKMediaError", "The file may not be read."));
    case RKMediaErrorCode::NotAFile:
        return text(
            QT_TRANSLATE_NOOP("RKMediaError", "This is a pipe or a device and not a file."));
    case RKMediaErrorCode::UnknownFormat:
        return text(QT_TRANSLATE_NOOP("RKMediaError", "The format of the file is not known."));
    case RKMediaErrorCode::NoDecoder:
        return text(QT_TRANSLATE_NOOP("RKMediaError", "There is no decoder for this format."));
    case RKMediaErrorCode::Damaged:
        return text(QT_TRANSLATE_NOOP(
            "RKMediaError", "This is no picture of that format, or a damaged one."));
    case RKMediaErrorCode::Truncated:
        return text(QT_TRANSLATE_NOOP("RKMediaError", "The file ends before its picture does."));
    case RKMediaErrorCode::TooLarge:
        return text(QT_TRANSLATE_NOOP("RKMediaError", "The picture is too large."));
    case RKMediaErrorCode::TooSmall:
        return text(QT_TRANSLATE_NOOP("RKMediaError", "The picture is too small."));
    case RKMediaErrorCode::FrameOutOfRange:
        return text(QT_TRANSLATE_NOOP("RKMediaError", "The video has no such frame."));
    case RKMediaErrorCode::Unreadable:
        return text(QT_TRANSLATE_NOOP("RKMediaError", "The file can't be read."));
    case RKMediaErrorCode::DiskFull:
        return text(QT_TRANSLATE_NOOP("RKMediaError", "The disk is full."));
    case RKMediaErrorCode::NotWritable:
        return text(QT_TRANSLATE_NOOP("RKMediaError", "The file can't be written."));
    case RKMediaErrorCode::UnsupportedForWriting:
        return text(QT_TRANSLATE_NOOP("RKMediaError", "This format can't be written."));
    case RKMediaErrorCode::WouldLose:
        return text(
            QT_TRANSLATE_NOOP("RKMediaError", "Saving would lose some of the file's metadata."));
    case RKMediaErrorCode::Changed:
        return text(QT_TRANSLATE_NOOP("RKMediaError", "Another program keeps changing the file."));
    case RKMediaErrorCode::OutOfMemory:
        return text(QT_TRANSLATE_NOOP("RKMediaError", "There is not enough memory."));
    case RKMediaErrorCode::Cancelled:
        return text(QT_TRANSLATE_NOOP("RKMediaError", "The request was cancelled."));
    }
    return {};
}

} // namespace

RKMediaError::RKMediaError(
    RKMediaErrorCode code, const QString& text, const RKMediaFormat& contentFormat)
    : m_code(code)
    , m_text(text.isEmpty() ? usualText(code) : text)
    , m_contentFormat(contentFormat)
{
}

RKMediaErrorCode RKMediaError::code() const
{
    return m_code;
}

bool RKMediaError::isError() const
{
    return m_code != RKMediaErrorCode::None;
}

QString RKMediaError::text() const
{
    return m_text;
}

QString RKMediaError::filePath() const
{
    return m_filePath;
}

void RKMediaError::setFilePath(const QString& path)
{
    m_filePath = path;
}

RKMediaFormat RKMediaError::contentFormat() const
{
    return m_contentFormat;
}
