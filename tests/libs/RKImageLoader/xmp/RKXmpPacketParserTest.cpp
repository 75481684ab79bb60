#include "RKImageLoader/xmp/RKXmpLimits_p.h"
#include "RKImageLoader/xmp/RKXmpNamespaces_p.h"
#include "RKImageLoader/xmp/RKXmpPacketEditor_p.h"
#include "RKImageLoader/xmp/RKXmpPacketParser_p.h"
#include "support/RKQuietTest.h"
#include "support/RKTimeLimit.h"

#include <QStringEncoder>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

std::string repeated(const std::string& text, int count)
{
    std::string result;
    for (int i = 0; i < count; ++i)
        result += text;
    return result;
}

/// What the parser makes of a packet; empty for one that it refuses.
std::string parsed(const std::string& packet)
{
    RKXmpPacketParser parser;
    return parser.parse(packet) ? RKXmpPacketParser::serialize(parser.document()) : std::string();
}

/// The names and attributes of an element and of all in it; the attributes sorted, as their order
/// means nothing.
QString outline(const QDomElement& element)
{
    QStringList attributes;
    for (int i = 0; i < element.attributes().count(); ++i) {
        const QDomAttr attribute = element.attributes().item(i).toAttr();
        attributes.append(attribute.name() + QLatin1Char('=') + attribute.value());
    }
    attributes.sort();
    QString text = element.tagName() + QLatin1Char('[') + attributes.join(QLatin1Char(' '));
    for (QDomElement child = element.firstChildElement(); !child.isNull();
         child = child.nextSiblingElement())
        text += outline(child);
    return text + QLatin1Char(']');
}

QString refusal(const std::string& packet)
{
    RKXmpPacketParser parser;
    return parser.parse(packet) ? QString() : parser.errorMessage();
}

bool replacesPrefixes(const char* packet)
{
    const auto namespaces = RKXmpPacketParser::ownNamespaces(packet);
    return std::any_of(namespaces.begin(), namespaces.end(), [](const auto& declared) {
        return declared.usedPrefix != declared.declaredPrefix;
    });
}

} // namespace

class RKXmpPacketParserTest : public RKQuietTest
{
    Q_OBJECT

private Q_SLOTS:

    void initTestCase()
    {
        RKXmpNamespaces::setKnown({{"dc", "http://purl.org/dc/elements/1.1/"},
            {"iptcExt", "http://iptc.org/std/Iptc4xmpExt/2008-02-29/"},
            {"Iptc4xmpExt", "http://iptc.org/std/Iptc4xmpExt/2008-02-29/"},
            {"stArea", "http://ns.adobe.com/xmp/sType/Area#"},
            {"TAMO", "namespaceTAMO/"}});
    }

    void blanksAreKeptWhereTheyAreTheValue()
    {
        const std::string kept = "<r><a> </a><b>  <![CDATA[]]></b><c>x<!---->&#13;y</c></r>";
        QCOMPARE(
            parsed(" <r>\n <a> </a>\n <b>  <![CDATA[]]></b> <c>x<!---->&#13;y</c>\n</r>\n "), kept);
        // Took minutes.
        const std::string escaped = "<r>" + repeated("a&amp;", 1'000'000) + "</r>";
        const qint64 start = RKTimeLimit::worked();
        QVERIFY(parsed(escaped) == escaped);
        QVERIFY(RKTimeLimit::worked(start) < RKTimeLimit::milliseconds(10000));
    }

    void packetsAreLimited()
    {
        using Parser = RKXmpPacketParser;
        // 200 000 levels took minutes and would have overflowed the stack on a small one.
        const auto nested
            = [](int depth) { return repeated("<a>", depth) + repeated("</a>", depth); };
        const auto flat
            = [](int count) { return "<r b=''>" + repeated("<a b=\"\"/>", count) + "</r>"; };
        const auto attributes = [](int count, const std::string& value) {
            std::string packet = "<r><b";
            for (int i = 0; i < count; ++i)
                packet += " a" + std::to_string(i) + value;
            return packet + "/></r>";
        };
        const auto sized = [](size_t size) { return "<r>" + std::string(size - 7, 'x') + "</r>"; };
        constexpr int kMost = Parser::kMaxAttributes;
        const std::tuple<std::string, std::string, const char*> rows[]
            = {{nested(Parser::kMaxDepth),
                   nested(Parser::kMaxDepth + 1),
                   "elements are nested too deeply"},
                {"<r/>", nested(1'000'000), "elements are nested too deeply"},
                {flat(Parser::kMaxNodes / 2 - 1),
                    flat(Parser::kMaxNodes / 2),
                    "too many elements and attributes"},
                {attributes(kMost, "=\"\""),
                    attributes(kMost + 1, "=\"\""),
                    "an element has too many attributes"},
                {attributes(kMost, " = \n''"),
                    attributes(kMost + 1, " = \n''"),
                    "an element has too many attributes"},
                {sized(Parser::kMaxPacketSize),
                    sized(Parser::kMaxPacketSize + 1),
                    "the packet is too large"}};
        for (const auto& [good, bad, message] : rows) {
            QCOMPARE(refusal(good), QString());
            QCOMPARE(refusal(bad), QLatin1String(message));
        }
        QVERIFY(refusal("<r>" + std::string(10000, '=') + "</r>").isEmpty());
        // 16 MB of these took 800 MB.
        for (const char* node : {"<!---->", "<?a?>", "<![CDATA[]]>"})
            QVERIFY(!refusal("<r>" + repeated(node, Parser::kMaxNodes) + "</r>").isEmpty());
    }

