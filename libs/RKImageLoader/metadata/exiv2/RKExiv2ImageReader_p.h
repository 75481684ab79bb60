#pragma once

#include "RKImageLoader/metadata/exiv2/RKExiv2Compat_p.h"
#include "RKImageLoader/metadata/exiv2/RKExiv2ExifData_p.h"
#include "RKImageLoader/metadata/exiv2/RKExiv2IccData_p.h"
#include "RKImageLoader/metadata/exiv2/RKExiv2IptcData_p.h"
#include "RKImageLoader/metadata/exiv2/RKExiv2XmpData_p.h"

#include <QByteArray>
#include <QSize>
#include <QString>

class QIODevice;

/// Reads the metadata and the size of an image with exiv2, and with the readers of containers and
/// decoders what exiv2 doesn't know.
///
/// An image that cannot be read has no metadata; that is logged, unless its type is unknown.
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

private:
    void read(const RKExiv2ImagePtr& image);
    void complete(QIODevice* file);
    void useOrientationOfContainer(QIODevice* file);
    void correctWeirdImageSizes(QIODevice* file);
    void readPhotoshopProfile(QIODevice* file);

    const Target m_target;
    bool m_isTurnedByContainer = false;
    bool m_isPhotoshop = false;
};
