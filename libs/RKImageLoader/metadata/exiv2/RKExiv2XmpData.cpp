#include "RKImageLoader/faces/RKFacePositions.h"
#include "RKImageLoader/metadata/exiv2/RKExiv2LanguageText_p.h"
#include "RKImageLoader/metadata/exiv2/RKExiv2Library_p.h"
#include "RKImageLoader/metadata/exiv2/RKExiv2XmpData_p.h"
#include "RKImageLoader/metadata/exiv2/RKXmpRegionsPacket_p.h"
#include "RKImageLoader/xmp/RKXmpLimits_p.h"
#include "RKImageLoader/xmp/RKXmpNamespaces_p.h"
#include "RKImageLoader/xmp/RKXmpPacketEditor_p.h"
#include "RKImageLoader/xmp/RKXmpPacketParser_p.h"

#include <QDebug>
#include <QWriteLocker>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <numeric>
#include <optional>
#include <set>
#include <tuple>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

namespace {

// As exiv2 itself encodes XMP when it writes an image. Padding 0 stands for the toolkit's default
// of about 2 KB, which counts.
constexpr auto kEncodeFlags = static_cast<uint16_t>(
    Exiv2::XmpParser::useCompactFormat | Exiv2::XmpParser::omitAllFormatting);
constexpr uint32_t kPadding = 0;

/// Where a key of a part of a structure or an array ("Xmp.dc.subject[1]/?xml:lang") branches off
/// its parent's key.
size_t branchOf(const std::string& key)
{
    return key.find_last_of("/[");
}

/// The key of the property that a key belongs to.
std::string propertyKey(const std::string& key)
{
    return key.substr(0, key.find_first_of("/["));
}

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

/// 0 on success. Everything else leaves the data alone.
int decode(const std::string& packet, Exiv2::XmpData* data)
{
    try {
        // The parser clears its target before it knows whether the packet is any good.
        Exiv2::XmpData decoded;
        if (const int failure = Exiv2::XmpParser::decode(decoded, packet); failure != 0)
            return failure;
        *data = std::move(decoded);
        return 0;
    } catch (const Exiv2::Error& error) {
        return RKExiv2Compat::errorNumber(error);
    } catch (const std::exception&) {
        return -1;
    }
}

/// False, and the packet left alone, for data that cannot be encoded.
bool encode(const Exiv2::XmpData& data, std::string* packet)
{
    return RKExiv2Library::valueOr(false,
        [&] { return Exiv2::XmpParser::encode(*packet, data, kEncodeFlags, kPadding) == 0; });
}

/// One of the prefixes is in the key: of the property, or of a part of it, as in
/// "Xmp.dc.subject[1]/?xml:lang".
bool usesPrefix(const Exiv2::Xmpdatum& datum, const std::set<std::string>& prefixes)
{
    if (prefixes.count(datum.groupName()) != 0)
        return true;
    const std::string key = datum.key();
    for (size_t at = key.find('/'); at != std::string::npos; at = key.find('/', at)) {
        at += key.compare(at, 2, "/?") == 0 ? 2 : 1;
        const size_t length = key.find(':', at) - at;
        if (prefixes.count(key.substr(at, length)) != 0)
            return true;
    }
    return false;
}

/// Decoding has put prefixes of this packet, or of another one, into the keys that are not those to
/// use: they are good only until the next file is read.
bool hasForeignKeys(
    const Exiv2::XmpData& data, const std::vector<RKXmpPacketParser::Namespace>& namespaces)
{
    if (namespaces.empty())
        return false;
    std::set<std::string> used;
    std::set<std::string> replaced;
    for (const RKXmpPacketParser::Namespace& declared : namespaces) {
        used.insert(declared.usedPrefix);
        // As the toolkit calls the default namespace.
        if (declared.usedPrefix != declared.declaredPrefix)
            replaced.insert(declared.declaredPrefix.empty() ? "_dflt_" : declared.declaredPrefix);
    }
    const auto& known = RKXmpNamespaces::known();
    return std::any_of(data.begin(), data.end(), [&](const Exiv2::Xmpdatum& datum) {
        const std::string group = datum.groupName();
        return usesPrefix(datum, replaced) || (known.count(group) == 0 && used.count(group) == 0);
    });
}

void registerForeign(const std::vector<RKXmpPacketParser::Namespace>& namespaces)
{
    for (const RKXmpPacketParser::Namespace& declared : namespaces) {
        if (declared.isForeign && !declared.usedPrefix.empty())
            RKExiv2Library::registerForeignNamespace(declared.uri, declared.usedPrefix);
    }
}

/// Decodes a packet with the prefixes to use (see RKXmpPacketParser), and changes the packet
/// likewise.
int decodeWithKnownPrefixes(std::string* packet, Exiv2::XmpData* data)
{
    // Before exiv2 registers those of the packet, which would take away others.
    const auto namespaces = RKXmpPacketParser::ownNamespaces(*packet);
    registerForeign(namespaces);
    if (const int failure = decode(*packet, data); failure != 0)
        return failure;
    RKXmpPacketParser parser;
    if (!hasForeignKeys(*data, namespaces) || !parser.parse(*packet))
        return 0;
    std::string renamed = RKXmpPacketParser::serialize(parser.document());
    RKExiv2Library::refreshNamespaces();
    if (decode(renamed, data) == 0)
        *packet = std::move(renamed);
    return 0;
}

std::string withoutTrailingNuls(const std::string& packet)
{
    return packet.substr(0, packet.find_last_not_of('\0') + 1);
}

/// The packet that an opened image's XMP was read from; empty without one.
std::string packetOf(const Exiv2::Image& image)
{
    const std::string packet = RKXmpPacketParser::inUtf8(image.xmpPacket());
    return packet.empty() ? RKXmpPacketParser::inUtf8(image.xmpData().xmpPacket()) : packet;
}

/// exiv2 could not decode the image's packet, and would drop it.
bool isUndecodable(const Exiv2::Image& image)
{
    const std::string packet = packetOf(image);
    Exiv2::XmpData scratch;
    return image.xmpData().empty() && !packet.empty() && decode(packet, &scratch) != 0;
}

using Contents = std::map<std::string, std::vector<std::tuple<std::string, int, std::string>>>;

/// All that belongs to each property.
Contents contentsOf(const Exiv2::XmpData& data)
{
    Contents contents;
    for (const Exiv2::Xmpdatum& datum : data) {
        const std::string text
            = RKExiv2Library::valueOr(std::string(), [&] { return datum.toString(); });
        contents[propertyKey(datum.key())].emplace_back(datum.key(), datum.typeId(), text);
    }
    return contents;
}

/// The keys of the properties in which the data differ.
std::vector<std::string> differences(const Exiv2::XmpData& left, const Exiv2::XmpData& right)
{
    Contents contents = contentsOf(left);
    std::vector<std::string> keys;
    for (const auto& [key, content] : contentsOf(right)) {
        const auto same = contents.find(key);
        if (same == contents.end() || same->second != content)
            keys.push_back(key);
        if (same != contents.end())
            contents.erase(same);
    }
    for (const auto& [key, content] : contents)
        keys.push_back(key);
    return keys;
}

RKXmpPacketEditor::Name nameOf(const std::string& propertyKey)
{
    const Exiv2::XmpKey key(propertyKey);
    return {
        RKXmpPacketEditor::withoutSlash(Exiv2::XmpProperties::ns(key.groupName())), key.tagName()};
}

/// The packet with its properties changed to those of the data, which are taken from a source that
/// has them. Nothing where exiv2 would not read the data from the result.
std::optional<std::string> edited(
    const std::string& packet, const Exiv2::XmpData& wanted, const std::string& source)
{
    return RKExiv2Library::valueOr(
        std::optional<std::string>(), [&]() -> decltype(edited({}, {}, {})) {
            std::string known = packet;
            Exiv2::XmpData held;
            if (decodeWithKnownPrefixes(&known, &held) != 0)
                return {};
            const RKXmpPacketEditor target(packet);
            const RKXmpPacketEditor editorOfSource(source);
            std::set<RKXmpPacketEditor::Name> names;
            for (const std::string& key : differences(held, wanted))
                names.insert(nameOf(key));
            if (names.empty())
                return packet;
            // An empty source has no properties: all that differ are removed.
            if (!target.isValid() || (!source.empty() && !editorOfSource.isValid()))
                return {};
            const std::string result = target.exchanged(names, editorOfSource);
            Exiv2::XmpData decoded;
            known = result;
            const bool isAsWanted = decodeWithKnownPrefixes(&known, &decoded) == 0
                && differences(decoded, wanted).empty();
            return isAsWanted ? std::optional(result) : std::nullopt;
        });
}

/// The keys without which exiv2 cannot encode a datum: the structure or array that it is part of,
/// and the element before it in an array.
std::vector<std::string> requiredKeys(const std::string& key)
{
    const size_t branch = branchOf(key);
    if (branch == std::string::npos)
        return {};
    std::vector<std::string> keys{key.substr(0, branch)};
    if (key[branch] == '[') {
        const long index = std::strtol(key.c_str() + branch + 1, nullptr, 10);
        keys.push_back(keys.front() + '[' + std::to_string(index - 1) + ']');
    }
    return keys;
}

/// For each datum its place in the order in which data are to go: largest first, later ones before
/// earlier ones; at the latest with what it needs.
std::vector<size_t> removalRanks(const Exiv2::XmpData& data)
{
    std::vector<qsizetype> sizes;
    for (const Exiv2::Xmpdatum& datum : data)
        sizes.push_back(RKExiv2Compat::size(datum));
    std::vector<size_t> order(sizes.size());
    std::iota(order.rbegin(), order.rend(), size_t(0));
    std::stable_sort(order.begin(), order.end(), [&sizes](size_t left, size_t right) {
        return sizes[left] > sizes[right];
    });
    std::vector<size_t> ranks(order.size());
    for (size_t rank = 0; rank < order.size(); ++rank)
        ranks[order[rank]] = rank;

    // What a datum needs comes before it, so that the ranks found so far are final.
    std::unordered_map<std::string, size_t> rankOfKey;
    size_t index = 0;
    for (const Exiv2::Xmpdatum& datum : data) {
        size_t& rank = ranks[index++];
        for (const std::string& key : requiredKeys(datum.key())) {
            if (const auto required = rankOfKey.find(key); required != rankOfKey.end())
                rank = std::min(rank, required->second);
        }
        rankOfKey.emplace(datum.key(), rank);
    }
    return ranks;
}

/// The data without the first ones to go.
Exiv2::XmpData withoutFirst(
    const Exiv2::XmpData& data, const std::vector<size_t>& ranks, size_t removed)
{
    size_t index = 0;
    return filtered(data, [&](const std::string&) { return ranks[index++] >= removed; });
}

void logRemoved(const Exiv2::XmpData& data, const std::vector<size_t>& ranks, size_t removed)
{
    std::vector<std::pair<size_t, QString>> gone;
    size_t index = 0;
    for (const Exiv2::Xmpdatum& datum : data) {
        if (const size_t rank = ranks[index++]; rank < removed)
            gone.emplace_back(rank, RKExiv2Compat::keyText(datum));
    }
    std::stable_sort(gone.begin(), gone.end(), [](const auto& left, const auto& right) {
        return left.first < right.first;
    });
    for (const auto& [rank, key] : gone)
        qWarning().noquote() << "xmpData is to large. Deleting the xmpData key" << key;
}

} // namespace

