#include "RKImageLoader/files/RKByteReader_p.h"
#include "RKImageLoader/files/RKTiffTags_p.h"
#include "RKImageLoader/guards/RKEmbeddedPicture_p.h"
#include "RKImageLoader/metadata/exiv2/RKCameraFaces_p.h"
#include "RKImageLoader/metadata/exiv2/RKExiv2ExifData_p.h"
#include "RKImageLoader/metadata/exiv2/RKExiv2ExifMerge_p.h"
#include "RKImageLoader/metadata/exiv2/RKExiv2IntegerType_p.h"
#include "RKImageLoader/metadata/exiv2/RKExiv2Library_p.h"
#include "RKImageLoader/metadata/exiv2/RKSizeLimit_p.h"
#include "RKImageLoader/metadata/exiv2/RKWallTime_p.h"

#include <QDebug>
#include <QLocale>
#include <QStringEncoder>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <set>
#include <utility>

namespace {

using RKExiv2Compat::count;
using RKExiv2Compat::keyText;
using RKExiv2Compat::toInt64;
using RKExiv2ExifMerge::describesPixels;
using RKExiv2ExifMerge::eraseIf;
using RKExiv2ExifMerge::isInThumbnail;
using RKExiv2ExifMerge::secondDirectoryIsPage;

// The length field of a JPEG segment and the identifier "Exif" with two NULs (Exif 2.32, 4.7.2).
constexpr quint32 kSegmentOverhead = 8;

constexpr char kJpegStart[] = "\xff\xd8";

constexpr double kUnknownArc = std::numeric_limits<double>::quiet_NaN();

constexpr char kProfileKey[] = "Exif.Image.InterColorProfile";
constexpr std::array kColorKeys = {"Exif.Canon.ColorSpace",
    "Exif.Canon.ColorData",
    "Exif.Canon.MeasuredColor",
    kProfileKey,
    "Exif.Image.PrimaryChromaticities",
    "Exif.Image.WhitePoint",
    "Exif.Image.YCbCrCoefficients",
    "Exif.Photo.ColorSpace",
    "Exif.Iop.InteroperabilityIndex"};

Exiv2::ExifData::const_iterator find(const Exiv2::ExifData& data, const char* key)
{
    // As ExifData::findKey(), which makes a text of every datum's key.
    const Exiv2::ExifKey wanted(key);
    return std::find_if(data.begin(), data.end(), [&wanted](const Exiv2::Exifdatum& datum) {
        return datum.tag() == wanted.tag() && datum.groupName() == wanted.groupName();
    });
}

/// A component of a rational value, with its full unsigned range.
std::pair<qint64, qint64> rational(const Exiv2::Exifdatum& datum, size_t component)
{
    const Exiv2::Value& value = datum.value();
    if (const auto* unsignedValue = dynamic_cast<const Exiv2::URationalValue*>(&value))
        return unsignedValue->value_.at(component);
    return dynamic_cast<const Exiv2::RationalValue&>(value).value_.at(component);
}

bool isRational(const Exiv2::Exifdatum& datum)
{
    const auto type = datum.typeId();
    return type == Exiv2::unsignedRational || type == Exiv2::signedRational;
}

QByteArray bytesOf(const Exiv2::Exifdatum& datum)
{
    QByteArray bytes(RKExiv2Compat::size(datum), Qt::Uninitialized);
    datum.copy(reinterpret_cast<Exiv2::byte*>(bytes.data()), Exiv2::littleEndian);
    return bytes;
}

/// What the function makes of the first datum with the key; the fallback where there is none and
/// where exiv2 throws.
template <typename Value, typename Function>
Value read(const Exiv2::ExifData& data, const char* key, Value fallback, Function function)
{
    return RKExiv2Library::valueOr(fallback, [&]() -> Value {
        const auto datum = find(data, key);
        return datum == data.end() ? fallback : function(*datum);
    });
}

QByteArray dataAreaOf(const Exiv2::Exifdatum& datum)
{
    return RKExiv2Compat::toByteArray(datum.dataArea());
}

QByteArray jpegThumbnailOf(const Exiv2::ExifData& data)
{
    return read(data, "Exif.Thumbnail.JPEGInterchangeFormat", QByteArray(), dataAreaOf);
}

QList<int> allIntegers(const Exiv2::Exifdatum& datum)
{
    QList<int> integers;
    for (qsizetype i = 0; i < count(datum); ++i)
        integers.append(static_cast<int>(toInt64(datum, i)));
    return integers;
}

/// The numbers of a maker-note tag; none for a tag that holds anything else.
QList<int> recordOf(const Exiv2::ExifData& data, const char* key)
{
    return read(data, key, QList<int>(), [](const Exiv2::Exifdatum& datum) {
        return RKExiv2IntegerType::isInteger(datum.typeId()) ? allIntegers(datum) : QList<int>();
    });
}

/// Stores a text under the key with the type that is chosen for the tag's own type. The old value
/// stays until the new one is complete.
template <typename ChooseType>
void store(Exiv2::ExifData& data,
    std::set<std::string>& changedKeys,
    const QString& where,
    const char* key,
    const QString& value,
    ChooseType chooseType)
{
    RKExiv2Library::change(where, key, value, [&] {
        const Exiv2::ExifKey exifKey(key);
        const auto parsed = RKExiv2Compat::makeValue(chooseType(exifKey.defaultTypeId()));
        if (parsed->read(value.toStdString()) != 0)
            return false;
        if (const auto datum = data.findKey(exifKey); datum != data.end())
            datum->setValue(parsed.get());
        else
            data.add(exifKey, parsed.get());
        changedKeys.insert(exifKey.key());
        return true;
    });
}

} // namespace

