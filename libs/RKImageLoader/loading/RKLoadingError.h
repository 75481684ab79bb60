#pragma once

#include "RKImageLoader/RKImageLoaderExport.h"
#include "RKImageLoader/media/RKMediaFormat.h"

#include <QString>

class RKMediaDescriptor;

/// Why a medium can't be measured or decoded, as far as its file shows: what a host may ask for
/// after it got a null drawable or an invalid size. A value. Reentrant.
class RKIMAGELOADER_EXPORT RKLoadingError
{
public:
    enum class Kind
    {
        None,
        NotFound,
        /// No loader is for the format that the file's name says.
        Unsupported,
        /// The file has another format than its name says; see contentFormat().
        OtherContent,
        /// The file can't be measured: it is no medium of its format, or a damaged one.
        Unmeasurable,
        /// See RKDrawable::isAcceptableSize().
        UnusableSize,
        /// The file could be measured; the message log may say more.
        Undecodable
    };

    /// No error.
    RKLoadingError() = default;

    /// Looks into the descriptor's file. Never Kind::None: it is for files that failed.
    static RKLoadingError of(const RKMediaDescriptor& descriptor);

    Kind kind() const;
    /// What the file's first bytes say; unknown except for Kind::OtherContent.
    RKMediaFormat contentFormat() const;
    /// In English, for logs and command lines: "content is PNG, name says JPEG". Empty without an
    /// error.
    QString text() const;

private:
    RKLoadingError(Kind kind, const QString& text, const RKMediaFormat& contentFormat = {});

    Kind m_kind = Kind::None;
    QString m_text;
    RKMediaFormat m_contentFormat;
};