    void documentTypesAreRefused()
    {
        // Entities of entities: 10^9 letters.
        std::string laughs = "<!DOCTYPE r [<!ENTITY a0 \"ha\">";
        for (int i = 1; i < 10; ++i)
            laughs += "<!ENTITY a" + std::to_string(i) + " \""
                + repeated("&a" + std::to_string(i - 1) + ";", 10) + "\">";
        laughs += "]><r>&a9;</r>";
        QCOMPARE(refusal(laughs), u"document type declaration in XMP"_s);
        QCOMPARE(refusal("<!DOCTYPE r><r/>"), u"document type declaration in XMP"_s);
    }

    void editorFollowsLimitedPackets()
    {
        const auto follows = [](int declarations, int descriptions) {
            std::string packet = "<rdf:RDF xmlns:rdf='http://www.w3.org/1999/02/22-rdf-syntax-ns#'";
            for (int i = 1; i < declarations; ++i)
                packet += " xmlns:a" + std::to_string(i) + "='b'";
            packet += '>';
            for (int i = 0; i < descriptions; ++i)
                packet += "<rdf:Description/>";
            return RKXmpPacketEditor(packet + "</rdf:RDF>").isValid();
        };
        QVERIFY(follows(1000, 1000));
        QVERIFY(!follows(1001, 1));
        QVERIFY(!follows(1, 1001));
        QVERIFY(!RKXmpPacketEditor("<rdf:RDF").isValid());
    }

    void packetsOfTooManyPropertiesAreNotChanged()
    {
        const auto exceeds = [](const std::string& start, const std::string& content) {
            return RKXmpLimits::areExceededBy("<rdf:RDF><rdf:Description" + start + ">" + content
                + "</rdf:Description></rdf:RDF>");
        };
        const std::string namespaces = repeated(" xmlns:a='b'", RKXmpLimits::kMaxDeclarations);
        QVERIFY(!exceeds(namespaces, {}));
        QVERIFY(exceeds(namespaces + " xmlns:b = \">\"", {}));
        const std::string fields = repeated("<d:a/>", RKXmpLimits::kMaxFields);
        QVERIFY(!exceeds({}, fields));
        QVERIFY(exceeds(" d:a='/>'", fields));
        QVERIFY(exceeds({}, fields + "</rdf:Description><rdf:Description>" + fields));
        // The elements of an array are no fields.
        const int elements = RKXmpLimits::kMaxNodes - 3;
        QVERIFY(!exceeds({}, "<d:a>" + repeated("<rdf:li>a</rdf:li>", elements) + "</d:a>"));
        QVERIFY(exceeds(" d:b=''", "<d:a>" + repeated("<rdf:li/>", elements) + "</d:a>"));
    }

    void packetsInUtf16AreFollowed()
    {
        const QString packet
            = u"<x xmlns='u'><rdf:RDF xmlns:rdf='http://www.w3.org/1999/02/22-rdf-syntax-ns#'>"
              "<rdf:Description about='é'><a>ü</a></rdf:Description></rdf:RDF></x>"_s;
        const std::string utf8 = packet.toStdString();
        QVERIFY(RKXmpPacketEditor(utf8).isValid());
        for (const auto encoding : {QStringConverter::Utf16BE, QStringConverter::Utf16LE}) {
            const QByteArray bytes = QStringEncoder(encoding).encode(packet);
            QCOMPARE(RKXmpPacketParser::inUtf8(bytes.toStdString() + std::string(4, 0)), utf8);
            QCOMPARE(RKXmpPacketEditor(bytes.toStdString()).properties().begin()->second,
                RKXmpPacketEditor(utf8).properties().begin()->second);
        }
    }