RKExiv2XmpData::RKExiv2XmpData() = default;

RKExiv2XmpData::RKExiv2XmpData(const RKExiv2ImagePtr& image)
    : m_data(image->xmpData())
    , m_packet(packetOf(*image))
{
    // A packet beyond the limits is not changed, whatever its keys.
    if (hasForeignKeys(m_data, RKXmpPacketParser::ownNamespaces(m_packet))
        && !RKXmpLimits::areExceededBy(m_packet))
        setXmpPacket(m_packet);
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
    m_changedKeys.insert(propertyKey(xmpKey.key()));
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

bool RKExiv2XmpData::setXmpPacket(const std::string& packet)
{
    std::string text = withoutTrailingNuls(packet);
    Exiv2::XmpData data;
    if (!text.empty()) {
        const QWriteLocker locker(RKExiv2Library::xmpLock());
        RKExiv2Library::refreshNamespaces();
        if (const int failure = decodeWithKnownPrefixes(&text, &data); failure != 0) {
            qWarning() << "setXmpPacket failed:" << failure;
            return false;
        }
    }
    for (const std::string& key : differences(m_data, data))
        m_changedKeys.insert(key);
    m_data = std::move(data);
    m_packet = std::move(text);
    m_changed = false;
    return true;
}

void RKExiv2XmpData::registerNamespaces() const
{
    // Other files may have bound its prefixes anew since it was read.
    registerForeign(RKXmpPacketParser::ownNamespaces(m_packet));
    Exiv2::XmpData scratch;
    if (!m_packet.empty())
        decode(m_packet, &scratch);
    RKExiv2Library::refreshNamespaces();
}

bool RKExiv2XmpData::currentPacket(std::string* packet) const
{
    if (!m_changed) {
        *packet = m_packet;
        return true;
    }
    const QWriteLocker locker(RKExiv2Library::xmpLock());
    registerNamespaces();
    if (encode(m_data, packet)) {
        *packet = edited(m_packet, m_data, *packet).value_or(*packet);
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
    return currentPacket(&packet) && regions.parseXmpData(packet) ? regions.faces()
                                                                  : RKFacePositions();
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
    registerNamespaces();
    std::string packet;
    encode(m_data, &packet);
    lines.append(QStringLiteral("XMP total size: %1 Bytes").arg(packet.size()));
    return lines;
}

/// Gives the image's XMP the keys that are used here. False for a packet that cannot be decoded,
/// which stays as it is.
bool RKExiv2XmpData::prepareTarget(Exiv2::Image& image) const
{
    if (isUndecodable(image)) {
        // exiv2 would write its empty data over the packet.
        image.writeXmpFromPacket(true);
        if (!m_data.empty())
            qWarning() << "XMP data of the image cannot be decoded and are left as they are";
        return false;
    }
    registerNamespaces();
    std::string packet = packetOf(image);
    const auto namespaces = RKXmpPacketParser::ownNamespaces(packet);
    registerForeign(namespaces);
    if (hasForeignKeys(image.xmpData(), namespaces))
        decodeWithKnownPrefixes(&packet, &image.xmpData());
    return true;
}

bool RKExiv2XmpData::mergeChangesTo(RKExiv2ImagePtr& image) const
{
    if (!canWriteTo(image))
        return false;
    if (!targetHasMostOf(m_data, image->xmpData()))
        return mergeTo(image);
    const QWriteLocker locker(RKExiv2Library::xmpLock());
    if (m_changedKeys.empty() || !prepareTarget(*image))
        return true;
    const auto isChanged
        = [this](const std::string& key) { return m_changedKeys.count(propertyKey(key)) != 0; };
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
        removeLargest(image->xmpData(), kJpegPacketLimit);
    return true;
}

std::optional<std::string> RKExiv2XmpData::editedPacketOf(const Exiv2::Image& image) const
{
    const std::string packet = packetOf(image);
    // The held packet has more of the held data than exiv2 knows; the other one has all that exiv2
    // has made of both.
    std::string own;
    currentPacket(&own);
    registerNamespaces();
    auto result = edited(packet.empty() ? own : packet, image.xmpData(), own);
    if (!result) {
        std::string all;
        if (!encode(image.xmpData(), &all))
            return {};
        result = packet.empty() ? all : edited(packet, image.xmpData(), all);
    }
    const bool fits
        = !RKExiv2Compat::isJpegFamily(image) || (result && result->size() < kJpegPacketLimit);
    return fits ? result : std::nullopt;
}

void RKExiv2XmpData::mergeInto(Exiv2::XmpData& target) const
{
    // Property by property: arrays and structures of two images must not mix.
    std::unordered_set<std::string> held(m_removedKeys.begin(), m_removedKeys.end());
    for (const Exiv2::Xmpdatum& datum : m_data)
        held.insert(propertyKey(datum.key()));
    Exiv2::XmpData merged = filtered(
        target, [&held](const std::string& key) { return held.count(propertyKey(key)) == 0; });
    for (const Exiv2::Xmpdatum& datum : m_data)
        merged.add(datum);
    target = merged;
}

void RKExiv2XmpData::removeKey(const char* key)
{
    if (!hasXMPKey(QLatin1String(key)))
        return;
    m_data = withoutProperty(m_data, key);
    m_changed = true;
    m_changedKeys.insert(propertyKey(key));
}

void RKExiv2XmpData::clear()
{
    m_data.clear();
    m_packet.clear();
    m_changed = false;
}

void RKExiv2XmpData::makeSureXmpDataIsLessThan64k(Exiv2::XmpData& data) const
{
    removeLargest(data, kPacketLimit);
}

void RKExiv2XmpData::removeLargest(Exiv2::XmpData& data, size_t limit) const
{
    std::string packet;
    bool encoded = encode(data, &packet);
    if (encoded && packet.size() < limit)
        return;

    // What goes next does not depend on what has gone, so that the least number of data to remove
    // can be searched for: a hostile file may have many thousands.
    const std::vector<size_t> ranks = removalRanks(data);
    size_t tooFew = 0;
    size_t enough = ranks.size();
    while (encoded && enough - tooFew > 1) {
        const size_t middle = tooFew + (enough - tooFew) / 2;
        encoded = encode(withoutFirst(data, ranks, middle), &packet);
        (packet.size() < limit ? enough : tooFew) = middle;
    }
    if (!encoded) {
        qWarning() << "failed to encode XMP data";
        return;
    }
    logRemoved(data, ranks, enough);
    data = withoutFirst(data, ranks, enough);
}
