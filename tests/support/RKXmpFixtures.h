#pragma once

#include "RKImageLoader/metadata/exiv2/RKExiv2Library_p.h"
#include "RKImageLoader/metadata/exiv2/RKExiv2XmpData_p.h"

#include <QWriteLocker>

#include <string>

/// XMP packets as texts, and what becomes of them.
namespace RKXmpFixtures {

/// A packet whose description has these attributes and properties.
inline std::string packetOf(const std::string& attributes, const std::string& properties)
{
    return "<x:xmpmeta xmlns:x=\"adobe:ns:meta/\">"
           "<rdf:RDF xmlns:rdf=\"http://www.w3.org/1999/02/22-rdf-syntax-ns#\"><rdf:Description "
        + attributes + ">" + properties + "</rdf:Description></rdf:RDF></x:xmpmeta>";
}

inline RKExiv2XmpData dataOf(const std::string& packet)
{
    RKExiv2XmpData data;
    if (!data.setXmpPacket(packet))
        qFatal("the test's packet is wrong");
    return data;
}

/// What a save makes of the data: exiv2 encodes its own form of them, which is read again. Empty
/// where exiv2 refuses one of both steps.
inline RKExiv2XmpData savedAndRead(const RKExiv2XmpData& data)
{
    const QWriteLocker locker(RKExiv2Library::xmpLock());
    RKExiv2Library::refreshNamespaces();
    Exiv2::XmpData decoded;
    std::string packet;
    RKExiv2XmpData read;
    if (Exiv2::XmpParser::decode(decoded, data.xmpPacket()) == 0
        && Exiv2::XmpParser::encode(packet, decoded) == 0)
        read.setXmpPacket(packet);
    return read;
}

} // namespace RKXmpFixtures
