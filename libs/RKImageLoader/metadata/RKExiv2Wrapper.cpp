#include "RKImageLoader/metadata/RKExiv2Wrapper.h"

#include "RKImageLoader/faces/RKFacePositions.h"
#include "RKImageLoader/metadata/RKMetaDataField.h"
#include "RKImageLoader/metadata/exiv2/RKExiv2Library_p.h"
#include "RKImageLoader/metadata/exiv2/RKExiv2WrapperImpl_p.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>

RKExiv2Wrapper::RKExiv2Wrapper()
    : m_impl(new RKExiv2WrapperImpl)
{
}

RKExiv2Wrapper::RKExiv2Wrapper(const QFileInfo& file)
    : RKExiv2Wrapper(QDir::toNativeSeparators(file.absoluteFilePath()))
{
}

RKExiv2Wrapper::RKExiv2Wrapper(const QString& path)
    : m_impl(new RKExiv2WrapperImpl(path))
{
}

RKExiv2Wrapper::RKExiv2Wrapper(const QByteArray& data)
    : m_impl(new RKExiv2WrapperImpl(data))
{
}

RKExiv2Wrapper::RKExiv2Wrapper(const QFileInfo& file, const QByteArray& data)
    : RKExiv2Wrapper(data)
{
    m_impl->setSource(file);
}

RKExiv2Wrapper::RKExiv2Wrapper(const RKExiv2Wrapper& other) = default;
RKExiv2Wrapper::RKExiv2Wrapper(RKExiv2Wrapper&& other) noexcept = default;
RKExiv2Wrapper& RKExiv2Wrapper::operator=(const RKExiv2Wrapper& other) = default;
RKExiv2Wrapper& RKExiv2Wrapper::operator=(RKExiv2Wrapper&& other) noexcept = default;
RKExiv2Wrapper::~RKExiv2Wrapper() = default;

QString RKExiv2Wrapper::read(RKMetaDataField field) const
{
    return m_impl->read(field);
}

void RKExiv2Wrapper::write(RKMetaDataField field, const QString& value)
{
    m_impl->write(field, value);
}

QStringList RKExiv2Wrapper::keywords() const
{
    return m_impl->keywords();
}

QStringList RKExiv2Wrapper::keywordsOfAllPlaces() const
{
    return m_impl->keywordsOfAllPlaces();
}

void RKExiv2Wrapper::setKeywords(const QStringList& keywords)
{
    m_impl->setKeywords(keywords);
}

RKImageOrientation RKExiv2Wrapper::imageOrientation() const
{
    return m_impl->imageOrientation();
}

void RKExiv2Wrapper::setImageOrientation(RKImageOrientation orientation)
{
    m_impl->setImageOrientation(orientation);
}

void RKExiv2Wrapper::rotate(bool clockwise)
{
    m_impl->rotate(clockwise);
}

bool RKExiv2Wrapper::imageIsTiltedByMetadata() const
{
    return m_impl->imageIsTiltedByMetadata();
}

QSize RKExiv2Wrapper::unrotatedSize() const
{
    return m_impl->unrotatedSize();
}

void RKExiv2Wrapper::forceSetSize(const QSize& size)
{
    m_impl->forceSetSize(size);
}

void RKExiv2Wrapper::adaptToPixels(const QSize& size)
{
    m_impl->adaptToPixels(size);
}

void RKExiv2Wrapper::removeMakerNote()
{
    m_impl->removeMakerNote();
}

QDateTime RKExiv2Wrapper::pictureTaken() const
{
    return m_impl->pictureTaken();
}

void RKExiv2Wrapper::setPictureTaken(const QDateTime& dateTime)
{
    m_impl->setPictureTaken(dateTime);
}

void RKExiv2Wrapper::removePictureTaken()
{
    m_impl->removePictureTaken();
}

void RKExiv2Wrapper::shiftDates(qint64 seconds)
{
    m_impl->shiftDates(seconds);
}

RKGeoPosition RKExiv2Wrapper::geoPosition() const
{
    return m_impl->geoPosition();
}

