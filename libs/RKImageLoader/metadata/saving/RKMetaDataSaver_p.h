#pragma once

#include "RKImageLoader/metadata/exiv2/RKExiv2Compat_p.h"
#include "RKImageLoader/metadata/exiv2/RKExiv2ExifData_p.h"
#include "RKImageLoader/metadata/exiv2/RKExiv2IccData_p.h"
#include "RKImageLoader/metadata/exiv2/RKExiv2IptcData_p.h"
#include "RKImageLoader/metadata/exiv2/RKExiv2XmpData_p.h"

#include <QByteArray>
#include <QSize>
#include <QString>

class QBuffer;
class QFileInfo;

/// Merges metadata into an image file, or an image in memory.
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

    bool save(const QFileInfo& file) const;
    bool save(QBuffer* buffer) const;

private:
    /// What is written.
    struct Target
    {
        // For messages.
        QString name;
        QByteArray content;
        // Of the picture, as it was before.
        QSize size;
    };

    bool writeIntoImage(RKExiv2ImagePtr& image, Target* target) const;
    bool mergeTo(RKExiv2ImagePtr& image) const;
    void cleanUpExivError(const QString& path) const;
    bool writeInto(Target* target) const;

    const Held m_held;
};
