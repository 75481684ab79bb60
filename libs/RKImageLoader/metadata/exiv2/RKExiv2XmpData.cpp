#include "RKImageLoader/faces/RKFacePositions.h"
#include "RKImageLoader/metadata/exiv2/RKExiv2LanguageText_p.h"
#include "RKImageLoader/metadata/exiv2/RKExiv2Library_p.h"
#include "RKImageLoader/metadata/exiv2/RKExiv2XmpData_p.h"
#include "RKImageLoader/metadata/exiv2/RKExiv2XmpPackets_p.h"
#include "RKImageLoader/metadata/exiv2/RKSizeLimit_p.h"
#include "RKImageLoader/metadata/exiv2/RKXmpRegions_p.h"
#include "RKImageLoader/xmp/RKXmpLimits_p.h"
#include "RKImageLoader/xmp/RKXmpPacketParser_p.h"

#include <QDebug>
#include <QWriteLocker>

#include <algorithm>
#include <optional>
#include <set>
#include <string_view>
#include <unordered_set>
#include <utility>

namespace {

Exiv2::XmpData::const_iterator find(const Exiv2::XmpData& data, const std::string& key)
{
    // Without XmpKey, which walks the registry of namespaces.
    return std::find_if(data.begin(), data.end(), [&key](const Exiv2::Xmpdatum& datum) {
        return datum.key() == key;
    });
}

/// What the function makes of the datum with that key; the fallback where there is none, or an
/// error.
template <typename Value, typename Function>
Value read(const Exiv2::XmpData& data, const char* key, Value fallback, Function function)
{
    return RKExiv2Library::valueOr(fallback, [&]() -> Value {
        const auto datum = find(data, key);
        return datum == data.end() ? fallback : function(*datum);
    });
}

/// The data that satisfy the condition, in order.
template <typename Condition>
Exiv2::XmpData filtered(const Exiv2::XmpData& data, Condition condition)
{
    Exiv2::XmpData kept;
    for (const Exiv2::Xmpdatum& datum : data) {
        if (condition(datum.key()))
            kept.add(datum);
    }
    return kept;
}

/// The data without a property, or part of one, and all that belongs to it.
Exiv2::XmpData withoutProperty(const Exiv2::XmpData& data, const std::string& key)
{
    return filtered(data, [&key](const std::string& other) {
        if (other.compare(0, key.size(), key) != 0)
            return true;
        return other.size() > key.size() && other[key.size()] != '/' && other[key.size()] != '[';
    });
}

/// Properties of Exif, and those of drones, whether by themselves or in a structure:
/// "Xmp.iptcExt.LocationCreated[1]/exif:GPSLatitude".
bool isOfGeoPosition(const std::string& key)
{
    const std::string name = key.substr(key.find_last_of(".:/") + 1);
    return name.compare(0, 3, "GPS") == 0 || name.compare(0, 3, "Gps") == 0;
}

/// Says where the bytes of one file lie: the rest of its XMP, the video of a motion photo, or a
/// gain map, by namespace and the start of a name. In another file it would lead nowhere, and hide
/// what that one has.
bool isOfOneFile(const std::string& key)
{
    constexpr std::pair<std::string_view, std::string_view> kNames[]
        = {{"http://ns.adobe.com/xmp/note/", "HasExtendedXMP"},
            {"http://ns.adobe.com/hdr-gain-map/1.0/", ""},
            {"http://ns.google.com/photos/1.0/container/", ""},
            {"http://ns.google.com/photos/1.0/camera/", "MicroVideo"},
            {"http://ns.google.com/photos/1.0/camera/", "MotionPhoto"}};
    return RKExiv2Library::valueOr(false, [&] {
        const Exiv2::XmpKey property(RKExiv2XmpPackets::propertyKey(key));
        const std::string uri = Exiv2::XmpProperties::ns(property.groupName());
        const std::string name = property.tagName();
        return std::any_of(std::begin(kNames), std::end(kNames), [&](const auto& known) {
            return uri == known.first && name.starts_with(known.second);
        });
    });
}

std::string withoutTrailingNuls(const std::string& packet)
{
    return packet.substr(0, packet.find_last_not_of('\0') + 1);
}

} // namespace

RKExiv2XmpData::RKExiv2XmpData() = default;