RKExiv2ExifData::RKExiv2ExifData() = default;

RKExiv2ExifData::RKExiv2ExifData(const RKExiv2ImagePtr& image)
    : RKExiv2ExifData(Exiv2::ExifData(image->exifData()), RKExiv2Compat::isTiffBased(*image))
{
}

RKExiv2ExifData::RKExiv2ExifData(Exiv2::ExifData&& data, bool isTiffBased)
    : m_exifData(std::move(data))
    , m_secondDirectoryIsPage(isTiffBased && secondDirectoryIsPage(m_exifData))
{
}

RKExiv2ExifData::~RKExiv2ExifData() = default;

template <typename IsMerged>
void RKExiv2ExifData::merge(Exiv2::Image& image, IsMerged isMerged) const
{
    Exiv2::ExifData& target = image.exifData();
    const bool isTiffBased = RKExiv2Compat::isTiffBased(image);
    const QByteArray thumbnail = newThumbnail();
    // Written again, its directory would lose the tags that others have added.
    const bool isThere = !thumbnail.isEmpty() && thumbnail == jpegThumbnailOf(target);
    const bool mayReplaceThumbnail = !isThere
        && (!isTiffBased || !RKExiv2ExifMerge::hasThumbnailDirectory(target)
            || (m_thumbnailChanged && !secondDirectoryIsPage(target)));
    const auto mayChange = [&](const Exiv2::Exifdatum& datum) {
        if (isInThumbnail(datum))
            return mayReplaceThumbnail && !m_secondDirectoryIsPage;
        return !isTiffBased || !describesPixels(datum);
    };

    for (const std::string& key : m_removedKeys)
        eraseIf(target, [&](const auto& datum) { return datum.key() == key && mayChange(datum); });
    if (m_thumbnailChanged && mayReplaceThumbnail)
        Exiv2::ExifThumb(target).erase();

    std::vector<const Exiv2::Exifdatum*> source;
    for (const Exiv2::Exifdatum& datum : m_exifData) {
        if (mayChange(datum) && isMerged(datum))
            source.push_back(&datum);
    }
    RKExiv2ExifMerge::merge(target, source);
}

