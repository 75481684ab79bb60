#pragma once

#include "RKImageLoader/media/RKMediaError.h"
#include "RKImageLoader/metadata/exiv2/RKExiv2Compat_p.h"
#include "RKImageLoader/metadata/exiv2/RKExiv2ExifData_p.h"
#include "RKImageLoader/metadata/exiv2/RKExiv2IccData_p.h"
#include "RKImageLoader/metadata/exiv2/RKExiv2IptcData_p.h"
#include "RKImageLoader/metadata/exiv2/RKExiv2XmpData_p.h"
#include "RKImageLoader/metadata/saving/RKImageContent_p.h"
#include "RKImageLoader/metadata/saving/RKImageFileUpdate_p.h"

#include <QString>

#include <optional>

class QBuffer;
class QFileInfo;

/// Saves metadata into an image file, or an image in memory: reads it, edits it, proves that
/// nothing else has changed, and only then replaces it. Where that proof fails, the image stays as
/// it is and a warning says what would have been lost.
///
/// Not thread-safe: the caller keeps the held data from changing. Saves to one file wait for each
/// other.
class RKMetaDataSaver
{
public:
    enum class Scope
    {
        /// All held data: for a file that they don't come from.
        Everything,
        /// What was set or removed since they were read from the file: what others have changed in
        /// it meanwhile stays.
        Changes
    };

    struct Held
    {
        const RKExiv2ExifData& exif;
        const RKExiv2IptcData& iptc;
        const RKExiv2XmpData& xmp;
        /// Empty to leave the target's own.
        RKExiv2IccData icc;
        Scope scope;
    };

    /// The data must outlive the saver.
    explicit RKMetaDataSaver(const Held& held);

    /// See RKExiv2Wrapper::save(). The error is that of a failure; it is left alone otherwise.
    bool save(const QFileInfo& file, RKMediaError& error) const;
    bool save(QBuffer* buffer, RKMediaError& error) const;

private:
    enum class Result
    {
        Unchanged,
        Changed,
        Refused,
        /// Only exiv2 could make the change, which needs the whole file for that.
        NeedsPixels
    };

    enum class Saved
    {
        Yes,
        No,
        /// Somebody else has changed the file meanwhile.
        TryAgain
    };

    Saved replace(const QString& path, RKMediaError& error) const;
    Result update(const QString& target, RKImageContent* content, RKMediaError& error) const;
    Result updateRead(const QString& target, RKImageContent* content, RKMediaError& error) const;
    std::optional<RKImageFileUpdate::Wanted> merged(
        RKExiv2ImagePtr& image, const RKImageFamilies& before, const RKImageContent& old) const;
    const Held m_held;
};