RKExiv2XmpData::RKExiv2XmpData(const RKExiv2ImagePtr& image)
    : m_data(image->xmpData())
    , m_packet(RKExiv2XmpPackets::packetOf(*image))
{
    // A packet beyond the limits is not changed, whatever its keys.
    if (RKExiv2XmpPackets::hasForeignKeys(m_data, RKXmpPacketParser::ownNamespaces(m_packet))
        && !RKXmpLimits::areExceededBy(m_packet))
        setXmpPacket(m_packet);
    // Other keys for the same properties.
    m_changedKeys.clear();
    m_changed = m_packet.empty() && !m_data.empty();
}

RKExiv2XmpData::~RKExiv2XmpData() = default;

Exiv2::MetadataId RKExiv2XmpData::supportedMetaData() const
{
    return Exiv2::mdXmp;
}

bool RKExiv2XmpData::hasXMPKey(const QString& key) const
{
    return find(m_data, key.toStdString()) != m_data.end();
}

int RKExiv2XmpData::readInt(const char* key) const
{
    return readIntList(key).value(0);
}

double RKExiv2XmpData::readReal(const char* key) const
{
    const QString text = readString(key);
    bool ok = false;
    const double number = text.toDouble(&ok);
    if (ok)
        return number;
    const double numerator = text.section(QLatin1Char('/'), 0, 0).toDouble();
    const double denominator = text.section(QLatin1Char('/'), 1).toDouble();
    return denominator != 0.0 ? numerator / denominator : 0.0;
}

QList<int> RKExiv2XmpData::readIntList(const char* key) const
{
    return read(m_data, key, QList<int>(), [](const Exiv2::Xmpdatum& datum) {
        QList<int> integers;
        for (qsizetype i = 0; i < RKExiv2Compat::count(datum); ++i)
            integers.append(static_cast<int>(RKExiv2Compat::toInt64(datum, i)));
        return integers;
    });
}

QString RKExiv2XmpData::readString(const char* key) const
{
    return read(m_data, key, QString(), [](const Exiv2::Xmpdatum& datum) {
        return QString::fromStdString(datum.toString());
    });
}

QStringList RKExiv2XmpData::readStringList(const char* key) const
{
    return read(m_data, key, QStringList(), [](const Exiv2::Xmpdatum& datum) {
        // A plain text counts its bytes.
        const Exiv2::TypeId type = datum.typeId();
        if (type != Exiv2::xmpBag && type != Exiv2::xmpSeq && type != Exiv2::xmpAlt)
            return QStringList{QString::fromStdString(datum.toString())};
        QStringList texts;
        for (qsizetype i = 0; i < RKExiv2Compat::count(datum); ++i)
            texts.append(QString::fromStdString(RKExiv2Compat::toString(datum, i)));
        return texts;
    });
}

QString RKExiv2XmpData::readStringWithLocale(const char* key) const
{
    return read(m_data, key, QString(), [](const Exiv2::Xmpdatum& datum) {
        return RKExiv2LanguageText::defaultText(datum.value());
    });
}

QDateTime RKExiv2XmpData::dateTime(const char* key) const
{
    return QDateTime::fromString(readString(key).trimmed(), Qt::ISODate);
}

int RKExiv2XmpData::adobeRating() const
{
    static constexpr char kRating[] = "Xmp.xmp.Rating";
    return hasXMPKey(QLatin1String(kRating)) ? readInt(kRating) : -1;
}

bool RKExiv2XmpData::store(const char* key, const Exiv2::Value& value)
{
    const Exiv2::XmpKey xmpKey(key);
    m_data = withoutProperty(m_data, xmpKey.key());
    m_changed = true;
    m_changedKeys.insert(RKExiv2XmpPackets::propertyKey(xmpKey.key()));
    return m_data.add(xmpKey, &value) == 0;
}

void RKExiv2XmpData::setString(const char* key, const QString& value)
{
    const QWriteLocker locker(RKExiv2Library::xmpLock());
    RKExiv2Library::change(
        QStringLiteral("void RKExiv2XmpData::setString(const char *, const QString &)"),
        key,
        value,
        [&] {
            RKExiv2Library::restoreKnownPrefixes();
            const auto parsed
                = RKExiv2Compat::makeValue(Exiv2::XmpProperties::propertyType(Exiv2::XmpKey(key)));
            if (parsed->read(RKXmpPacketParser::validText(value).toStdString()) != 0)
                return false;
            if (const auto old = find(m_data, key); old != m_data.end())
                RKExiv2LanguageText::addMissing(old->value(), parsed.get());
            return store(key, *parsed);
        });
}