bool RKExiv2ExifData::mergeTo(RKExiv2ImagePtr& image) const
{
    if (!canWriteTo(image))
        return false;
    merge(*image, [](const Exiv2::Exifdatum&) { return true; });
    if (!RKExiv2Compat::isTiffBased(*image) && !RKExiv2Compat::isCrw(*image))
        RKSizeLimit::makeSureExifDataIsLessThan64k(image->exifData());
    return true;
}

bool RKExiv2ExifData::mergeChangesTo(RKExiv2ImagePtr& image) const
{
    if (!canWriteTo(image))
        return false;
    if (!targetHasMostOf(m_exifData, image->exifData()))
        return mergeTo(image);
    for (const std::string& key : m_changedKeys) {
        const auto hasKey = [&key](const Exiv2::Exifdatum& datum) { return datum.key() == key; };
        if (std::none_of(m_exifData.begin(), m_exifData.end(), hasKey))
            eraseIf(image->exifData(), hasKey);
    }
    merge(*image, [this](const Exiv2::Exifdatum& datum) {
        return isInThumbnail(datum) ? m_thumbnailChanged : m_changedKeys.count(datum.key()) != 0;
    });
    return true;
}

Exiv2::MetadataId RKExiv2ExifData::supportedMetaData() const
{
    return Exiv2::mdExif;
}

void RKExiv2ExifData::mergeInto(Exiv2::ExifData& target) const
{
    std::vector<const Exiv2::Exifdatum*> source;
    for (const Exiv2::Exifdatum& datum : m_exifData)
        source.push_back(&datum);
    RKExiv2ExifMerge::merge(target, source);
}

bool RKExiv2ExifData::hasChanges() const
{
    return m_thumbnailChanged || !m_removedKeys.empty() || RKExiv2AbstractData::hasChanges();
}

void RKExiv2ExifData::clear()
{
    m_exifData.clear();
}

Exiv2::ExifData::const_iterator RKExiv2ExifData::findKey(const char* key) const
{
    return RKExiv2Library::valueOr(m_exifData.end(), [&] { return find(m_exifData, key); });
}

QString RKExiv2ExifData::readString(const char* key) const
{
    return read(m_exifData, key, QString(), [](const Exiv2::Exifdatum& datum) {
        return QString::fromStdString(datum.toString());
    });
}

QString RKExiv2ExifData::readWindowsText(const char* key) const
{
    return read(m_exifData, key, QString(), [](const Exiv2::Exifdatum& datum) {
        const QByteArray bytes = bytesOf(datum);
        RKByteReader units(bytes, QSysInfo::LittleEndian);
        QString text;
        while (const auto unit = units.number<quint16>())
            text.append(QChar(unit));
        return text;
    });
}

int RKExiv2ExifData::readInt(const char* key) const
{
    return read(m_exifData, key, 0, [](const Exiv2::Exifdatum& datum) {
        return count(datum) > 0 ? static_cast<int>(toInt64(datum)) : 0;
    });
}

QList<int> RKExiv2ExifData::readIntList(const char* key) const
{
    return read(m_exifData, key, QList<int>(), allIntegers);
}

RKRational RKExiv2ExifData::readRational(const char* key) const
{
    return read(m_exifData, key, RKRational(), [](const Exiv2::Exifdatum& datum) {
        if (!isRational(datum) || count(datum) == 0)
            return RKRational();
        const auto [numerator, denominator] = rational(datum, 0);
        return RKRational(numerator, denominator);
    });
}

QDateTime RKExiv2ExifData::dateTime(const char* key) const
{
    return dateTime(key, nullptr);
}

