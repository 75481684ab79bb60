#pragma once

#include "RKImageLoader/RKImageLoaderExport.h"
#include "RKImageLoader/media/RKMediaFormat.h"

#include <QString>

/// The kinds of failure; docs/errors.md says when each of them comes and what a host may do.
enum class RKMediaErrorCode
{
    None,
    /// There is no such file, or no such folder to save to.
    Missing,
    /// The file may not be read.
    NoPermission,
    /// A folder, a pipe or a device.
    NotAFile,
    /// The file's name says no format, or its content has another one than its name says.
    UnknownFormat,
    /// The format is known, but there is nothing that decodes it; or a video has no pictures.
    NoDecoder,
    /// The content breaks the rules of its format.
    Damaged,
    /// The file ends too early. The only code that may come with a picture: what there was of it.
    Truncated,
    /// The picture, or the size that was asked for, takes more than anything sensible would.
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
    /// The file has metadata that saving would have lost.
    WouldLose,
    /// Another program kept changing the file while it was being saved.
    Changed,
    OutOfMemory,
    /// The host has taken the request back.
    Cancelled
};

/// Why a medium could not be loaded or saved. A value. Reentrant.
class RKIMAGELOADER_EXPORT RKMediaError
{
public:
    /// No error.
    RKMediaError() = default;
    /// Without a text the sentence that is usual for the code.
    explicit RKMediaError(RKMediaErrorCode code,
        const QString& text = {},
        const RKMediaFormat& contentFormat = MEDIA_FORMAT_UNKNOWN);

    /// What a host decides by; the text is for people.
    RKMediaErrorCode code() const;
    /// Also for a picture that is not whole.
    bool isError() const;

    /// A sentence for people, which names the cause; translated, in English without a translation.
    /// Empty without an error.
    QString text() const;

    /// The absolute path of the file; empty for what is in memory.
    QString filePath() const;
    /// Set by loaders and savers, on their way out.
    void setFilePath(const QString& path);

    /// What the file's first bytes say where they belie its name; unknown otherwise.
    RKMediaFormat contentFormat() const;

private:
    RKMediaErrorCode m_code = RKMediaErrorCode::None;
    QString m_text;
    QString m_filePath;
    RKMediaFormat m_contentFormat;
};
