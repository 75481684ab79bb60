#include "RKImageLoader/metadata/RKMetaData.h"

#include "RKImageLoader/faces/RKFacePositions.h"
#include "RKImageLoader/media/RKLogCategories_p.h"
#include "RKImageLoader/metadata/RKMetaDataField.h"
#include "RKImageLoader/metadata/RKMetaDataImpl_p.h"

#include <QBuffer>
#include <QDebug>
#include <QFileInfo>
#include <QMutexLocker>

RKMetaData::RKMetaData()
    : m_impl(new RKMetaDataImpl)
{
}

RKMetaData::RKMetaData(const QFileInfo& file)
    : m_impl(new RKMetaDataImpl(RKExiv2Wrapper(file)))
{
}

RKMetaData::RKMetaData(const QFileInfo& file, RKMediaError* error)
    : RKMetaData(file)
{
    if (!error)
        return;
    *error = m_impl->exiv2Wrapper().readError();
    if (error->isError())
        error->setFilePath(file.absoluteFilePath());
}

RKMetaData::RKMetaData(const QFileInfo& file, const QByteArray& bytes)
    : m_impl(new RKMetaDataImpl(RKExiv2Wrapper(file, bytes)))
{
}

RKMetaData::RKMetaData(const QMap<QString, QVariant>& fields)
    : m_impl(new RKMetaDataImpl)
{
    m_impl->writeFields(fields);
}

RKMetaData::RKMetaData(const RKMetaData& other)
{
    const QMutexLocker locker(&other.m_mutex);
    m_impl = other.m_impl;
}

RKMetaData::RKMetaData(RKMetaData&& other) noexcept
    : m_impl(std::move(other.m_impl))
{
}

RKMetaData& RKMetaData::operator=(const RKMetaData& other)
{
    if (this != &other)
        *this = RKMetaData(other);
    return *this;
}

RKMetaData& RKMetaData::operator=(RKMetaData&& other) noexcept
{
    // The former data die with other, outside the lock.
    const QMutexLocker locker(&m_mutex);
    m_impl.swap(other.m_impl);
    return *this;
}

RKMetaData::~RKMetaData() = default;

// What a reader asks is not changed by others meanwhile: they find it shared, and detach.
QExplicitlySharedDataPointer<const RKMetaDataImpl> RKMetaData::snapshot() const
{
    const QMutexLocker locker(&m_mutex);
    return QExplicitlySharedDataPointer<const RKMetaDataImpl>(m_impl.constData());
}

template <typename Change>
auto RKMetaData::change(const Change& apply)
{
    const QMutexLocker locker(&m_mutex);
    return apply(*m_impl);
}

RKMediaError RKMetaData::readFailure() const
{
    return snapshot()->exiv2Wrapper().readFailure();
}

QSize RKMetaData::unrotatedSize() const
{
    return snapshot()->exiv2Wrapper().unrotatedSize();
}

void RKMetaData::forceSetSize(const QSize& size)
{
    change([&](RKMetaDataImpl& impl) { impl.exiv2Wrapper().forceSetSize(size); });
}

void RKMetaData::adaptToPixels(const QSize& size)
{
    change([&](RKMetaDataImpl& impl) { impl.exiv2Wrapper().adaptToPixels(size); });
}

void RKMetaData::removeMakerNote()
{
    change([](RKMetaDataImpl& impl) { impl.exiv2Wrapper().removeMakerNote(); });
}

RKImageOrientation RKMetaData::imageOrientation() const
{
    return snapshot()->exiv2Wrapper().imageOrientation();
}

void RKMetaData::setImageOrientation(RKImageOrientation orientation)
{
    change([&](RKMetaDataImpl& impl) { impl.exiv2Wrapper().setImageOrientation(orientation); });
}

bool RKMetaData::imageIsTiltedByMetadata() const
{
    return snapshot()->exiv2Wrapper().imageIsTiltedByMetadata();
}

void RKMetaData::rotate(bool clockwise)
{
    change([&](RKMetaDataImpl& impl) { impl.exiv2Wrapper().rotate(clockwise); });
}

QDateTime RKMetaData::pictureTaken() const
{
    return snapshot()->exiv2Wrapper().pictureTaken();
}

void RKMetaData::setPictureTaken(const QDateTime& dateTime)
{
    change([&](RKMetaDataImpl& impl) { impl.exiv2Wrapper().setPictureTaken(dateTime); });
}

void RKMetaData::removePictureTaken()
{
    change([](RKMetaDataImpl& impl) { impl.exiv2Wrapper().removePictureTaken(); });
}

void RKMetaData::shiftDates(qint64 seconds)
{
    change([&](RKMetaDataImpl& impl) { impl.exiv2Wrapper().shiftDates(seconds); });
}