QDateTime RKExiv2ExifData::dateTime(const char* key, const char* offsetKey) const
{
    // Kept: a "Z" in the text does not count. See RKExiv2ExifDataTest::datesReadInAnySpelling.
    const QString text = readString(key).section(QLatin1Char('Z'), 0, 0).trimmed();
    // As UTC, which skips no times as the machine's time zone does.
    const QDateTime digits = QDateTime::fromString(text + QLatin1Char('Z'), Qt::ISODate);
    if (!digits.isValid())
        return QDateTime::fromString(text, Qt::ISODate).toLocalTime();
    const auto offset = offsetKey ? RKWallTime::offset(readString(offsetKey)) : std::nullopt;
    return RKWallTime::toDateTime({digits.date(), digits.time(), offset});
}

int RKExiv2ExifData::readRotation() const
{
    return readInt("Exif.Image.Orientation");
}

RKGeoPosition RKExiv2ExifData::geoPosition() const
{
    return RKGeoPosition(getGPSArc("Exif.GPSInfo.GPSLatitude", "Exif.GPSInfo.GPSLatitudeRef"),
        getGPSArc("Exif.GPSInfo.GPSLongitude", "Exif.GPSInfo.GPSLongitudeRef"));
}

qreal RKExiv2ExifData::getGPSArc(const char* key, const char* refKey) const
{
    try {
        const auto datum = findKey(key);
        if (datum == m_exifData.end() || !isRational(*datum) || count(*datum) < 3)
            return kUnknownArc;

        std::array<double, 3> parts{};
        for (size_t i = 0; i < parts.size(); ++i) {
            const auto [numerator, denominator] = rational(*datum, i);
            if (denominator == 0)
                return kUnknownArc;
            parts[i] = double(numerator) / double(denominator);
        }
        auto [degrees, minutes, seconds] = parts;
        double wholeMinutes = 0;
        seconds += std::modf(minutes, &wholeMinutes) * 60;

        const double arc = degrees + wholeMinutes / 60 + seconds / 3600;
        const QString ref = readString(refKey);
        const bool isNegative
            = ref.startsWith(QLatin1Char('S')) || ref.startsWith(QLatin1Char('W'));
        return isNegative ? -arc : arc;
    } catch (const std::exception& error) {
        qWarning().noquote() << QStringLiteral("Cannot get Exif GPS tag using Exiv2 due to error :")
                             << QString::fromUtf8(error.what());
    }
    return kUnknownArc;
}

bool RKExiv2ExifData::isAdobeRGB() const
{
    return readString("Exif.Iop.InteroperabilityIndex") == QLatin1String("R03");
}

void RKExiv2ExifData::readIccData(Exiv2::DataBuf& profile) const
{
    const QByteArray bytes = read(m_exifData, kProfileKey, QByteArray(), bytesOf);
    if (!bytes.isEmpty())
        profile = RKExiv2Compat::toDataBuf(bytes);
}

bool RKExiv2ExifData::extractThumbnailData(QByteArray& data) const
{
    data.clear();
    if (m_secondDirectoryIsPage)
        return false;
    // exiv2 believes the tag for the compression, which is wrong in files of Ricoh and Hasselblad.
    data = jpegThumbnailOf(m_exifData);
    if (!data.startsWith(kJpegStart)) {
        data = RKExiv2Library::valueOr(QByteArray(),
            [&] { return RKExiv2Compat::toByteArray(Exiv2::ExifThumbC(m_exifData).copy()); });
    }
    return !data.isEmpty();
}

QByteArray RKExiv2ExifData::newThumbnail() const
{
    QByteArray data;
    if (m_thumbnailChanged)
        extractThumbnailData(data);
    return data;
}

QImage RKExiv2ExifData::thumbnail() const
{
    QByteArray data;
    extractThumbnailData(data);
    return RKEmbeddedPicture::thumbnail(data);
}