void RKExiv2Wrapper::setGeoPosition(const RKGeoPosition& position)
{
    m_impl->setGeoPosition(position);
}

void RKExiv2Wrapper::removeGeoPosition()
{
    m_impl->removeGeoPosition();
}

double RKExiv2Wrapper::digitalZoomRatio() const
{
    return m_impl->digitalZoomRatio();
}

void RKExiv2Wrapper::setDigitalZoomRatio(double ratio)
{
    m_impl->setDigitalZoomRatio(ratio);
}

int RKExiv2Wrapper::adobeRating() const
{
    return m_impl->adobeRating();
}

void RKExiv2Wrapper::setAdobeRating(int rating)
{
    m_impl->setAdobeRating(rating);
}

bool RKExiv2Wrapper::isRejected() const
{
    return m_impl->isRejected();
}

void RKExiv2Wrapper::setRejected()
{
    m_impl->setRejected();
}

int RKExiv2Wrapper::tamoRating() const
{
    return RKExiv2WrapperImpl::toRating(m_impl->xmpInt("Xmp.TAMO.Rating"));
}

void RKExiv2Wrapper::setTamoRating(int rating)
{
    m_impl->setXmpInt("Xmp.TAMO.Rating", RKExiv2WrapperImpl::toRating(rating));
}

int RKExiv2Wrapper::tamoStaticScore() const
{
    return m_impl->xmpInt("Xmp.TAMO.StaticScore");
}

void RKExiv2Wrapper::setTamoStaticScore(int score)
{
    m_impl->setXmpInt("Xmp.TAMO.StaticScore", score);
}

int RKExiv2Wrapper::tamoDynamicScore() const
{
    return m_impl->xmpInt("Xmp.TAMO.DynamicScore");
}

void RKExiv2Wrapper::setTamoDynamicScore(int score)
{
    m_impl->setXmpInt("Xmp.TAMO.DynamicScore", score);
}

bool RKExiv2Wrapper::flashUsed() const
{
    return m_impl->flashUsed();
}

void RKExiv2Wrapper::setFlashUsed(bool used)
{
    m_impl->setFlashUsed(used);
}

bool RKExiv2Wrapper::redEyeCorrectionUsed() const
{
    return m_impl->xmpInt("Xmp.TAMO.RedEyeCorrectionUsed") != 0;
}

void RKExiv2Wrapper::setRedEyeCorrectionUsed(bool used)
{
    m_impl->setXmpInt("Xmp.TAMO.RedEyeCorrectionUsed", used ? 1 : 0);
}

bool RKExiv2Wrapper::aboProhibited() const
{
    return m_impl->xmpInt("Xmp.TAMO.ABOProhibited") != 0;
}

void RKExiv2Wrapper::setABOProhibited(bool prohibited)
{
    m_impl->setXmpInt("Xmp.TAMO.ABOProhibited", prohibited ? 1 : 0);
}

QString RKExiv2Wrapper::aboProhibitedBy() const
{
    return m_impl->xmpString("Xmp.TAMO.ABOProhibitedBy");
}

void RKExiv2Wrapper::setABOProhibitedBy(const QString& name)
{
    m_impl->setXmpString("Xmp.TAMO.ABOProhibitedBy", name);
}

bool RKExiv2Wrapper::ratingForResolutionOnly() const
{
    return m_impl->xmpInt("Xmp.TAMO.RatingForResolutionOnly") != 0;
}

void RKExiv2Wrapper::setRatingForResolutionOnly(bool resolutionOnly)
{
    m_impl->setXmpInt("Xmp.TAMO.RatingForResolutionOnly", resolutionOnly ? 1 : 0);
}

bool RKExiv2Wrapper::isFilmStrip() const
{
    return m_impl->xmpString("Xmp.TAMO.IsFilmStrip") == QLatin1String("1");
}

void RKExiv2Wrapper::setIsFilmStrip(bool isFilmStrip)
{
    m_impl->setXmpString(
        "Xmp.TAMO.IsFilmStrip", isFilmStrip ? QStringLiteral("1") : QStringLiteral("0"));
}