RKGeoPosition RKMetaData::geoPosition() const
{
    return snapshot()->exiv2Wrapper().geoPosition();
}

void RKMetaData::setGeoPosition(const RKGeoPosition& position)
{
    change([&](RKMetaDataImpl& impl) { impl.exiv2Wrapper().setGeoPosition(position); });
}

void RKMetaData::removeGeoPosition()
{
    change([](RKMetaDataImpl& impl) { impl.exiv2Wrapper().removeGeoPosition(); });
}

int RKMetaData::adobeRating() const
{
    return snapshot()->exiv2Wrapper().adobeRating();
}

void RKMetaData::setAdobeRating(int rating)
{
    change([&](RKMetaDataImpl& impl) { impl.exiv2Wrapper().setAdobeRating(rating); });
}

bool RKMetaData::isRejected() const
{
    return snapshot()->exiv2Wrapper().isRejected();
}

void RKMetaData::setRejected()
{
    change([](RKMetaDataImpl& impl) { impl.exiv2Wrapper().setRejected(); });
}

int RKMetaData::tamoRating() const
{
    return snapshot()->exiv2Wrapper().tamoRating();
}

void RKMetaData::setTamoRating(int rating)
{
    change([&](RKMetaDataImpl& impl) { impl.exiv2Wrapper().setTamoRating(rating); });
}

int RKMetaData::tamoStaticScore() const
{
    return snapshot()->exiv2Wrapper().tamoStaticScore();
}

void RKMetaData::setTamoStaticScore(int score)
{
    change([&](RKMetaDataImpl& impl) { impl.exiv2Wrapper().setTamoStaticScore(score); });
}

int RKMetaData::tamoDynamicScore() const
{
    return snapshot()->exiv2Wrapper().tamoDynamicScore();
}

void RKMetaData::setTamoDynamicScore(int score)
{
    change([&](RKMetaDataImpl& impl) { impl.exiv2Wrapper().setTamoDynamicScore(score); });
}

bool RKMetaData::ratingForResolutionOnly() const
{
    return snapshot()->exiv2Wrapper().ratingForResolutionOnly();
}

void RKMetaData::setRatingForResolutionOnly(bool resolutionOnly)
{
    change([&](RKMetaDataImpl& impl) {
        impl.exiv2Wrapper().setRatingForResolutionOnly(resolutionOnly);
    });
}

bool RKMetaData::flashUsed() const
{
    return snapshot()->exiv2Wrapper().flashUsed();
}

void RKMetaData::setFlashUsed(bool used)
{
    change([&](RKMetaDataImpl& impl) { impl.exiv2Wrapper().setFlashUsed(used); });
}

bool RKMetaData::redEyeCorrectionUsed() const
{
    return snapshot()->exiv2Wrapper().redEyeCorrectionUsed();
}

void RKMetaData::setRedEyeCorrectionUsed(bool used)
{
    change([&](RKMetaDataImpl& impl) { impl.exiv2Wrapper().setRedEyeCorrectionUsed(used); });
}

bool RKMetaData::aboProhibited() const
{
    return snapshot()->exiv2Wrapper().aboProhibited();
}

void RKMetaData::setABOProhibited(bool prohibited)
{
    change([&](RKMetaDataImpl& impl) { impl.exiv2Wrapper().setABOProhibited(prohibited); });
}

QString RKMetaData::aboProhibitedBy() const
{
    return snapshot()->exiv2Wrapper().aboProhibitedBy();
}

void RKMetaData::setABOProhibitedBy(const QString& name)
{
    change([&](RKMetaDataImpl& impl) { impl.exiv2Wrapper().setABOProhibitedBy(name); });
}

bool RKMetaData::isFilmStrip() const
{
    return snapshot()->exiv2Wrapper().isFilmStrip();
}

void RKMetaData::setIsFilmStrip(bool isFilmStrip)
{
    change([&](RKMetaDataImpl& impl) { impl.exiv2Wrapper().setIsFilmStrip(isFilmStrip); });
}

QString RKMetaData::myTalikoPhotoId() const
{
    return snapshot()->exiv2Wrapper().myTalikoPhotoId();
}

QDateTime RKMetaData::myTalikoExportDate() const
{
    return snapshot()->exiv2Wrapper().myTalikoExportDate();
}

double RKMetaData::digitalZoomRatio() const
{
    return snapshot()->exiv2Wrapper().digitalZoomRatio();
}

void RKMetaData::setDigitalZoomRatio(double ratio)
{
    change([&](RKMetaDataImpl& impl) { impl.exiv2Wrapper().setDigitalZoomRatio(ratio); });
}

QString RKMetaData::read(RKMetaDataField field) const
{
    return snapshot()->exiv2Wrapper().read(field);
}

