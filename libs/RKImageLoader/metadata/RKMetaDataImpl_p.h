#pragma once

#include "RKImageLoader/metadata/RKExiv2Wrapper.h"

#include <QByteArray>
#include <QImage>
#include <QMap>
#include <QSharedData>
#include <QString>
#include <QStringList>
#include <QVariant>

class RKImageOption;
class QRect;

/// What the copies of an RKMetaData share: the wrapper, which answers nearly every question, and
/// what belongs to its thumbnail. Reentrant.
class RKMetaDataImpl : public QSharedData
{
public:
    RKMetaDataImpl() = default;
    explicit RKMetaDataImpl(const RKExiv2Wrapper& wrapper);

    RKExiv2Wrapper& exiv2Wrapper();
    const RKExiv2Wrapper& exiv2Wrapper() const;

    /// Writes the fields that are known by their keywords; see RKMetaData's constructor.
    void writeFields(const QMap<QString, QVariant>& fields);

    /// The software that wrote the picture.
    QString usedPhotoSoftware() const;
    void setUsedPhotoSoftware(const QString& name);

    /// The bytes of a JPEG that were set last; empty when none were, or after eraseThumbnail().
    QByteArray thumbnailData() const;
    void writeThumbnail(const QByteArray& jpeg);
    void eraseThumbnail();

    /// The embedded thumbnail of an image of that size (in pixels, as stored), without the black
    /// bars that cameras add to fill the thumbnail's own format. They are cut only where the two
    /// formats let them expect. Null where there is no thumbnail. Not turned; the option changes
    /// nothing here.
    QImage extractThumbnail(const QSize& imageSize, const RKImageOption& option) const;
    /// The size of extractThumbnail(); invalid if there is no thumbnail.
    QSize thumbnailSize(const QSize& imageSize) const;

    /// Finds black bars: the picture without the outer rows and columns that are black throughout,
    /// or nearly so. False, with the rectangle untouched, if there are none or nothing else.
    static bool thumbnailEdgeDetector(const QImage& image, QRect* inner);

    /// One line for each datum of Exif and XMP, for the log.
    QStringList debugOutput() const;

private:
    RKExiv2Wrapper m_wrapper;
    QByteArray m_thumbnailData;
};
