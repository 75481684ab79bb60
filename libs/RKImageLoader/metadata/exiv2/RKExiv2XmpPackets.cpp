#include "RKImageLoader/metadata/exiv2/RKExiv2Library_p.h"
#include "RKImageLoader/metadata/exiv2/RKExiv2XmpPackets_p.h"
#include "RKImageLoader/xmp/RKXmpNamespaces_p.h"
#include "RKImageLoader/xmp/RKXmpPacketEditor_p.h"

#include <algorithm>
#include <map>
#include <set>
#include <tuple>
#include <utility>

namespace {

// As exiv2 itself encodes XMP when it writes an image. Padding 0 stands for the toolkit's default
// of about 2 KB, which counts.
constexpr auto kEncodeFlags = static_cast<uint16_t>(
    Exiv2::XmpParser::useCompactFormat | Exiv2::XmpParser::omitAllFormatting);
constexpr uint32_t kPadding = 0;

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

using Contents = std::map<std::string, std::vector<std::tuple<std::string, int, std::string>>>;

/// All that belongs to each property.
Contents contentsOf(const Exiv2::XmpData& data)
{
    Contents contents;
    for (const Exiv2::Xmpdatum& datum : data) {
        const std::string text
            = RKExiv2Library::valueOr(std::string(), [&] { return datum.toString(); });
        contents[RKExiv2XmpPackets::propertyKey(datum.key())].emplace_back(
            datum.key(), datum.typeId(), text);
    }
    return contents;
}

RKXmpPacketEditor::Name nameOf(const std::string& propertyKey)
{
    const Exiv2::XmpKey key(propertyKey);
    return {
        RKXmpPacketEditor::withoutSlash(Exiv2::XmpProperties::ns(key.groupName())), key.tagName()};
}

} // namespace

std::string RKExiv2XmpPackets::packetOf(const Exiv2::Image& image)
{
    const std::string packet = RKXmpPacketParser::inUtf8(image.xmpPacket());
    return packet.empty() ? RKXmpPacketParser::inUtf8(image.xmpData().xmpPacket()) : packet;
}

bool RKExiv2XmpPackets::isUndecodable(const Exiv2::Image& image)
{
    const std::string packet = packetOf(image);
    Exiv2::XmpData scratch;
    return image.xmpData().empty() && !packet.empty() && decode(packet, &scratch) != 0;
}

bool RKExiv2XmpPackets::hasForeignKeys(
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

void RKExiv2XmpPackets::registerForeign(const std::vector<RKXmpPacketParser::Namespace>& namespaces)
{
    for (const RKXmpPacketParser::Namespace& declared : namespaces) {
        if (declared.isForeign && !declared.usedPrefix.empty())
            RKExiv2Library::registerForeignNamespace(declared.uri, declared.usedPrefix);
    }
}

void RKExiv2XmpPackets::registerNamespaces(const std::string& packet)
{
    registerForeign(RKXmpPacketParser::ownNamespaces(packet));
    Exiv2::XmpData scratch;
    if (!packet.empty())
        decode(packet, &scratch);
    RKExiv2Library::refreshNamespaces();
}

int RKExiv2XmpPackets::decodeWithKnownPrefixes(std::string* packet, Exiv2::XmpData* data)
{
    // Before exiv2 registers those of the packet, which would take away others.
    const auto namespaces = RKXmpPacketParser::ownNamespaces(*packet);
    registerForeign(namespaces);
    if (const int failure = decode(*packet, data); failure != 0)
        return failure;
    // exiv2 finds nothing where RDF itself has another prefix than "rdf".
    const bool isRead = !data->empty() || namespaces.empty();
    RKXmpPacketParser parser;
    if ((isRead && !hasForeignKeys(*data, namespaces)) || !parser.parse(*packet))
        return 0;
    std::string renamed = RKXmpPacketParser::serialize(parser.document());
    RKExiv2Library::refreshNamespaces();
    if (decode(renamed, data) == 0)
        *packet = std::move(renamed);
    return 0;
}

bool RKExiv2XmpPackets::encode(const Exiv2::XmpData& data, std::string* packet)
{
    return RKExiv2Library::valueOr(false,
        [&] { return Exiv2::XmpParser::encode(*packet, data, kEncodeFlags, kPadding) == 0; });
}

std::string RKExiv2XmpPackets::propertyKey(const std::string& key)
{
    return key.substr(0, key.find_first_of("/["));
}

std::vector<std::string> RKExiv2XmpPackets::differences(
    const Exiv2::XmpData& left, const Exiv2::XmpData& right)
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

std::optional<std::string> RKExiv2XmpPackets::edited(
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