RKFacePositions RKExiv2ExifData::facePositions(const QSize& imageSize) const
{
    const RKFacePositions faces = RKCameraFaces::fujifilm(
        readInt("Exif.Fujifilm.0x4100"), recordOf(m_exifData, "Exif.Fujifilm.0x4103"), imageSize);
    return faces.isEmpty() ? RKCameraFaces::canon(recordOf(m_exifData, "Exif.Canon.0x0024"))
                           : faces;
}

template <typename ToText>
QHash<QString, QString> RKExiv2ExifData::texts(const ToText& toText) const
{
    QHash<QString, QString> all;
    for (const Exiv2::Exifdatum& datum : m_exifData) {
        all.insert(keyText(datum), RKExiv2Library::valueOr(QString(), [&] {
            return QString::fromStdString(toText(datum));
        }));
    }
    return all;
}

QHash<QString, QString> RKExiv2ExifData::allData() const
{
    return texts([](const Exiv2::Exifdatum& datum) { return datum.toString(); });
}

QHash<QString, QString> RKExiv2ExifData::interpretedData() const
{
    return texts([this](const Exiv2::Exifdatum& datum) {
        constexpr qsizetype kMaxPrintedBytes = 128;
        const qsizetype size = RKExiv2Compat::size(datum);
        return datum.typeId() == Exiv2::undefined && size > kMaxPrintedBytes
            ? '(' + std::to_string(size) + " bytes)"
            : datum.print(&m_exifData);
    });
}

QStringList RKExiv2ExifData::debugOutput() const
{
    QStringList lines;
    for (const Exiv2::Exifdatum& datum : m_exifData) {
        const QString value = RKExiv2Library::valueOr(
            QString(), [&] { return QString::fromStdString(datum.toString()); });
        lines.append(QStringLiteral("%1 0x%2 %3 %4 Bytes  %5")
                         .arg(keyText(datum),
                             QString::number(datum.tag(), 16).rightJustified(4, QLatin1Char('0')),
                             QString::fromLatin1(datum.typeName()),
                             QString::number(RKExiv2Compat::size(datum)),
                             value));
    }
    const quint32 total
        = RKExiv2Library::valueOr(quint32(0), [&] { return exifDataSize(m_exifData); });
    lines.append(QStringLiteral("EXIF total size: %1 Bytes").arg(total));
    return lines;
}

quint32 RKExiv2ExifData::exifDataSize(const Exiv2::ExifData& data) const
{
    return static_cast<quint32>(RKSizeLimit::encodedSize(data)) + kSegmentOverhead;
}

void RKExiv2ExifData::setString(const char* key, const QString& value)
{
    store(m_exifData,
        m_changedKeys,
        QStringLiteral("void RKExiv2ExifData::setString(const char *, const QString &)"),
        key,
        value,
        [](Exiv2::TypeId typeOfTag) { return typeOfTag; });
}

void RKExiv2ExifData::setWindowsText(const char* key, const QString& value)
{
    if (value.isEmpty()) {
        removeEverywhere(key);
        return;
    }
    QStringEncoder encoder(QStringConverter::Utf16LE);
    QString terminated = value;
    terminated.append(QChar());
    const QByteArray bytes = encoder.encode(terminated);
    const Exiv2::DataValue units(reinterpret_cast<const Exiv2::byte*>(bytes.constData()),
        bytes.size(),
        Exiv2::invalidByteOrder,
        Exiv2::unsignedByte);
    removeKey(key);
    m_exifData.add(Exiv2::ExifKey(key), &units);
    m_changedKeys.insert(key);
}

void RKExiv2ExifData::setStringWithLocale(const char* key, const QString& value)
{
    RKExiv2Library::change(
        QStringLiteral("void RKExiv2ExifData::setStringWithLocale(const char *, const QString &)"),
        key,
        value,
        [&] {
            const QString language = QLocale::languageToString(QLocale::system().language());
            const QString tagged = QStringLiteral("lang=") + language + QLatin1Char(' ') + value;
            Exiv2::LangAltValue alternatives;
            if (alternatives.read(tagged.toStdString()) != 0)
                return false;
            // The text: Exif has no type for language alternatives.
            const Exiv2::Value& text = alternatives;
            setString(key, QString::fromStdString(text.toString()));
            return true;
        });
}

