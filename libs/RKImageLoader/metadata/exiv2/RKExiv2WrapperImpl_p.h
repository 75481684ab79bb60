#pragma once

#include "RKImageLoader/faces/RKFacePositions.h"
#include "RKImageLoader/media/RKImageOrientation.h"
#include "RKImageLoader/metadata/exiv2/RKExiv2Compat_p.h"
#include "RKImageLoader/metadata/exiv2/RKExiv2ExifData_p.h"
#include "RKImageLoader/metadata/exiv2/RKExiv2IccData_p.h"
#include "RKImageLoader/metadata/exiv2/RKExiv2IptcData_p.h"
#include "RKImageLoader/metadata/exiv2/RKExiv2XmpData_p.h"
#include "RKImageLoader/metadata/saving/RKImageFamilies_p.h"
#include "RKImageLoader/metadata/saving/RKMetaDataSaver_p.h"

#include "RKGeoLocation/RKGeoPosition.h"

#include <QByteArray>
#include <QDateTime>
#include <QHash>
#include <QImage>
#include <QReadWriteLock>
#include <QSharedData>
#include <QSize>
#include <QString>
#include <QStringList>

class QBuffer;
class QFileInfo;
class RKMetaDataField;

/// The state of an RKExiv2Wrapper, and all of its work. See there for the operations.
///
/// Thread-safe: readers take the own lock for reading, all others for writing.
class RKExiv2WrapperImpl : public QSharedData
{
public:
    RKExiv2WrapperImpl();
    explicit RKExiv2WrapperImpl(const QString& path);
    explicit RKExiv2WrapperImpl(const QByteArray& data);
    RKExiv2WrapperImpl(const RKExiv2WrapperImpl& other);
    RKExiv2WrapperImpl& operator=(const RKExiv2WrapperImpl&) = delete;
    virtual ~RKExiv2WrapperImpl();

    /// Names the file that the data was read from.
    void setSource(const QFileInfo& file);

    QString read(const RKMetaDataField& field) const;
    void write(const RKMetaDataField& field, const QString& value);

    QStringList keywords() const;
    QStringList keywordsOfAllPlaces() const;
    void setKeywords(const QStringList& keywords);

    RKImageOrientation imageOrientation() const;
    void setImageOrientation(RKImageOrientation orientation);
    void rotate(bool clockwise);
    bool imageIsTiltedByMetadata() const;
    QSize unrotatedSize() const;
    void forceSetSize(const QSize& size);
    void adaptToPixels(const QSize& size);
    void removeMakerNote();

    QDateTime pictureTaken() const;
    void setPictureTaken(const QDateTime& dateTime);
    void removePictureTaken();
    void shiftDates(qint64 seconds);
    RKGeoPosition geoPosition() const;
    void setGeoPosition(const RKGeoPosition& position);
    void removeGeoPosition();
    double digitalZoomRatio() const;
    void setDigitalZoomRatio(double ratio);

    /// The number as a rating of 0 to 5.
    static int toRating(int number);
    int adobeRating() const;
    void setAdobeRating(int rating);
    bool isRejected() const;
    void setRejected();
    bool flashUsed() const;
    void setFlashUsed(bool used);
    QDateTime myTalikoExportDate() const;

    /// The properties of our own namespace.
    int xmpInt(const char* key) const;
    void setXmpInt(const char* key, int value);
    QString xmpString(const char* key) const;
    void setXmpString(const char* key, const QString& value);

    QByteArray iccData() const;
    void setIccData(const QByteArray& profile);
    bool hasIccData() const;
    bool isAdobeRGB() const;

    QImage thumbnail() const;
    bool extractThumbnailData(QByteArray& data) const;
    void writeThumbnail(const QByteArray& jpeg);
    void eraseThumbnail();

    RKFacePositions facePositions() const;
    RKFacePositions regionFacePositions() const;
    QSize regionImageSize() const;
    int numberOfRegions() const;
    bool updateFaces(const QSize& imageSize, const RKFacePositions& faces);
    bool removeFaceRegions();
    bool applyDifference(const RKExiv2WrapperImpl& from, const RKExiv2WrapperImpl& to);
    bool writeXmpData(const QFileInfo& file) const;

    QHash<QString, QString> allData() const;
    QHash<QString, QString> interpretedData() const;
    RKCaptureSettings captureSettings() const;
    QStringList debugOutput() const;

    /// The error is that of a failure; it is left alone otherwise.
    bool save(const QFileInfo& file, RKMediaError& error) const;
    bool save(QBuffer* buffer, RKMediaError& error) const;
    RKMediaError readError() const;
    RKMediaError readFailure() const;

private:
    QList<QStringList> keywordsOfFamilies() const;
    // Without a lock.
    RKImageFamilies exifAndXmp() const;
    template <typename Source>
    void readFrom(const Source& source);
    void setRotation(int orientation);
    void removeKey(const char* key);
    QString readKey(const QString& key) const;

    bool isSavable(RKMediaError& error) const;
    RKMetaDataSaver saver(RKMetaDataSaver::Scope scope) const;

    RKExiv2ExifData m_exifData;
    RKExiv2IptcData m_iptcData;
    RKExiv2XmpData m_xmpData;
    RKExiv2IccData m_iccData;
    // The file that was read, with symbolic links followed; empty for an image in memory.
    QString m_source;
    // As stored in the file, before the orientation is applied.
    QSize m_size;
    // The container turns the picture, and the decoder has done so.
    bool m_isTurnedByContainer = false;
    // There is a file, and it could not be read.
    bool m_isUnreadable = false;
    RKMediaError m_readError;
    // The profile was set here, so that a target has to get it.
    bool m_iccDataChanged = false;
    // Guards all members but the reference count. Recursive; no other lock of this library is taken
    // before it.
    mutable QReadWriteLock m_lock{QReadWriteLock::Recursive};
};
