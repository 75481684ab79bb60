#include "RKImageLoader/metadata/RKMetaDataField.h"
#include "RKImageLoader/metadata/exiv2/RKExiv2Capture_p.h"
#include "RKImageLoader/metadata/exiv2/RKExiv2ExifMerge_p.h"
#include "RKImageLoader/metadata/exiv2/RKExiv2ImageReader_p.h"
#include "RKImageLoader/metadata/exiv2/RKExiv2Library_p.h"
#include "RKImageLoader/metadata/exiv2/RKExiv2WrapperImpl_p.h"
#include "RKImageLoader/metadata/exiv2/RKWallTime_p.h"
#include "RKImageLoader/metadata/exiv2/RKXmpRegions_p.h"

#include "RKCore/RKRational.h"
#include "RKCore/RKRegularExpression.h"

#include <QDebug>
#include <QFileInfo>
#include <QReadLocker>
#include <QWriteLocker>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

namespace {

constexpr int kHighestRating = 5;
constexpr char kRatingInXmp[] = "Xmp.xmp.Rating";
// XMP specification, part 1, 8.4.
constexpr int kRejected = -1;
// What Windows shows as one to five stars (System.Rating).
constexpr std::array<int, kHighestRating + 1> kMicrosoftPercents = {0, 1, 25, 50, 75, 99};

constexpr int kZoomDenominator = 10000;

constexpr char kCommentInExif[] = "Exif.Photo.UserComment";

constexpr char kOrientationInXmp[] = "Xmp.tiff.Orientation";

constexpr char kDateInExif[] = "Exif.Photo.DateTimeOriginal";
constexpr char kOffsetInExif[] = "Exif.Photo.OffsetTimeOriginal";
constexpr char kDigitizedInExif[] = "Exif.Photo.DateTimeDigitized";
// Of digitisation, as today's programs and older ones write it (XMP specification, part 2, 2.4),
// and when the picture was taken, likewise.
constexpr const char* kDatesInXmp[] = {"Xmp.xmp.CreateDate",
    "Xmp.exif.DateTimeDigitized",
    "Xmp.photoshop.DateCreated",
    "Xmp.exif.DateTimeOriginal"};
constexpr char kDigitizationDate[] = "Iptc.Application2.DigitizationDate";
constexpr char kDigitizationTime[] = "Iptc.Application2.DigitizationTime";
constexpr char kDateInIptc[] = "Iptc.Application2.DateCreated";
constexpr char kTimeInIptc[] = "Iptc.Application2.TimeCreated";

constexpr char kKeywordsInIptc[] = "Iptc.Application2.Keywords";
constexpr char kKeywordsInXmp[] = "Xmp.dc.subject";
constexpr char kKeywordsInExif[] = "Exif.Image.XPKeywords";
constexpr QLatin1Char kWindowsSeparator(';');

/// The texts that are not blank, trimmed, each once.
QStringList distinctTexts(const QStringList& texts)
{
    QStringList distinct;
    for (const QString& text : texts)
        distinct.append(text.trimmed());
    distinct.removeAll(QString());
    distinct.removeDuplicates();
    return distinct;
}

int toMicrosoftPercent(int rating)
{
    return kMicrosoftPercents[static_cast<size_t>(rating)];
}

/// The orientation after a quarter turn; mirrored ones stay.
int turned(int orientation, bool clockwise)
{
    switch (orientation) {
    case 0:
    case ORIENTATION_TOP_LEFT: return clockwise ? ORIENTATION_RIGHT_TOP : ORIENTATION_LEFT_BOTTOM;
    case ORIENTATION_BOTTOM_RIGHT:
        return clockwise ? ORIENTATION_LEFT_BOTTOM : ORIENTATION_RIGHT_TOP;
    case ORIENTATION_RIGHT_TOP: return clockwise ? ORIENTATION_BOTTOM_RIGHT : ORIENTATION_TOP_LEFT;
    case ORIENTATION_LEFT_BOTTOM:
        return clockwise ? ORIENTATION_TOP_LEFT : ORIENTATION_BOTTOM_RIGHT;
    default: return orientation;
    }
}

template <typename Key>
bool haveCommon(const std::set<Key>& left, const std::set<Key>& right)
{
    return std::any_of(
        left.begin(), left.end(), [&right](const Key& key) { return right.count(key) != 0; });
}

/// Those that can be edited: maker notes only change with the places of previews.
std::set<RKFamilyChanges::ExifTag> withoutMakerNotes(std::set<RKFamilyChanges::ExifTag> tags)
{
    std::erase_if(tags, [](const auto& tag) { return RKExiv2ExifMerge::isOfMakerNote(tag.first); });
    return tags;
}

/// The text without the marker; one of blanks that had a marker counts as empty.
QString withoutMarker(const QString& text, const RKRegularExpression& marker)
{
    const QString rest = marker.removeFrom(text);
    return rest != text && rest.trimmed().isEmpty() ? QString() : rest;
}

/// The comment for exiv2, which would take what looks like a character code for one.
QString comment(const QString& text)
{
    return text.startsWith(QLatin1String("charset=")) ? QStringLiteral("charset=Unicode ") + text
                                                      : text;
}

} // namespace

