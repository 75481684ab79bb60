#pragma once

#include "RKImageLoader/RKImageLoaderExport.h"
#include "RKImageLoader/media/RKMediaFormat.h"

#include <QString>

/// The kinds of failure; docs/errors.md says when each of them occurs and what a host may do.
enum class RKMediaErrorCode
{
    None,
    /// There is no such file, or no such folder to save to.
    Missing,
    /// The user has no permission to read the file.
    NoPermission,
    /// A folder, a pipe or a device.
    NotAFile,
    /// The file's name stands for no format, or its content has a different one.
    UnknownFormat,
    /// The format is known, but nothing here decodes it; or a video has no pictures.
    NoDecoder,
    /// The content breaks the rules of its format.
    Damaged,
    /// The file ends too early. The only code that may come with a picture, an incomplete one.
    Truncated,
    /// The picture, or the size asked for, would take unreasonably much memory or time.
    TooLarge,
    /// See RKDrawable::isAcceptableSize().
    TooSmall,
    /// The video has no such frame.
    FrameOutOfRange,
    /// The system could not read the file.
    Unreadable,
    DiskFull,
    /// The file or its folder may not be written.
    NotWritable,
    /// The format can't be written, or has no place for the metadata.
    UnsupportedForWriting,
    /// Saving would have lost metadata that the file has.
    WouldLose,
    /// Another program kept changing the file while it was being saved.
    Changed,
    OutOfMemory,
    /// The host has cancelled the request.
    Cancelled
};

/// Why a medium could not be loaded or saved. A value. Reentrant.
class RKIMAGELOADER_EXPORT RKMediaError
{
public:
    /// No error.
    RKMediaError() = default;
    /// Without a text, the usual sentence for the code.
    explicit RKMediaError(RKMediaErrorCode code,
        const QString& text = {},
        const RKMediaFormat& contentFormat = MEDIA_FORMAT_UNKNOWN);

    /// The kind of failure, for hosts to decide by; the text is for people.
    RKMediaErrorCode code() const;
    /// Whether the code is not None; also true for Truncated with an incomplete picture.
    bool isError() const;

    /// A sentence for people that names the cause; translated, in English without a translation.
    /// Empty without an error.
    QString text() const;

    /// The absolute path of the file; empty for data in memory.
    QString filePath() const;
    /// Called by loaders and savers before they return.
    void setFilePath(const QString& path);

    /// The format that the file's first bytes show if they contradict its name, else unknown.
    RKMediaFormat contentFormat() const;

private:
    RKMediaErrorCode m_code = RKMediaErrorCode::None;
    QString m_text;
    QString m_filePath;
    RKMediaFormat m_contentFormat;
};
