#pragma once

#include "RKImageLoader/media/RKMediaError.h"
#include "RKImageLoader/metadata/exiv2/RKExiv2Compat_p.h"
#include "RKImageLoader/metadata/exiv2/RKExiv2ExifData_p.h"
#include "RKImageLoader/metadata/exiv2/RKExiv2IccData_p.h"
#include "RKImageLoader/metadata/exiv2/RKExiv2IptcData_p.h"
#include "RKImageLoader/metadata/exiv2/RKExiv2XmpData_p.h"

#include <QByteArray>
#include <QSize>
#include <QString>

#include <functional>
#include <memory>

class QIODevice;
class RKByteSource;

/// Reads the metadata and the size of an image with exiv2, and with the readers of containers and
/// decoders what exiv2 doesn't know.
///
/// An image that cannot be read has no metadata; that is logged, unless its type is unknown. exiv2
/// throws at a colour profile whose size is wrong and leaves out all that follows: such an image is
/// read again without the profile, which the container's own reader then finds.
///
/// Reentrant.
class RKExiv2ImageReader
{
public:
    /// What is filled; has to be empty, and to outlive the reader.
    struct Target
    {
        RKExiv2ExifData& exif;
        RKExiv2IptcData& iptc;
        RKExiv2XmpData& xmp;
        RKExiv2IccData& icc;
        /// In pixels as stored, before the orientation is applied; unchanged if unknown.
        QSize& size;
    };

    explicit RKExiv2ImageReader(const Target& target);

    void read(const QString& path);
    /// Empty bytes have no metadata and are not logged.
    void read(const QByteArray& data);

    /// The container turns the picture that was read, and decoders have done so.
    bool isTurnedByContainer() const;
    /// There is a file, but the system did not let us read it: what it holds is not known.
    bool isUnreadable() const;
    /// Why the image has no metadata, or not all of them; no error if it just has none.
    RKMediaError error() const;

private:
    using Source = std::shared_ptr<const RKByteSource>;

    void read(const RKExiv2ImagePtr& image, const std::function<Source()>& openSource);
    /// Reads what exiv2 has refused for its profile, or for the length that a WebP file claims.
    /// False if that can't be mended.
    bool readRepaired(const Exiv2::Image& image, const Source& source);
    void noteOutOfMemory();
    void noteError(const Exiv2::Error& error);
    void takeFrom(const RKExiv2ImagePtr& image);
    void complete(QIODevice* file);
    void useOrientationOfContainer(QIODevice* file);
    void correctWeirdImageSizes(QIODevice* file);
    void readPhotoshopProfile(QIODevice* file);

    const Target m_target;
    bool m_isTurnedByContainer = false;
    bool m_isPhotoshop = false;
    bool m_isUnreadable = false;
    RKMediaError m_error;
};