RKExiv2WrapperImpl::RKExiv2WrapperImpl()
{
    RKExiv2Library::initialize();
}

RKExiv2WrapperImpl::RKExiv2WrapperImpl(const QString& path)
    : RKExiv2WrapperImpl()
{
    setSource(QFileInfo(path));
    readFrom(path);
}

RKExiv2WrapperImpl::RKExiv2WrapperImpl(const QByteArray& data)
    : RKExiv2WrapperImpl()
{
    readFrom(data);
}

RKExiv2WrapperImpl::RKExiv2WrapperImpl(const RKExiv2WrapperImpl& other)
    : QSharedData(other)
{
    const QReadLocker locker(&other.m_lock);
    m_exifData = other.m_exifData;
    m_iptcData = other.m_iptcData;
    m_xmpData = other.m_xmpData;
    m_iccData = other.m_iccData;
    m_source = other.m_source;
    m_size = other.m_size;
    m_isTurnedByContainer = other.m_isTurnedByContainer;
    m_isUnreadable = other.m_isUnreadable;
    m_readError = other.m_readError;
    m_iccDataChanged = other.m_iccDataChanged;
}

RKExiv2WrapperImpl::~RKExiv2WrapperImpl() = default;

template <typename Source>
void RKExiv2WrapperImpl::readFrom(const Source& source)
{
    const QWriteLocker locker(&m_lock);
    RKExiv2ImageReader reader({m_exifData, m_iptcData, m_xmpData, m_iccData, m_size});
    reader.read(source);
    m_isTurnedByContainer = reader.isTurnedByContainer();
    m_isUnreadable = reader.isUnreadable();
    m_readError = reader.error();
}

void RKExiv2WrapperImpl::setSource(const QFileInfo& file)
{
    m_source = file.canonicalFilePath();
}

QString RKExiv2WrapperImpl::readKey(const QString& key) const
{
    static const RKRegularExpression charsetMarker(QStringLiteral("charset=\"[^\"]*\""));
    static const RKRegularExpression languageMarker(QStringLiteral("lang=\"[^\"]*\""));
    // exiv2 writes the character code of an Exif comment without quotes.
    static const RKRegularExpression commentMarker(
        QStringLiteral("^charset=(Ascii|Jis|Unicode|Undefined|InvalidCharsetId) "));

    const QByteArray name = key.toUtf8();
    if (key.startsWith(QLatin1String("Exif.Image.XP")))
        return m_exifData.readWindowsText(name.constData());
    if (key.startsWith(QLatin1String("Exif"))) {
        const QString text = withoutMarker(m_exifData.readString(name.constData()), charsetMarker);
        return key == QLatin1String(kCommentInExif) ? withoutMarker(text, commentMarker) : text;
    }
    if (key.startsWith(QLatin1String("Xmp")))
        return withoutMarker(m_xmpData.readString(name.constData()), languageMarker);
    if (key.startsWith(QLatin1String("Iptc")))
        return m_iptcData.readString(name.constData());
    return {};
}