void RKExiv2XmpData::setText(const char* key, const QString& value)
{
    const bool hasLanguages = RKExiv2Library::valueOr(false,
        [&] { return Exiv2::XmpProperties::propertyType(Exiv2::XmpKey(key)) == Exiv2::langAlt; });
    hasLanguages ? setStringWithLocale(key, value) : setString(key, value);
}

void RKExiv2XmpData::setStringWithLocale(const char* key, const QString& value)
{
    const QWriteLocker locker(RKExiv2Library::xmpLock());
    RKExiv2Library::change(
        QStringLiteral("void RKExiv2XmpData::setStringWithLocale(const char *, const QString &)"),
        key,
        value,
        [&] {
            RKExiv2Library::restoreKnownPrefixes();
            Exiv2::LangAltValue alternatives;
            if (const auto old = find(m_data, key); old != m_data.end()) {
                if (const auto* oldAlternatives
                    = dynamic_cast<const Exiv2::LangAltValue*>(&old->value()))
                    alternatives = *oldAlternatives;
            }
            alternatives.value_["x-default"] = RKXmpPacketParser::validText(value).toStdString();
            return store(key, alternatives);
        });
}

void RKExiv2XmpData::setStringList(const char* key, const QList<QString>& values)
{
    if (values.isEmpty()) {
        removeKey(key);
        // Not held here does not mean that the target has none.
        m_changedKeys.insert(key);
        m_removedKeys.insert(key);
        return;
    }
    const QWriteLocker locker(RKExiv2Library::xmpLock());
    RKExiv2Library::change(
        QStringLiteral("void RKExiv2XmpData::setStringList(const char *, const QList<QString> &)"),
        key,
        QStringList(values).join(QLatin1String(", ")),
        [&] {
            RKExiv2Library::restoreKnownPrefixes();
            const Exiv2::TypeId registered = Exiv2::XmpProperties::propertyType(Exiv2::XmpKey(key));
            const bool isArray = registered == Exiv2::xmpSeq || registered == Exiv2::xmpAlt;
            const auto array = RKExiv2Compat::makeValue(isArray ? registered : Exiv2::xmpBag);
            // Reading appends one element.
            for (const QString& value : values) {
                if (array->read(RKXmpPacketParser::validText(value).toStdString()) != 0)
                    return false;
            }
            return store(key, *array);
        });
}

void RKExiv2XmpData::setInt(const char* key, int value)
{
    setString(key, QString::number(value));
}

void RKExiv2XmpData::setReal(const char* key, double value)
{
    setString(key, QString::number(value, 'g', 15));
}

void RKExiv2XmpData::setIntList(const char* key, const QList<int>& values)
{
    const QWriteLocker locker(RKExiv2Library::xmpLock());
    RKExiv2Library::change(
        QStringLiteral("void RKExiv2XmpData::setIntList(const char *, QList<int>)"),
        key,
        QString(),
        [&] {
            RKExiv2Library::restoreKnownPrefixes();
            Exiv2::XmpArrayValue array(Exiv2::xmpSeq);
            for (const int value : values) {
                if (array.read(std::to_string(value)) != 0)
                    return false;
            }
            return store(key, array);
        });
}

void RKExiv2XmpData::setDateTime(const char* key, const QDateTime& value)
{
    const bool isWhole = value.time().msec() == 0;
    setString(key, value.toString(isWhole ? Qt::ISODate : Qt::ISODateWithMs));
}

void RKExiv2XmpData::removeGeoPosition()
{
    std::set<std::string> keys{"Xmp.exif.GPSLatitude", "Xmp.exif.GPSLongitude"};
    for (const Exiv2::Xmpdatum& datum : m_data) {
        if (isOfGeoPosition(datum.key()))
            keys.insert(datum.key());
    }
    for (const std::string& key : keys) {
        const std::string property = RKExiv2XmpPackets::propertyKey(key);
        m_data = withoutProperty(m_data, key);
        m_changed = true;
        m_changedKeys.insert(property);
        // A structure loses a part only.
        if (property == key)
            m_removedKeys.insert(key);
    }
}

bool RKExiv2XmpData::setXmpPacket(const std::string& packet)
{
    std::string text = withoutTrailingNuls(packet);
    Exiv2::XmpData data;
    if (!text.empty()) {
        const QWriteLocker locker(RKExiv2Library::xmpLock());
        RKExiv2Library::refreshNamespaces();
        if (const int failure = RKExiv2XmpPackets::decodeWithKnownPrefixes(&text, &data);
            failure != 0) {
            qWarning() << "setXmpPacket failed:" << failure;
            return false;
        }
    }
    for (const std::string& key : RKExiv2XmpPackets::differences(m_data, data))
        m_changedKeys.insert(key);
    m_data = std::move(data);
    m_packet = std::move(text);
    m_changed = false;
    return true;
}