QString RKExiv2Wrapper::myTalikoPhotoId() const
{
    return m_impl->xmpString("Xmp.TAMO.myTalikoPhotoId");
}

QDateTime RKExiv2Wrapper::myTalikoExportDate() const
{
    return m_impl->myTalikoExportDate();
}

QByteArray RKExiv2Wrapper::iccData() const
{
    return m_impl->iccData();
}

void RKExiv2Wrapper::setIccData(const QByteArray& profile)
{
    m_impl->setIccData(profile);
}

bool RKExiv2Wrapper::hasIccData() const
{
    return m_impl->hasIccData();
}

bool RKExiv2Wrapper::isAdobeRGB() const
{
    return m_impl->isAdobeRGB();
}

QImage RKExiv2Wrapper::thumbnail() const
{
    return m_impl->thumbnail();
}

bool RKExiv2Wrapper::extractThumbnailData(QByteArray& data) const
{
    return m_impl->extractThumbnailData(data);
}

void RKExiv2Wrapper::writeThumbnail(const QByteArray& jpeg)
{
    m_impl->writeThumbnail(jpeg);
}

void RKExiv2Wrapper::eraseThumbnail()
{
    m_impl->eraseThumbnail();
}

RKFacePositions RKExiv2Wrapper::facePositions() const
{
    return m_impl->facePositions();
}

RKFacePositions RKExiv2Wrapper::regionFacePositions() const
{
    return m_impl->regionFacePositions();
}

QSize RKExiv2Wrapper::regionImageSize() const
{
    return m_impl->regionImageSize();
}

int RKExiv2Wrapper::numberOfRegions() const
{
    return m_impl->numberOfRegions();
}

bool RKExiv2Wrapper::updateFaces(const QSize& imageSize, const RKFacePositions& faces)
{
    return m_impl->updateFaces(imageSize, faces);
}

bool RKExiv2Wrapper::removeFaceRegions()
{
    return m_impl->removeFaceRegions();
}

bool RKExiv2Wrapper::applyDifference(const RKExiv2Wrapper& from, const RKExiv2Wrapper& to)
{
    return m_impl->applyDifference(*from.m_impl, *to.m_impl);
}

bool RKExiv2Wrapper::writeXmpData(const QFileInfo& file) const
{
    return m_impl->writeXmpData(file);
}

QHash<QString, QString> RKExiv2Wrapper::allData() const
{
    return m_impl->allData();
}

QHash<QString, QString> RKExiv2Wrapper::interpretedData() const
{
    return m_impl->interpretedData();
}

RKCaptureSettings RKExiv2Wrapper::captureSettings() const
{
    return m_impl->captureSettings();
}

QStringList RKExiv2Wrapper::debugOutput() const
{
    return m_impl->debugOutput();
}

bool RKExiv2Wrapper::save(const QFileInfo& file) const
{
    return save(file, nullptr);
}

bool RKExiv2Wrapper::save(QBuffer* buffer) const
{
    return save(buffer, nullptr);
}

bool RKExiv2Wrapper::save(const QFileInfo& file, RKMediaError* error) const
{
    RKMediaError reason;
    const bool isSaved = m_impl->save(file, reason);
    if (!isSaved)
        reason.setFilePath(file.absoluteFilePath());
    if (error)
        *error = reason;
    return isSaved;
}

bool RKExiv2Wrapper::save(QBuffer* buffer, RKMediaError* error) const
{
    RKMediaError reason;
    const bool isSaved = m_impl->save(buffer, reason);
    if (error)
        *error = reason;
    return isSaved;
}

RKMediaError RKExiv2Wrapper::readError() const
{
    return m_impl->readError();
}

RKMediaError RKExiv2Wrapper::readFailure() const
{
    return m_impl->readFailure();
}

QString RKExiv2Wrapper::copyright()
{
    return QCoreApplication::translate("RKExiv2Wrapper", "%1 © 2004-2018 Andreas Huggel")
        .arg(QStringLiteral("exiv2 0.26"));
}

void RKExiv2Wrapper::initialize()
{
    RKExiv2Library::initialize();
}