QString RKExiv2WrapperImpl::read(const RKMetaDataField& field) const
{
    const QReadLocker locker(&m_lock);
    const QStringList keys = field.exiv2Keys();
    for (const QString& key : keys) {
        // Kept: a text of blanks ends the search. See
        // RKExiv2WrapperTest::fieldsTakeTheFirstTextOfTheirKeys.
        if (const QString text = readKey(key); !text.isEmpty())
            return text.trimmed();
    }
    return {};
}

/// Those of each family, in the order in which they count.
QList<QStringList> RKExiv2WrapperImpl::keywordsOfFamilies() const
{
    const QReadLocker locker(&m_lock);
    return {m_iptcData.readStringList(kKeywordsInIptc),
        m_xmpData.readStringList(kKeywordsInXmp),
        m_exifData.readWindowsText(kKeywordsInExif).split(kWindowsSeparator)};
}

QStringList RKExiv2WrapperImpl::keywords() const
{
    const QList<QStringList> families = keywordsOfFamilies();
    for (const QStringList& family : families) {
        if (const QStringList keywords = distinctTexts(family); !keywords.isEmpty())
            return keywords;
    }
    return {};
}

QStringList RKExiv2WrapperImpl::keywordsOfAllPlaces() const
{
    QStringList all;
    const QList<QStringList> families = keywordsOfFamilies();
    for (const QStringList& family : families)
        all += family;
    return distinctTexts(all);
}

void RKExiv2WrapperImpl::setKeywords(const QStringList& keywords)
{
    const QStringList texts = distinctTexts(keywords);
    // One keyword must not become two here.
    QStringList forWindows = texts;
    forWindows.replaceInStrings(QString(kWindowsSeparator), QStringLiteral(","));
    const QWriteLocker locker(&m_lock);
    m_iptcData.writeStringList(kKeywordsInIptc, texts);
    m_xmpData.setStringList(kKeywordsInXmp, texts);
    m_exifData.setWindowsText(kKeywordsInExif, forWindows.join(kWindowsSeparator));
}

void RKExiv2WrapperImpl::write(const RKMetaDataField& field, const QString& value)
{
    if (field.value() == RKMetaDataFieldEnum::keywords) {
        setKeywords(value.split(QLatin1Char(',')));
        return;
    }
    const QWriteLocker locker(&m_lock);
    const QStringList keys = field.exiv2Keys();
    for (const QString& key : keys) {
        const QByteArray name = key.toUtf8();
        if (value.isEmpty()) {
            removeKey(name.constData());
            continue;
        }
        if (key.startsWith(QLatin1String("Exif.Image.XP")))
            continue;
        if (key.startsWith(QLatin1String("Exif"))) {
            m_exifData.setString(
                name.constData(), key == QLatin1String(kCommentInExif) ? comment(value) : value);
        } else if (key.startsWith(QLatin1String("Xmp"))) {
            m_xmpData.setText(name.constData(), value);
        } else if (key.startsWith(QLatin1String("Iptc"))) {
            m_iptcData.writeString(name.constData(), value);
        }
    }
}

/// From the file of a later save, too.
void RKExiv2WrapperImpl::removeKey(const char* key)
{
    const QByteArray family = QByteArray(key).left(4);
    if (family == "Exif")
        m_exifData.setWindowsText(key, {});
    else if (family == "Xmp.")
        m_xmpData.setStringList(key, {});
    else if (family == "Iptc")
        m_iptcData.writeStringList(key, {});
}

RKImageOrientation RKExiv2WrapperImpl::imageOrientation() const
{
    const QReadLocker locker(&m_lock);
    const int orientation = m_exifData.readRotation();
    if (orientation == 0 && m_isTurnedByContainer)
        return ORIENTATION_TOP_LEFT;
    return static_cast<RKImageOrientation>(orientation);
}

void RKExiv2WrapperImpl::setRotation(int orientation)
{
    m_exifData.setRotation(static_cast<RKImageOrientation>(orientation));
    m_xmpData.setInt(kOrientationInXmp, orientation);
}

void RKExiv2WrapperImpl::setImageOrientation(RKImageOrientation orientation)
{
    const QWriteLocker locker(&m_lock);
    setRotation(orientation);
}