bool RKExiv2XmpData::currentPacket(std::string* packet) const
{
    if (!m_changed) {
        *packet = m_packet;
        return true;
    }
    const QWriteLocker locker(RKExiv2Library::xmpLock());
    RKExiv2XmpPackets::registerNamespaces(m_packet);
    if (RKExiv2XmpPackets::encode(m_data, packet)) {
        *packet = RKExiv2XmpPackets::edited(m_packet, m_data, *packet).value_or(*packet);
        return true;
    }
    qWarning() << "failed to encode XMP data";
    return false;
}

std::string RKExiv2XmpData::xmpPacket() const
{
    std::string packet;
    currentPacket(&packet);
    return packet;
}

RKFacePositions RKExiv2XmpData::facePositions() const
{
    std::string packet;
    RKXmpRegionsPacket regions;
    return mayHaveRegions() && currentPacket(&packet) && regions.parseXmpData(packet)
        ? regions.faces()
        : RKFacePositions();
}

bool RKExiv2XmpData::mayHaveRegions() const
{
    return m_data.empty() || RKXmpRegions::containsXmpData(m_data);
}

QHash<QString, QString> RKExiv2XmpData::allData() const
{
    QHash<QString, QString> all;
    for (const Exiv2::Xmpdatum& datum : m_data) {
        all.insert(RKExiv2Compat::keyText(datum), RKExiv2Library::valueOr(QString(), [&] {
            return QString::fromStdString(datum.toString());
        }));
    }
    return all;
}

QHash<QString, QString> RKExiv2XmpData::interpretedData() const
{
    QHash<QString, QString> all;
    for (const Exiv2::Xmpdatum& datum : m_data) {
        const QString text = RKExiv2Library::valueOr(QString(), [&] {
            return datum.typeId() == Exiv2::langAlt && datum.count() == 1
                ? RKExiv2LanguageText::defaultText(datum.value())
                : QString::fromStdString(datum.toString());
        });
        if (!text.startsWith(QLatin1String("type=\"")))
            all.insert(RKExiv2Compat::keyText(datum), text);
    }
    return all;
}

QStringList RKExiv2XmpData::debugOutput() const
{
    QStringList lines;
    for (const Exiv2::Xmpdatum& datum : m_data) {
        const QString value = RKExiv2Library::valueOr(
            QString(), [&] { return QString::fromStdString(datum.toString()); });
        // XMP properties have no tag numbers.
        lines.append(QStringLiteral("%1 0x%2 %3 %4 Bytes  %5")
                         .arg(RKExiv2Compat::keyText(datum),
                             QStringLiteral("0000"),
                             QString::fromLatin1(datum.typeName()),
                             QString::number(RKExiv2Compat::size(datum)),
                             value));
    }
    const QWriteLocker locker(RKExiv2Library::xmpLock());
    RKExiv2XmpPackets::registerNamespaces(m_packet);
    std::string packet;
    RKExiv2XmpPackets::encode(m_data, &packet);
    lines.append(QStringLiteral("XMP total size: %1 Bytes").arg(packet.size()));
    return lines;
}

bool RKExiv2XmpData::prepareTarget(Exiv2::Image& image) const
{
    if (RKExiv2XmpPackets::isUndecodable(image)) {
        // exiv2 would write its empty data over the packet.
        image.writeXmpFromPacket(true);
        if (!m_data.empty())
            qWarning() << "XMP data of the image cannot be decoded and are left as they are";
        return false;
    }
    RKExiv2XmpPackets::registerNamespaces(m_packet);
    std::string packet = RKExiv2XmpPackets::packetOf(image);
    const auto namespaces = RKXmpPacketParser::ownNamespaces(packet);
    RKExiv2XmpPackets::registerForeign(namespaces);
    if (RKExiv2XmpPackets::hasForeignKeys(image.xmpData(), namespaces))
        RKExiv2XmpPackets::decodeWithKnownPrefixes(&packet, &image.xmpData());
    return true;
}