void RKExiv2ExifData::setInt(const char* key, int value)
{
    setIntList(key, {value});
}

void RKExiv2ExifData::setIntList(const char* key, const QList<int>& values)
{
    if (values.isEmpty()) {
        removeKey(key);
        return;
    }
    QStringList texts;
    for (const int value : values)
        texts.append(QString::number(value));
    store(m_exifData,
        m_changedKeys,
        QStringLiteral("void RKExiv2ExifData::setIntList(const char *, const QList<int> &)"),
        key,
        texts.join(QLatin1Char(' ')),
        [&values](Exiv2::TypeId typeOfTag) { return RKExiv2IntegerType::of(typeOfTag, values); });
}

void RKExiv2ExifData::setRational(const char* key, const RKRational& value)
{
    const bool isSigned = value.numerator() < 0 || value.denominator() < 0;
    const QString text = QString::number(value.numerator()) + QLatin1Char('/')
        + QString::number(value.denominator());
    store(m_exifData,
        m_changedKeys,
        QStringLiteral("void RKExiv2ExifData::setRational(const char *, const RKRational &)"),
        key,
        text,
        [isSigned](Exiv2::TypeId typeOfTag) {
            return isSigned || typeOfTag == Exiv2::signedRational ? Exiv2::signedRational
                                                                  : Exiv2::unsignedRational;
        });
}

void RKExiv2ExifData::setDateTime(const char* key, const QDateTime& dateTime)
{
    const RKWallTime::Moment moment = RKWallTime::fromDateTime(dateTime);
    setString(key,
        moment.isValid() ? moment.date.toString(QStringLiteral("yyyy:MM:dd "))
                + moment.time.toString(QStringLiteral("hh:mm:ss"))
                         : QString());
}

void RKExiv2ExifData::setDateTime(const char* key, const char* offsetKey, const QDateTime& dateTime)
{
    setDateTime(key, dateTime);
    if (const QString offset = RKWallTime::offsetText(RKWallTime::fromDateTime(dateTime));
        !offset.isEmpty())
    {
        setString(offsetKey, offset);
        return;
    }
    removeEverywhere(offsetKey);
}

void RKExiv2ExifData::setRotation(RKImageOrientation orientation)
{
    setString("Exif.Image.Orientation", QString::number(orientation));
}

void RKExiv2ExifData::setGeoPosition(const RKGeoPosition& position)
{
    if (!position.isValid())
        return;
    const auto ref = [](const RKGeoArc& arc, QChar negative, QChar positive) {
        return QString(arc.degrees() < 0 ? negative : positive);
    };
    const RKGeoArc latitude = position.latitude();
    const RKGeoArc longitude = position.longitude();
    setString("Exif.GPSInfo.GPSLatitudeRef", ref(latitude, QLatin1Char('S'), QLatin1Char('N')));
    setString("Exif.GPSInfo.GPSLongitudeRef", ref(longitude, QLatin1Char('W'), QLatin1Char('E')));
    setString("Exif.GPSInfo.GPSLatitude", latitude.toExifRational());
    setString("Exif.GPSInfo.GPSLongitude", longitude.toExifRational());
}

void RKExiv2ExifData::removeGeoPosition()
{
    std::set<std::string> keys{"Exif.GPSInfo.GPSLatitude", "Exif.GPSInfo.GPSLongitude"};
    for (const Exiv2::Exifdatum& datum : m_exifData) {
        if (datum.groupName() == "GPSInfo" || datum.key() == "Exif.Image.GPSTag")
            keys.insert(datum.key());
    }
    for (const std::string& key : keys)
        removeEverywhere(key.c_str());
}