void RKExiv2WrapperImpl::rotate(bool clockwise)
{
    const QWriteLocker locker(&m_lock);
    setRotation(turned(m_exifData.readRotation(), clockwise));
}

bool RKExiv2WrapperImpl::imageIsTiltedByMetadata() const
{
    return isTransposingOrientation(imageOrientation());
}

QSize RKExiv2WrapperImpl::unrotatedSize() const
{
    const QReadLocker locker(&m_lock);
    return m_size;
}

void RKExiv2WrapperImpl::forceSetSize(const QSize& size)
{
    const QWriteLocker locker(&m_lock);
    m_size = size;
}

void RKExiv2WrapperImpl::adaptToPixels(const QSize& size)
{
    const QWriteLocker locker(&m_lock);
    m_size = size;
    m_exifData.adaptToPixels(size);
    // Previews, which some programs show in the place of the picture.
    m_xmpData.removeKey("Xmp.xmp.Thumbnails");
    const auto adapt = [this](const char* key, int length) {
        if (m_xmpData.hasXMPKey(QString::fromLatin1(key)))
            m_xmpData.setInt(key, length);
    };
    adapt("Xmp.exif.PixelXDimension", size.width());
    adapt("Xmp.exif.PixelYDimension", size.height());
    adapt("Xmp.tiff.ImageWidth", size.width());
    adapt("Xmp.tiff.ImageLength", size.height());
}

void RKExiv2WrapperImpl::removeMakerNote()
{
    const QWriteLocker locker(&m_lock);
    m_exifData.removeMakerNote();
}

QDateTime RKExiv2WrapperImpl::pictureTaken() const
{
    const QReadLocker locker(&m_lock);
    const QDateTime inExif = m_exifData.dateTime(kDateInExif, kOffsetInExif);
    if (inExif.isValid())
        return inExif;
    // Kept: a date of XMP becomes local time. See RKExiv2WrapperTest::firstValidDateWins.
    const QDateTime inXmp = m_xmpData.dateTime("Xmp.exif.DateTimeOriginal");
    return inXmp.isValid() ? inXmp.toLocalTime() : m_iptcData.dateTime(kDateInIptc, kTimeInIptc);
}

void RKExiv2WrapperImpl::setPictureTaken(const QDateTime& dateTime)
{
    const QWriteLocker locker(&m_lock);
    m_exifData.setDateTime(kDateInExif, kOffsetInExif, dateTime);
    // Kept: XMP does not get the date. See RKExiv2WrapperTest::firstValidDateWins.
    m_iptcData.setDateTime(kDateInIptc, kTimeInIptc, dateTime);
}

void RKExiv2WrapperImpl::removePictureTaken()
{
    const QWriteLocker locker(&m_lock);
    for (const char* key : {kDateInExif,
             kOffsetInExif,
             "Exif.Photo.SubSecTimeOriginal",
             "Exif.Image.DateTimeOriginal",
             "Xmp.exif.DateTimeOriginal",
             "Xmp.photoshop.DateCreated",
             kDateInIptc,
             kTimeInIptc})
        removeKey(key);
}

void RKExiv2WrapperImpl::shiftDates(qint64 seconds)
{
    const QWriteLocker locker(&m_lock);
    for (const char* key : {kDateInExif, kDigitizedInExif}) {
        if (QString date = RKWallTime::shifted(m_exifData.readString(key), seconds);
            !date.isEmpty())
            m_exifData.setString(
                key, date.replace(4, 1, u':').replace(7, 1, u':').replace(10, 1, u' '));
    }
    for (const char* key : kDatesInXmp) {
        if (const QString date = RKWallTime::shifted(m_xmpData.readString(key), seconds);
            !date.isEmpty())
            m_xmpData.setString(key, date);
    }
    for (const auto& [day, time] :
        {std::pair{kDateInIptc, kTimeInIptc}, {kDigitizationDate, kDigitizationTime}})
    {
        const QString inIptc
            = m_iptcData.readString(day) + QLatin1Char('T') + m_iptcData.readString(time);
        if (const QString date = RKWallTime::shifted(inIptc, seconds); !date.isEmpty()) {
            m_iptcData.writeString(day, date.section(QLatin1Char('T'), 0, 0));
            m_iptcData.writeString(time, date.section(QLatin1Char('T'), 1));
        }
    }
}