bool RKExiv2XmpData::mergeChangesTo(RKExiv2ImagePtr& image) const
{
    if (!canWriteTo(image))
        return false;
    // Under the same keys as the held ones.
    if (!targetHasMostOf(m_data, RKExiv2XmpData(image).m_data))
        return mergeTo(image);
    const QWriteLocker locker(RKExiv2Library::xmpLock());
    if (m_changedKeys.empty() || !prepareTarget(*image))
        return true;
    const auto isChanged = [this](const std::string& key) {
        return m_changedKeys.count(RKExiv2XmpPackets::propertyKey(key)) != 0;
    };
    Exiv2::XmpData merged
        = filtered(image->xmpData(), [&](const std::string& key) { return !isChanged(key); });
    for (const Exiv2::Xmpdatum& datum : m_data) {
        if (isChanged(datum.key()))
            merged.add(datum);
    }
    image->xmpData() = merged;
    return true;
}

bool RKExiv2XmpData::mergeTo(RKExiv2ImagePtr& image) const
{
    if (!canWriteTo(image))
        return false;

    const QWriteLocker locker(RKExiv2Library::xmpLock());
    if (!prepareTarget(*image))
        return true;
    mergeInto(image->xmpData());
    makeSureXmpDataIsLessThan64k(image->xmpData());
    if (RKExiv2Compat::isJpegFamily(*image))
        RKSizeLimit::removeLargest(image->xmpData(), kJpegPacketLimit);
    return true;
}

std::optional<std::string> RKExiv2XmpData::editedPacketOf(const Exiv2::Image& image) const
{
    const std::string packet = RKExiv2XmpPackets::packetOf(image);
    // The held packet has more of the held data than exiv2 knows; the other one has all that exiv2
    // has made of both.
    std::string own;
    currentPacket(&own);
    RKExiv2XmpPackets::registerNamespaces(m_packet);
    auto result = RKExiv2XmpPackets::edited(packet.empty() ? own : packet, image.xmpData(), own);
    if (!result) {
        std::string all;
        if (!RKExiv2XmpPackets::encode(image.xmpData(), &all))
            return {};
        result = packet.empty() ? all : RKExiv2XmpPackets::edited(packet, image.xmpData(), all);
    }
    const bool fits
        = !RKExiv2Compat::isJpegFamily(image) || (result && result->size() < kJpegPacketLimit);
    return fits ? result : std::nullopt;
}

void RKExiv2XmpData::mergeInto(Exiv2::XmpData& target) const
{
    // Property by property: arrays and structures of two images must not mix.
    const Exiv2::XmpData own
        = filtered(m_data, [](const std::string& key) { return !isOfOneFile(key); });
    std::unordered_set<std::string> held(m_removedKeys.begin(), m_removedKeys.end());
    for (const Exiv2::Xmpdatum& datum : own)
        held.insert(RKExiv2XmpPackets::propertyKey(datum.key()));
    Exiv2::XmpData merged = filtered(target, [&held](const std::string& key) {
        return held.count(RKExiv2XmpPackets::propertyKey(key)) == 0;
    });
    for (const Exiv2::Xmpdatum& datum : own)
        merged.add(datum);
    target = merged;
}

void RKExiv2XmpData::removeKey(const char* key)
{
    if (!hasXMPKey(QLatin1String(key)))
        return;
    m_data = withoutProperty(m_data, key);
    m_changed = true;
    m_changedKeys.insert(RKExiv2XmpPackets::propertyKey(key));
}

const Exiv2::XmpData& RKExiv2XmpData::data() const
{
    return m_data;
}

void RKExiv2XmpData::takeOver(const std::set<std::string>& properties, const RKExiv2XmpData& other)
{
    if (properties.empty())
        return;
    const QWriteLocker locker(RKExiv2Library::xmpLock());
    RKExiv2XmpPackets::registerNamespaces(other.m_packet);
    const auto isTaken = [&properties](const std::string& key) {
        return properties.count(RKExiv2XmpPackets::propertyKey(key)) != 0;
    };
    m_data = filtered(m_data, [&isTaken](const std::string& key) { return !isTaken(key); });
    for (const Exiv2::Xmpdatum& datum : other.m_data) {
        if (isTaken(datum.key()))
            m_data.add(datum);
    }
    m_changed = true;
    m_changedKeys.insert(properties.begin(), properties.end());
}

void RKExiv2XmpData::clear()
{
    m_data.clear();
    m_packet.clear();
    m_changed = false;
}

void RKExiv2XmpData::makeSureXmpDataIsLessThan64k(Exiv2::XmpData& data) const
{
    RKSizeLimit::removeLargest(data, kPacketLimit);
}