void RKMetaData::write(RKMetaDataField field, const QString& value)
{
    change([&](RKMetaDataImpl& impl) { impl.exiv2Wrapper().write(field, value); });
}

QStringList RKMetaData::keywords() const
{
    return snapshot()->exiv2Wrapper().keywords();
}

QStringList RKMetaData::keywordsOfAllPlaces() const
{
    return snapshot()->exiv2Wrapper().keywordsOfAllPlaces();
}

void RKMetaData::setKeywords(const QStringList& keywords)
{
    change([&](RKMetaDataImpl& impl) { impl.exiv2Wrapper().setKeywords(keywords); });
}

QHash<QString, QString> RKMetaData::allData() const
{
    return snapshot()->exiv2Wrapper().allData();
}

QHash<QString, QString> RKMetaData::interpretedData() const
{
    return snapshot()->exiv2Wrapper().interpretedData();
}

RKCaptureSettings RKMetaData::captureSettings() const
{
    return snapshot()->exiv2Wrapper().captureSettings();
}

bool RKMetaData::hasIccData() const
{
    return snapshot()->exiv2Wrapper().hasIccData();
}

QByteArray RKMetaData::iccData() const
{
    return snapshot()->exiv2Wrapper().iccData();
}

void RKMetaData::setIccData(const QByteArray& profile)
{
    change([&](RKMetaDataImpl& impl) { impl.exiv2Wrapper().setIccData(profile); });
}

bool RKMetaData::isAdobeRGB() const
{
    return snapshot()->exiv2Wrapper().isAdobeRGB();
}

QImage RKMetaData::thumbnail(const RKImageOption& option) const
{
    const auto impl = snapshot();
    return impl->extractThumbnail(impl->exiv2Wrapper().unrotatedSize(), option);
}

QSize RKMetaData::thumbnailSize() const
{
    const auto impl = snapshot();
    return impl->thumbnailSize(impl->exiv2Wrapper().unrotatedSize());
}

void RKMetaData::setThumbnail(const QImage& image)
{
    QByteArray jpeg;
    QBuffer buffer(&jpeg);
    if (!buffer.open(QIODevice::WriteOnly) || !image.save(&buffer, "JPEG")) {
        qCWarning(rkMetadata).noquote()
            << QStringLiteral("could not set thumbnail of source size %1x%2 pixels")
                   .arg(QString::number(image.width()), QString::number(image.height()));
        return;
    }
    writeThumbnail(jpeg);
}

void RKMetaData::writeThumbnail(const QByteArray& jpeg)
{
    change([&](RKMetaDataImpl& impl) { impl.writeThumbnail(jpeg); });
}

void RKMetaData::eraseThumbnail()
{
    change([](RKMetaDataImpl& impl) { impl.eraseThumbnail(); });
}

RKFacePositions RKMetaData::facePositions() const
{
    return snapshot()->exiv2Wrapper().facePositions();
}

RKFacePositions RKMetaData::regionFacePositions() const
{
    return snapshot()->exiv2Wrapper().regionFacePositions();
}

int RKMetaData::numberOfRegions() const
{
    return snapshot()->exiv2Wrapper().numberOfRegions();
}

QSize RKMetaData::regionImageSize() const
{
    return snapshot()->exiv2Wrapper().regionImageSize();
}

bool RKMetaData::updateFaces(const QSize& imageSize, const RKFacePositions& faces)
{
    return change(
        [&](RKMetaDataImpl& impl) { return impl.exiv2Wrapper().updateFaces(imageSize, faces); });
}

bool RKMetaData::removeFaceRegions()
{
    return change([](RKMetaDataImpl& impl) { return impl.exiv2Wrapper().removeFaceRegions(); });
}

bool RKMetaData::applyDifference(const RKMetaData& from, const RKMetaData& to)
{
    // Before this object's lock, which others may hold while they ask for theirs.
    const auto first = from.snapshot();
    const auto second = to.snapshot();
    return change([&](RKMetaDataImpl& impl) {
        return impl.exiv2Wrapper().applyDifference(first->exiv2Wrapper(), second->exiv2Wrapper());
    });
}

bool RKMetaData::save(const QFileInfo& file) const
{
    return snapshot()->exiv2Wrapper().save(file);
}

bool RKMetaData::save(QBuffer* buffer) const
{
    return snapshot()->exiv2Wrapper().save(buffer);
}

bool RKMetaData::save(const QFileInfo& file, RKMediaError* error) const
{
    return snapshot()->exiv2Wrapper().save(file, error);
}

bool RKMetaData::save(QBuffer* buffer, RKMediaError* error) const
{
    return snapshot()->exiv2Wrapper().save(buffer, error);
}