RKGeoPosition RKExiv2WrapperImpl::geoPosition() const
{
    const QReadLocker locker(&m_lock);
    return m_exifData.geoPosition();
}

void RKExiv2WrapperImpl::setGeoPosition(const RKGeoPosition& position)
{
    const QWriteLocker locker(&m_lock);
    m_exifData.setGeoPosition(position);
}

void RKExiv2WrapperImpl::removeGeoPosition()
{
    const QWriteLocker locker(&m_lock);
    m_exifData.removeGeoPosition();
    m_xmpData.removeGeoPosition();
}

double RKExiv2WrapperImpl::digitalZoomRatio() const
{
    const QReadLocker locker(&m_lock);
    const RKRational ratio = m_exifData.readRational("Exif.Photo.DigitalZoomRatio");
    return ratio.isValid() ? qMax(ratio.toDouble(), 1.0) : 1.0;
}

void RKExiv2WrapperImpl::setDigitalZoomRatio(double ratio)
{
    using Limits = std::numeric_limits<int>;
    const double numerator = std::isnan(ratio)
        ? 0.0
        : qBound<double>(Limits::min(), std::round(ratio * kZoomDenominator), Limits::max());
    const QWriteLocker locker(&m_lock);
    m_exifData.setRational(
        "Exif.Photo.DigitalZoomRatio", RKRational(static_cast<int>(numerator), kZoomDenominator));
}

int RKExiv2WrapperImpl::toRating(int number)
{
    return qBound(0, number, kHighestRating);
}

int RKExiv2WrapperImpl::adobeRating() const
{
    const QReadLocker locker(&m_lock);
    int rating = m_xmpData.adobeRating();
    if (rating == -1)
        rating = m_exifData.readInt("Exif.Image.Rating");
    // Kept: a percentage alone is not looked at; a missing rating reads as 0. See
    // RKExiv2WrapperTest::ratingsComeFromXmpThenExif.
    if (rating == -1)
        rating
            = static_cast<int>((qint64(m_exifData.readInt("Exif.Image.RatingPercent")) + 1) / 25);
    return toRating(rating);
}

void RKExiv2WrapperImpl::setAdobeRating(int rating)
{
    const int stars = toRating(rating);
    const int percent = toMicrosoftPercent(stars);
    const QWriteLocker locker(&m_lock);
    m_xmpData.setInt(kRatingInXmp, stars);
    m_exifData.setInt("Exif.Image.Rating", stars);
    m_exifData.setInt("Exif.Image.RatingPercent", percent);
    m_xmpData.setInt("Xmp.MicrosoftPhoto.Rating", percent);
}

bool RKExiv2WrapperImpl::isRejected() const
{
    const QReadLocker locker(&m_lock);
    return m_xmpData.hasXMPKey(QLatin1String(kRatingInXmp))
        && m_xmpData.readInt(kRatingInXmp) == kRejected;
}

void RKExiv2WrapperImpl::setRejected()
{
    const QWriteLocker locker(&m_lock);
    // The other places have no value for it.
    setAdobeRating(0);
    m_xmpData.setInt(kRatingInXmp, kRejected);
}

bool RKExiv2WrapperImpl::flashUsed() const
{
    const QReadLocker locker(&m_lock);
    return (m_exifData.readInt("Exif.Photo.Flash") & 1) != 0;
}

void RKExiv2WrapperImpl::setFlashUsed(bool used)
{
    const QWriteLocker locker(&m_lock);
    m_exifData.setInt("Exif.Photo.Flash", used ? 1 : 0);
}

QDateTime RKExiv2WrapperImpl::myTalikoExportDate() const
{
    // Kept: read as 32 bits, and taken for milliseconds. See
    // RKExiv2WrapperTest::exportDatesHave32Bits.
    const int milliseconds = xmpInt("Xmp.TAMO.myTalikoExportedAt");
    return milliseconds < 1 ? QDateTime() : QDateTime::fromMSecsSinceEpoch(milliseconds);
}

