#include "RKImageLoader/media/RKMediaError.h"

#include "RKImageLoader/media/RKErrorText_p.h"

namespace {

QString usualText(RKMediaErrorCode code)
{
    switch (code) {
    case RKMediaErrorCode::None: return {};
    case RKMediaErrorCode::Missing: return RKErrorText::tr("There is no such file.");
    case RKMediaErrorCode::NoPermission: return RKErrorText::tr("The file may not be read.");
    case RKMediaErrorCode::NotAFile:
        return RKErrorText::tr("This is a pipe or a device and not a file.");
    case RKMediaErrorCode::UnknownFormat:
        return RKErrorText::tr("The format of the file is not known.");
    case RKMediaErrorCode::NoDecoder:
        return RKErrorText::tr("There is no decoder for this format.");
    case RKMediaErrorCode::Damaged:
        return RKErrorText::tr("This is no picture of that format, or a damaged one.");
    case RKMediaErrorCode::Truncated:
        return RKErrorText::tr("The file ends before its picture does.");
    case RKMediaErrorCode::TooLarge: return RKErrorText::tr("The picture is too large.");
    case RKMediaErrorCode::TooSmall: return RKErrorText::tr("The picture is too small.");
    case RKMediaErrorCode::FrameOutOfRange: return RKErrorText::tr("The video has no such frame.");
    case RKMediaErrorCode::Unreadable: return RKErrorText::tr("The file can't be read.");
    case RKMediaErrorCode::DiskFull: return RKErrorText::tr("The disk is full.");
    case RKMediaErrorCode::NotWritable: return RKErrorText::tr("The file can't be written.");
    case RKMediaErrorCode::UnsupportedForWriting:
        return RKErrorText::tr("This format can't be written.");
    case RKMediaErrorCode::WouldLose:
        return RKErrorText::tr("Saving would lose some of the file's metadata.");
    case RKMediaErrorCode::Changed:
        return RKErrorText::tr("Another program keeps changing the file.");
    case RKMediaErrorCode::OutOfMemory: return RKErrorText::tr("There is not enough memory.");
    case RKMediaErrorCode::Cancelled: return RKErrorText::tr("The request was cancelled.");
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