void RKExiv2ExifData::writeThumbnail(const QByteArray& jpeg)
{
    if (jpeg.isEmpty())
        return;
    const Exiv2::URational resolution(72, 1);
    constexpr quint16 kInch = 2;
    const auto* const bytes = reinterpret_cast<const Exiv2::byte*>(jpeg.constData());
    Exiv2::ExifThumb(m_exifData)
        .setJpegThumbnail(bytes, jpeg.size(), resolution, resolution, kInch);
    m_secondDirectoryIsPage = false;
    m_thumbnailChanged = true;
}

void RKExiv2ExifData::eraseThumbnail()
{
    if (m_secondDirectoryIsPage)
        return;
    Exiv2::ExifThumb(m_exifData).erase();
    m_thumbnailChanged = true;
}

void RKExiv2ExifData::adaptToPixels(const QSize& size)
{
    // A profile is the container's part, which stays; a TIFF-based file has it among its tags.
    // Readers that meet a type that there is not give up what follows it.
    eraseIf(m_exifData, [](const auto& datum) {
        return isInThumbnail(datum) || describesPixels(datum) || datum.key() == kProfileKey
            || (RKTiffType::sizeOf(quint16(datum.typeId())) == 0
                && !RKExiv2ExifMerge::isOfMakerNote(datum.groupName()));
    });
    m_secondDirectoryIsPage = false;
    m_thumbnailChanged = true;
    const auto adapt = [this](const char* key, int length) {
        if (findKey(key) != m_exifData.end())
            setInt(key, length);
    };
    adapt("Exif.Photo.PixelXDimension", size.width());
    adapt("Exif.Photo.PixelYDimension", size.height());
}

void RKExiv2ExifData::removeMakerNote()
{
    eraseIf(m_exifData, [](const Exiv2::Exifdatum& datum) {
        return datum.key() == "Exif.Photo.MakerNote"
            || RKExiv2ExifMerge::isOfMakerNote(datum.groupName());
    });
}

void RKExiv2ExifData::clearAllColorProfileData()
{
    for (const char* key : kColorKeys) {
        const auto datum = RKExiv2Library::valueOr(
            m_exifData.end(), [&] { return m_exifData.findKey(Exiv2::ExifKey(key)); });
        if (datum == m_exifData.end())
            continue;
        // The maker note of a target stays: only its maker can change one without a loss.
        if (!datum->key().starts_with("Exif.Canon."))
            m_removedKeys.push_back(datum->key());
        m_exifData.erase(datum);
    }
}

void RKExiv2ExifData::removeKey(const char* key)
{
    const auto datum = findKey(key);
    if (datum == m_exifData.end())
        return;
    const std::string name = datum->key();
    m_changedKeys.insert(name);
    eraseIf(m_exifData, [&name](const auto& other) { return other.key() == name; });
}

void RKExiv2ExifData::removeEverywhere(const char* key)
{
    removeKey(key);
    // Not held here does not mean that the target has none.
    m_changedKeys.insert(key);
    m_removedKeys.emplace_back(key);
}

const Exiv2::ExifData& RKExiv2ExifData::data() const
{
    return m_exifData;
}

void RKExiv2ExifData::takeOver(const std::set<Tag>& tags, const RKExiv2ExifData& other)
{
    const auto isTaken = [&](const Exiv2::Exifdatum& datum) {
        return !isInThumbnail(datum) && tags.count({datum.groupName(), datum.tag()}) != 0;
    };
    for (const Exiv2::Exifdatum& datum : m_exifData) {
        if (isTaken(datum))
            m_changedKeys.insert(datum.key());
    }
    eraseIf(m_exifData, isTaken);
    for (const Exiv2::Exifdatum& datum : other.m_exifData) {
        if (isTaken(datum)) {
            m_exifData.add(datum);
            m_changedKeys.insert(datum.key());
        }
    }
}