int RKExiv2WrapperImpl::xmpInt(const char* key) const
{
    const QReadLocker locker(&m_lock);
    return m_xmpData.readInt(key);
}

void RKExiv2WrapperImpl::setXmpInt(const char* key, int value)
{
    const QWriteLocker locker(&m_lock);
    m_xmpData.setInt(key, value);
}

QString RKExiv2WrapperImpl::xmpString(const char* key) const
{
    const QReadLocker locker(&m_lock);
    return m_xmpData.readString(key);
}

void RKExiv2WrapperImpl::setXmpString(const char* key, const QString& value)
{
    const QWriteLocker locker(&m_lock);
    m_xmpData.setString(key, value);
}

QByteArray RKExiv2WrapperImpl::iccData() const
{
    const QReadLocker locker(&m_lock);
    return m_iccData.asByteArray();
}

void RKExiv2WrapperImpl::setIccData(const QByteArray& profile)
{
    const QWriteLocker locker(&m_lock);
    m_iccData = RKExiv2IccData(profile);
    m_iccDataChanged = true;
    m_exifData.clearAllColorProfileData();
}

bool RKExiv2WrapperImpl::hasIccData() const
{
    const QReadLocker locker(&m_lock);
    return !m_iccData.isEmpty() || m_exifData.isAdobeRGB();
}

bool RKExiv2WrapperImpl::isAdobeRGB() const
{
    const QReadLocker locker(&m_lock);
    return m_exifData.isAdobeRGB();
}

QImage RKExiv2WrapperImpl::thumbnail() const
{
    const QReadLocker locker(&m_lock);
    return m_exifData.thumbnail();
}

bool RKExiv2WrapperImpl::extractThumbnailData(QByteArray& data) const
{
    const QReadLocker locker(&m_lock);
    return m_exifData.extractThumbnailData(data);
}

void RKExiv2WrapperImpl::writeThumbnail(const QByteArray& jpeg)
{
    const QWriteLocker locker(&m_lock);
    m_exifData.writeThumbnail(jpeg);
}

void RKExiv2WrapperImpl::eraseThumbnail()
{
    const QWriteLocker locker(&m_lock);
    m_exifData.eraseThumbnail();
}

RKFacePositions RKExiv2WrapperImpl::facePositions() const
{
    const QReadLocker locker(&m_lock);
    const RKFacePositions inXmp = m_xmpData.facePositions();
    return inXmp.isSurveyComplete() ? inXmp : m_exifData.facePositions(m_size);
}

RKFacePositions RKExiv2WrapperImpl::regionFacePositions() const
{
    const QReadLocker locker(&m_lock);
    return m_xmpData.facePositions();
}

QSize RKExiv2WrapperImpl::regionImageSize() const
{
    const QReadLocker locker(&m_lock);
    return RKXmpRegions().appliedToImageSize(&m_xmpData);
}

int RKExiv2WrapperImpl::numberOfRegions() const
{
    const QReadLocker locker(&m_lock);
    return RKXmpRegions().numberOfRegions(m_xmpData);
}

bool RKExiv2WrapperImpl::updateFaces(const QSize& imageSize, const RKFacePositions& faces)
{
    const QWriteLocker locker(&m_lock);
    return RKXmpRegions().expandFaces(&m_xmpData, imageSize, faces);
}

bool RKExiv2WrapperImpl::removeFaceRegions()
{
    const QWriteLocker locker(&m_lock);
    return RKXmpRegions().removeFaceRegions(&m_xmpData);
}

RKImageFamilies RKExiv2WrapperImpl::exifAndXmp() const
{
    return {m_exifData.data(), {}, m_xmpData.data()};
}