    void prefixesBecomeTheKnownOnes()
    {
        // And what becomes of them; null: nothing.
        const std::pair<const char*, const char*> packets[] = {
            // Known.
            {"<dc:a xmlns:dc=\"http://purl.org/dc/elements/1.1/\"/>", nullptr},
            // Unknown.
            {"<q:a xmlns:q=\"http://q/\" q:b=\"\"><r:c/></q:a>", nullptr},
            // Ours without slash.
            {"<TAMO:a xmlns:TAMO=\"namespaceTAMO\"/>", nullptr},
            // Second prefix of a namespace.
            {"<iptcExt:a xmlns:iptcExt=\"http://iptc.org/std/Iptc4xmpExt/2008-02-29/\"/>",
                "<Iptc4xmpExt:a xmlns:Iptc4xmpExt=\"http://iptc.org/std/Iptc4xmpExt/2008-02-29/\"/>"},
            // Another one.
            {"<q:a xmlns:q=\"http://purl.org/dc/elements/1.1/\" q:b='q:c'><q:d/></q:a>",
                "<dc:a dc:b=\"q:c\" xmlns:dc=\"http://purl.org/dc/elements/1.1/\"><dc:d/></dc:a>"},
            // Default namespace.
            {"<a xmlns=\"http://purl.org/dc/elements/1.1/\"><b xmlns=\"\"/><c d=\"\"/></a>",
                "<dc:a xmlns:dc=\"http://purl.org/dc/elements/1.1/\"><b xmlns=\"\"/><dc:c d=\"\"/></dc:a>"},
            // Scopes.
            {"<r><q:a xmlns:q=\"http://purl.org/dc/elements/1.1/\"><q:b xmlns:q=\"http://q/\"/>"
             "<q:c/></q:a><q:d/></r>",
                "<r><dc:a xmlns:dc=\"http://purl.org/dc/elements/1.1/\"><q:b xmlns:q=\"http://q/\"/>"
                "<dc:c/></dc:a><q:d/></r>"},
            // Known prefix of another namespace.
            {"<dc:a xmlns:dc=\"http://r/\" dc:b=\"\"/>",
                "<dc0:a dc0:b=\"\" xmlns:dc0=\"http://r/\"/>"},
            // An unknown namespace that has had a prefix, one that has had another namespace, and
            // both.
            {"<r:a xmlns:r=\"http://q/\"/>", "<q:a xmlns:q=\"http://q/\"/>"},
            {"<q:a xmlns:q=\"http://s/\"/>", "<q0:a xmlns:q0=\"http://s/\"/>"},
            {"<q:a xmlns:q=\"http://s\" xmlns:s=\"http://q/\" s:b=\"\"/>",
                "<q0:a xmlns:q0=\"http://s\" xmlns:q=\"http://q/\" q:b=\"\"/>"},
            // Outdated namespace of regions.
            {"<stArea:a xmlns:stArea=\"http://ns.adobe.com/xap/1.0/sType/Area#\"/>", nullptr},
        };
        for (const auto& [packet, changed] : packets) {
            const char* const expected = changed ? changed : packet;
            QDomDocument wanted;
            QVERIFY(wanted.setContent(QByteArray(expected)));
            RKXmpPacketParser parser;
            QVERIFY(parser.parse(packet));
            QCOMPARE(
                outline(parser.document().documentElement()), outline(wanted.documentElement()));
            QCOMPARE(replacesPrefixes(packet), changed != nullptr);
            QVERIFY(!replacesPrefixes(expected));
        }
        // More namespaces under one prefix than are remembered; took a minute.
        std::string packet = "<r>";
        for (int i = 0; i < RKXmpPacketParser::kMaxNodes / 2 - 1; ++i)
            packet += "<a:b xmlns:a=\"u" + std::to_string(i) + "\"/>";
        const qint64 start = RKTimeLimit::worked();
        QVERIFY(refusal(packet + "</r>").isEmpty());
        QVERIFY(RKTimeLimit::worked(start) < RKTimeLimit::milliseconds(10000));
    }

    void validTextHasAPlaceInXml()
    {
        const QString good = u"a\t\n\r \u0085é\uFFFD\U0001F600"_s;
        QCOMPARE(RKXmpPacketParser::validText(good), good);
        const QString bad = QString(QChar(0)) + QChar(0x1F) + QChar(0xFFFE) + QChar(0xDE00)
            + QChar(0xD83D) + QLatin1Char('x') + QChar(0xD83D);
        QCOMPARE(RKXmpPacketParser::validText(bad), u"  \uFFFD\uFFFD\uFFFDx\uFFFD"_s);
    }
};

QTEST_APPLESS_MAIN(RKXmpPacketParserTest)

#include "RKXmpPacketParserTest.moc"
