// An XMP packet as a text, in which some properties are exchanged for those of another packet.
#include "Fuzzing.h"
#include "RKImageLoader/xmp/RKXmpLimits_p.h"
#include "RKImageLoader/xmp/RKXmpPacketEditor_p.h"
#include "RKImageLoader/xmp/RKXmpPacketParser_p.h"

#include <algorithm>
#include <string>

namespace {

const std::string kXmp = "http://ns.adobe.com/xap/1.0";

const RKXmpPacketEditor& source()
{
    static const RKXmpPacketEditor editor(
        "<x:xmpmeta xmlns:x='adobe:ns:meta/'>"
        "<rdf:RDF xmlns:rdf='http://www.w3.org/1999/02/22-rdf-syntax-ns#'>"
        "<rdf:Description rdf:about='' xmlns:xmp='http://ns.adobe.com/xap/1.0/' xmp:Rating='3'>"
        "<xmp:Label>red</xmp:Label></rdf:Description></rdf:RDF></x:xmpmeta>");
    return editor;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    const std::string packet = quietInput(bytes, size).toStdString();
    RKXmpPacketParser::ownNamespaces(packet);
    const std::string text = RKXmpPacketParser::inUtf8(packet);
    // Savers edit what could be read.
    if (RKXmpLimits::areExceededBy(text) || !RKXmpPacketParser().parse(text))
        return 0;
    const RKXmpPacketEditor before(packet);
    if (!before.isValid())
        return 0;
    const std::set<RKXmpPacketEditor::Name> names
        = {{kXmp, "Rating"}, {kXmp, "Label"}, {kXmp, "Nickname"}};
    const RKXmpPacketEditor after(before.exchanged(names, source()));
    if (!after.isValid())
        qFatal("the new packet can't be read");

    auto wanted = before.properties();
    auto got = after.properties();
    // New properties may have a description of their own.
    const RKXmpPacketEditor::Name about = {"http://www.w3.org/1999/02/22-rdf-syntax-ns#", "about"};
    wanted.erase(about);
    got.erase(about);
    for (const RKXmpPacketEditor::Name& name : names) {
        wanted.erase(name);
        if (got.count(name) != source().properties().count(name))
            qFatal("%s was not exchanged", name.name.c_str());
        got.erase(name);
    }
    const auto isSame = [](const auto& one, const auto& other) {
        return one.first.uri == other.first.uri && one.first.name == other.first.name
            && one.second == other.second;
    };
    if (!std::equal(got.begin(), got.end(), wanted.begin(), wanted.end(), isSame))
        qFatal("another property has changed");
    return 0;
}