bool RKExiv2WrapperImpl::applyDifference(
    const RKExiv2WrapperImpl& from, const RKExiv2WrapperImpl& to)
{
    // Copies, and the other locks released before the own one is taken: two threads may have the
    // same objects in another order.
    const RKExiv2WrapperImpl source(from);
    const RKExiv2WrapperImpl target(to);
    const QWriteLocker locker(&m_lock);
    return RKExiv2Library::valueOr(false, [&] {
        const RKImageFamilies old = source.exifAndXmp();
        const RKFamilyChanges wanted(old, target.exifAndXmp());
        const RKFamilyChanges others(old, exifAndXmp());
        const auto iptcKeys = source.m_iptcData.differences(target.m_iptcData);
        const auto exifTags = withoutMakerNotes(wanted.exifTags());
        if (haveCommon(exifTags, others.exifTags())
            || haveCommon(wanted.xmpProperties(), others.xmpProperties())
            || haveCommon(iptcKeys, source.m_iptcData.differences(m_iptcData)))
            return false;
        m_exifData.takeOver(exifTags, target.m_exifData);
        m_iptcData.takeOver(iptcKeys, target.m_iptcData);
        m_xmpData.takeOver(wanted.xmpProperties(), target.m_xmpData);
        return true;
    });
}

bool RKExiv2WrapperImpl::writeXmpData(const QFileInfo& file) const
{
    const QReadLocker locker(&m_lock);
    return RKXmpRegions::writeXmpData(m_xmpData, file);
}

QHash<QString, QString> RKExiv2WrapperImpl::allData() const
{
    const QReadLocker locker(&m_lock);
    QHash<QString, QString> all = m_exifData.allData();
    all.insert(m_xmpData.allData());
    all.insert(m_iptcData.allData());
    return all;
}

QHash<QString, QString> RKExiv2WrapperImpl::interpretedData() const
{
    const QReadLocker locker(&m_lock);
    QHash<QString, QString> all = m_exifData.interpretedData();
    all.insert(m_xmpData.interpretedData());
    all.insert(m_iptcData.allData());
    return all;
}

RKCaptureSettings RKExiv2WrapperImpl::captureSettings() const
{
    const QReadLocker locker(&m_lock);
    RKCaptureSettings settings = RKExiv2Capture::read(m_exifData.data(), m_xmpData.data());
    const auto addMissing = [this](QString& text, const char* key) {
        if (text.isEmpty())
            text = m_iptcData.readString(key).trimmed();
    };
    addMissing(settings.city, "Iptc.Application2.City");
    addMissing(settings.state, "Iptc.Application2.ProvinceState");
    addMissing(settings.country, "Iptc.Application2.CountryName");
    return settings;
}

QStringList RKExiv2WrapperImpl::debugOutput() const
{
    const QReadLocker locker(&m_lock);
    return m_exifData.debugOutput() + m_xmpData.debugOutput();
}

RKMetaDataSaver RKExiv2WrapperImpl::saver(RKMetaDataSaver::Scope scope) const
{
    return RKMetaDataSaver({m_exifData,
        m_iptcData,
        m_xmpData,
        m_iccDataChanged ? m_iccData : RKExiv2IccData(),
        scope});
}

RKMediaError RKExiv2WrapperImpl::readError() const
{
    const QReadLocker locker(&m_lock);
    return m_readError;
}

RKMediaError RKExiv2WrapperImpl::readFailure() const
{
    const QReadLocker locker(&m_lock);
    return m_isUnreadable ? m_readError : RKMediaError();
}

/// Values that were changed without knowing the old ones, as by a turn, may be wrong.
bool RKExiv2WrapperImpl::isSavable(RKMediaError& error) const
{
    if (m_isUnreadable) {
        qWarning().noquote() << "Metadata that could not be read are not saved:" << m_source;
        error = m_readError;
    }
    return !m_isUnreadable;
}

bool RKExiv2WrapperImpl::save(const QFileInfo& file, RKMediaError& error) const
{
    const QWriteLocker locker(&m_lock);
    if (!isSavable(error))
        return false;
    const bool isSource = !m_source.isEmpty() && file.canonicalFilePath() == m_source;
    using Scope = RKMetaDataSaver::Scope;
    return saver(isSource ? Scope::Changes : Scope::Everything).save(file, error);
}

bool RKExiv2WrapperImpl::save(QBuffer* buffer, RKMediaError& error) const
{
    const QWriteLocker locker(&m_lock);
    return isSavable(error) && saver(RKMetaDataSaver::Scope::Everything).save(buffer, error);
}
