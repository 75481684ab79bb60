#pragma once

#include "RKImageLoader/metadata/exiv2/RKExiv2Compat_p.h"
#include "RKImageLoader/xmp/RKXmpPacketParser_p.h"

#include <optional>
#include <string>
#include <vector>

/// Translates between XMP packets and exiv2's properties, with the prefixes that keys use, and
/// edits packets.
///
/// Unless stated otherwise the caller holds RKExiv2Library::xmpLock() exclusively.
class RKExiv2XmpPackets
{
public:
    RKExiv2XmpPackets() = delete;

    /// The packet that an opened image's XMP was read from; empty without one. Needs no lock.
    static std::string packetOf(const Exiv2::Image& image);
    /// exiv2 could not decode the image's packet, and would drop it.
    static bool isUndecodable(const Exiv2::Image& image);

    /// Decoding has put prefixes of this packet, or of another one, into the keys that are not
    /// those to use: they are good only until the next file is read. Needs no lock.
    static bool hasForeignKeys(
        const Exiv2::XmpData& data, const std::vector<RKXmpPacketParser::Namespace>& namespaces);
    /// Registers the namespaces that exiv2 does not know.
    static void registerForeign(const std::vector<RKXmpPacketParser::Namespace>& namespaces);
    /// Registers the namespaces of a packet again: other files may have bound its prefixes anew
    /// since it was read.
    static void registerNamespaces(const std::string& packet);

    /// Decodes a packet with the prefixes to use (see RKXmpPacketParser), and changes the packet
    /// likewise. 0 on success. Everything else leaves both alone.
    static int decodeWithKnownPrefixes(std::string* packet, Exiv2::XmpData* data);
    /// False, and the packet left alone, for data that cannot be encoded.
    static bool encode(const Exiv2::XmpData& data, std::string* packet);

    /// The key of the property that a key belongs to. Needs no lock.
    static std::string propertyKey(const std::string& key);
    /// The keys of the properties in which the data differ. Needs no lock.
    static std::vector<std::string> differences(
        const Exiv2::XmpData& left, const Exiv2::XmpData& right);
    /// The packet with its properties changed to those of the data, which are taken from a source
    /// that has them. Returns nullopt if exiv2 would not read the data from the result.
    static std::optional<std::string> edited(
        const std::string& packet, const Exiv2::XmpData& wanted, const std::string& source);
};
