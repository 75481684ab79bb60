#include "RKImageLoader/faces/RKFacePositions.h"
#include "RKImageLoader/metadata/RKExiv2Wrapper.h"
#include "RKImageLoader/metadata/RKMetaDataField.h"
#include "RKImageLoader/metadata/exiv2/RKExiv2LanguageText_p.h"
#include "RKImageLoader/metadata/exiv2/RKExiv2SegmentProbe_p.h"
#include "RKImageLoader/metadata/exiv2/RKExiv2XmpData_p.h"
#include "RKImageLoader/metadata/exiv2/RKXmpRegions_p.h"
#include "support/RKMetadataFixtures.h"
#include "support/RKQuietTest.h"
#include "support/RKTimeLimit.h"
#include "support/RKXmpFixtures.h"

#include <QStringEncoder>
#include <QTimeZone>

using namespace RKMetadataFixtures;
using namespace RKXmpFixtures;
using namespace Qt::StringLiterals;

namespace {

const QString kTooLarge = u"xmpData is to large. Deleting the xmpData key "_s;
constexpr auto kFlags = static_cast<uint16_t>(2112);
const std::string kDublinCore = "http://purl.org/dc/elements/1.1/";

std::string dublinCore(const std::string& properties)
{
    return packetOf("xmlns:dc=\"" + kDublinCore + "\"", properties);
}

/// A JPEG with the packet, byte by byte.
QByteArray jpegWith(const std::string& packet)
{
    return withMetadata(imageFile("JPEG"), [&packet](Exiv2::Image& image) {
        image.writeXmpFromPacket(true);
        image.xmpPacket() = packet;
    });
}

/// The file after the data were merged into it.
QByteArray saved(const RKExiv2XmpData& data, const QByteArray& file)
{
    const QWriteLocker locker(RKExiv2Library::xmpLock());
    RKExiv2ImagePtr image = open(file);
    if (!data.mergeTo(image))
        return QByteArray();
    RKExiv2Library::refreshNamespaces();
    return write(*image);
}

RKExiv2XmpData dataIn(const QByteArray& file)
{
    return RKExiv2XmpData(open(file));
}

/// The data with faces in an image of 100 x 100 pixels.
RKExiv2XmpData withFaces(RKExiv2XmpData data, int count)
{
    const QSize size(100, 100);
    RKFacePositions faces;
    for (int i = 0; i < count; ++i)
        faces.add(RKFacePositions(size, QRect(i * 30, 10, 20, 20), faceDetectionEngineHP));
    if (!RKXmpRegions().expandFaces(&data, size, faces))
        qFatal("the faces are refused");
    return data;
}

size_t encodedSize(const Exiv2::XmpData& data)
{
    std::string packet;
    return Exiv2::XmpParser::encode(packet, data, kFlags, 0) == 0 ? packet.size() : 0;
}

} // namespace

class RKExiv2XmpDataTest : public RKQuietTest
{
    Q_OBJECT

private Q_SLOTS:

    void numbersReadFromAnyText()
    {
        constexpr std::pair<const char*, int> kRows[] = {{"-1", -1},
            {"3.7", 3},
            {"abc", 0},
            {"True", 1},
            {"", 0},
            {"1625400000000", 1902362112}};
        RKExiv2XmpData data;
        QCOMPARE(data.readInt("Xmp.xmp.Rating"), 0);
        QCOMPARE(data.adobeRating(), -1);
        for (const auto& [text, number] : kRows) {
            data.setString("Xmp.xmp.Rating", QLatin1String(text));
            QCOMPARE(data.readInt("Xmp.xmp.Rating"), number);
        }
        constexpr std::pair<const char*, double> kReals[]
            = {{"0.1", 0.1}, {"28/10", 2.8}, {"28/0", 0}};
        for (const auto& [text, number] : kReals) {
            data.setString("Xmp.exif.FNumber", QLatin1String(text));
            QCOMPARE(data.readReal("Xmp.exif.FNumber"), number);
        }
    }

    void languageAlternativesReadWithoutMarkers()
    {
        RKExiv2XmpData data = dataOf(dublinCore(
            "<dc:title><rdf:Alt><rdf:li xml:lang=\"x-default\">Hello, you</rdf:li>"
            "<rdf:li xml:lang=\"de-DE\">Hallo</rdf:li></rdf:Alt></dc:title>"
            "<dc:rights><rdf:Alt><rdf:li xml:lang=\"fr\">à moi</rdf:li></rdf:Alt></dc:rights>"
            "<dc:source>lang=\"x-default\" plain, lang=\"x-repair\" rest</dc:source>"));
        QCOMPARE(data.readStringWithLocale("Xmp.dc.title"), u"Hello, you"_s);
        QCOMPARE(data.readStringWithLocale("Xmp.dc.rights"), u"à moi"_s);
        QCOMPARE(data.readStringWithLocale("Xmp.dc.source"), u"plain"_s);
        QCOMPARE(RKExiv2LanguageText::defaultText(u"lang=\"odd"_s), u"lang=\"odd"_s);

        data.setString("Xmp.dc.title", u"Servus"_s);
        QVERIFY(data.readString("Xmp.dc.title").contains(QLatin1String("Servus")));
        QVERIFY(data.readString("Xmp.dc.title").contains(QLatin1String("lang=\"de-DE\" Hallo")));
        data.setStringWithLocale("Xmp.dc.title", u"lang=Bye"_s);
        const RKExiv2XmpData read = dataOf(data.xmpPacket());
        QCOMPARE(read.readStringWithLocale("Xmp.dc.title"), u"lang=Bye"_s);
        QVERIFY(read.readString("Xmp.dc.title").contains(QLatin1String("lang=\"de-DE\" Hallo")));
    }

    void changesBeforeAFaceUpdateAreKept()
    {
        RKExiv2XmpData data = dataOf(dublinCore("<dc:source>s</dc:source>"));
        data.setInt("Xmp.xmp.Rating", 4);
        data.setString("Xmp.TAMO.IsFilmStrip", u"1"_s);
        data = withFaces(data, 1);
        data.setInt("Xmp.TAMO.Rating", 2);
        const RKExiv2XmpData read = dataIn(saved(data, imageFile("JPEG")));
        QCOMPARE(read.adobeRating(), 4);
        QCOMPARE(read.readString("Xmp.TAMO.IsFilmStrip"), u"1"_s);
        QCOMPARE(read.readInt("Xmp.TAMO.Rating"), 2);
        QCOMPARE(read.facePositions().count(), 1);
    }

    void failedPacketKeepsTheOldData()
    {
        const std::string packets[] = {"text",
            packetOf("", "<dc:source>x</dc:source>"),
            dublinCore("<dc:source dc:format=\"x\"><dc:format>y</dc:format></dc:source>"),
            "<!DOCTYPE x [<!ENTITY a \"b\">]>" + dublinCore("<dc:source>&a;</dc:source>")};
        RKExiv2XmpData data = dataOf(dublinCore("<dc:source>s</dc:source>"));
        data.setInt("Xmp.xmp.Rating", 4);
        const QHash<QString, QString> before = data.allData();
        for (const std::string& packet : packets) {
            QTest::ignoreMessage(
                QtWarningMsg, QRegularExpression(u"^setXmpPacket failed: -?\\d+$"_s));
            QVERIFY2(!data.setXmpPacket(packet), packet.c_str());
            QCOMPARE(data.allData(), before);
            QCOMPARE(dataOf(data.xmpPacket()).allData(), before);
        }
    }

    void changedPropertyLeavesTheRestOfThePacket()
    {
        // The rating in every spelling, beside something that exiv2 does not keep.
        const std::string kept = "<!-- <xmp:Rating> -->";
        const std::string remark = kept + "<k:k xmlns:k='http://k/'></k:k>";
        const std::string xmp = "xmlns:xmp='http://ns.adobe.com/xap/1.0/'";
        const std::string description = "</rdf:Description><rdf:Description rdf:about='' ";
        const std::string packets[] = {
            packetOf(xmp + " xmp:Rating = '1' xmp:Label=\"a > 'b' &amp; &quot;\"", remark),
            packetOf(
                xmp, remark + "<xmp:Rating>1</xmp:Rating><xmp:Label><![CDATA[<]]></xmp:Label>"),
            packetOf("", remark + description + xmp + ">" + "<xmp:Rating\n>1</xmp:Rating>"),
            packetOf("", remark + description + xmp + " xmp:Rating='1'>"),
            packetOf("", remark + "<q:Rating xmlns:q='http://ns.adobe.com/xap/1.0/'>1</q:Rating>"),
            packetOf("", remark + "<Rating xmlns='http://ns.adobe.com/xap/1.0/'>1</Rating>"),
            packetOf(
                "rdf:about='\"&amp;' xmlns:q='http://ns.adobe.com/xap/1.0/' q:Rating='1'", remark),
            packetOf(xmp + " xmlns:TAMO='namespaceTAMO' TAMO:Rating='2'",
                remark
                    + "<xmp:Rating rdf:parseType='Resource'><rdf:value>1</rdf:value></xmp:Rating>"),
            packetOf(
                xmp + " xmlns:q='http://q/'", remark + "<q:a xmlns:xmp='http://r/' xmp:b='1'/>"),
            packetOf(xmp + " xmlns:dc='http://q/' xmp:Rating='1'", remark),
            packetOf(xmp + " xmlns:dc='http://q/' xmp:Rating='1' dc:source='other'", remark),
            packetOf("xmlns:q='http://purl.org/dc/elements/1.1/' q:source='1'",
                remark + "<q:Rating xmlns:q='http://ns.adobe.com/xap/1.0/'>1</q:Rating>"),
        };
        const QString source = u"<ä & \"b\" ']]>"_s;
        for (const std::string& packet : packets) {
            RKExiv2XmpData data = dataOf(packet);
            data.setInt("Xmp.xmp.Rating", 4);
            data.setInt("Xmp.TAMO.Rating", 3);
            data.setString("Xmp.dc.source", source);
            const std::string changed = data.xmpPacket();
            QVERIFY2(changed.find(kept) != std::string::npos, packet.c_str());
            const RKExiv2XmpData read = dataOf(changed);
            QCOMPARE(read.readInt("Xmp.xmp.Rating"), 4);
            QCOMPARE(read.readInt("Xmp.TAMO.Rating"), 3);
            QCOMPARE(read.readString("Xmp.dc.source"), source);
            QCOMPARE(read.allData(), data.allData());
        }
    }

    void aNamespaceMayHaveOtherPrefixesInOtherFiles()
    {
        // As in photographs with a gain map: a structure of two namespaces that exiv2 does not
        // know.
        const std::pair<const char*, const char*> prefixes[] = {
            {"a", "b"}, {"b", "a"}, {"c", "b"}, {"a", "d"}, {"dc", "a"}, {"b", "dc"}, {"a", "b"}};
        QHash<QString, QString> keys;
        QByteArray other = imageFile("JPEG");
        for (const auto& [outer, inner] : prefixes) {
            const QString structure
                = u"<%1:S rdf:parseType='Resource'><%2:P>v</%2:P>"
                  "<%1:Q %2:R='w'/></%1:S>"_s.arg(QLatin1String(outer), QLatin1String(inner));
            const QString declarations = u"xmlns:%1='http://a/' xmlns:%2='http://b/'"_s.arg(
                QLatin1String(outer), QLatin1String(inner));
            const std::string original
                = packetOf(declarations.toStdString(), structure.toStdString());
            RKExiv2XmpData data = dataOf(original);
            // exiv2 reads a file that binds the prefixes to other namespaces.
            open(jpegWith(packetOf("xmlns:a='http://c/' xmlns:b='http://a/' xmlns:c='http://b/'",
                "<a:S>1</a:S><b:S>1</b:S><c:S>1</c:S>")));
            data.setInt("Xmp.xmp.Rating", 4);
            if (keys.isEmpty())
                keys = data.allData();
            QCOMPARE(data.allData(), keys);
            QCOMPARE(dataOf(data.xmpPacket()).allData(), keys);
            // Into a file that calls them otherwise.
            QCOMPARE(dataIn(saved(data, other)).allData(), keys);
            other = jpegWith(original);
            // Its own file keeps its prefixes.
            const QWriteLocker locker(RKExiv2Library::xmpLock());
            RKExiv2ImagePtr own = open(other);
            QVERIFY(data.mergeTo(own));
            const std::string packet = data.editedPacketOf(*own).value_or(std::string());
            QVERIFY(packet.find(structure.toStdString()) != std::string::npos);
        }
    }

    // Bytes after the end, UTF-16 that begins with the lower byte, and RDF by another name.
    void packetsThatExiv2RefusesAreRead()
    {
        const std::string packet = "<?xpacket begin=\"\" id=\"W5M0MpCehiHzreSzNTczkc9d\"?>"
            + packetOf("xmlns:xmp=\"http://ns.adobe.com/xap/1.0/\" xmp:Rating=\"4\"", "")
            + "<?xpacket end=\"w\"?>";
        const QByteArray utf16
            = QStringEncoder(QStringConverter::Utf16LE)(QString::fromStdString(packet));
        for (const std::string& refused : {packet + "xyz",
                 packet + "<a/><b>",
                 packet + "\x1c\x02\x50",
                 utf16.toStdString(),
                 QByteArray::fromStdString(packet)
                     .replace("rdf:", "r:")
                     .replace(":rdf=", ":r=")
                     .toStdString()})
        {
            QByteArray file = jpegWith(refused);
            QCOMPARE(RKExiv2Wrapper(file).adobeRating(), 4);
            RKExiv2Wrapper changed(file);
            changed.setTamoRating(2);
            QBuffer buffer(&file);
            QVERIFY(changed.save(&buffer));
            QCOMPARE(RKExiv2Wrapper(file).adobeRating(), 4);
            QCOMPARE(RKExiv2Wrapper(file).tamoRating(), 2);
        }
    }

    void onlyPicturesWithoutXmpAreReadWithoutTheLock()
    {
        const auto mayHaveXmp = [](const QByteArray& file) {
            return RKExiv2SegmentProbe(*RKExiv2Compat::openMemory(file)).mayHaveXmp();
        };
        const QByteArray plain = withMetadata(imageFile("JPEG"), [](Exiv2::Image& image) {
            image.exifData()["Exif.Image.Artist"] = std::string("artist");
        });
        QVERIFY(!mayHaveXmp(plain));
        QVERIFY(mayHaveXmp(jpegWith(dublinCore("<dc:format>jpeg</dc:format>"))));
        // exiv2 also decodes it as a tag of the Exif block.
        QByteArray tagged = plain;
        QVERIFY(mayHaveXmp(
            tagged.replace(QByteArray("\x3b\x01\x02\0", 4), QByteArray("\xbc\x02\x02\0", 4))));
        QVERIFY(mayHaveXmp(plain.left(100)));
    }

    void hostilePacketsTakeLittleTime()
    {
        const auto repeated = [](int count, const std::string& start, const std::string& end) {
            std::string text;
            for (int i = 0; i < count; ++i)
                text += start + std::to_string(i) + end;
            return text;
        };
        const std::string declarations = repeated(900, " xmlns:a", "='b'") + " xmlns:d='http://d/'";
        const std::string rdf = "<rdf:RDF xmlns:rdf='http://www.w3.org/1999/02/22-rdf-syntax-ns#'";
        const std::string description = "<rdf:Description rdf:about='' ";
        const std::string packets[] = {"<r" + declarations + ">" + repeated(40000, "<q", "/>") + rdf
                + ">" + description + "d:a='x'/></rdf:RDF></r>",
            rdf + declarations + ">" + repeated(900, description + "d:a", "='x'/>") + "</rdf:RDF>",
            rdf + " xmlns:d='http://d/'>"
                + repeated(2000, description + "xmlns:dc='http://q/' d:a", "='x'/>")
                + "</rdf:RDF>"};
        for (const std::string& packet : packets) {
            const qint64 start = RKTimeLimit::worked();
            RKExiv2XmpData data = dataOf(packet);
            data.setInt("Xmp.xmp.Rating", 4);
            QCOMPARE(dataOf(data.xmpPacket()).adobeRating(), 4);
            const qint64 worked = RKTimeLimit::worked(start);
            QVERIFY2(worked < RKTimeLimit::milliseconds(2000), qPrintable(QString::number(worked)));
        }
    }

    void mergingReplacesPropertiesAsAWhole()
    {
        const auto list = [](int count) {
            std::string items;
            for (int i = 0; i < count; ++i)
                items += "<rdf:li rdf:parseType=\"Resource\"><dc:format>"
                    + std::to_string(count * 10 + i) + "</dc:format></rdf:li>";
            return "<dc:relation><rdf:Bag>" + items + "</rdf:Bag></dc:relation>";
        };
        const QByteArray target = jpegWith(dublinCore(list(3)
            + "<dc:source>stays</dc:source>"
              "<dc:format>goes</dc:format>"));
        RKExiv2XmpData data = dataOf(dublinCore(list(2) + "<dc:format>comes</dc:format>"));
        const RKExiv2XmpData read = dataIn(saved(data, target));
        QCOMPARE(read.readString("Xmp.dc.relation[2]/dc:format"), u"21"_s);
        QVERIFY(!read.hasXMPKey(u"Xmp.dc.relation[3]"_s));
        QCOMPARE(read.readString("Xmp.dc.source"), u"stays"_s);
        QCOMPARE(read.readString("Xmp.dc.format"), u"comes"_s);

        // A plain value takes the place of a structure.
        data = RKExiv2XmpData();
        data.setString("Xmp.dc.relation", u"plain"_s);
        QCOMPARE(dataIn(saved(data, target)).readString("Xmp.dc.relation"), u"plain"_s);

        // What leads to other bytes of a file stays that file's.
        const auto burst = [](const std::string& id) {
            return packetOf("xmlns:c='http://ns.google.com/photos/1.0/camera/' "
                            "xmlns:xmpNote='http://ns.adobe.com/xmp/note/' c:BurstID='"
                    + id + "' c:MotionPhoto='" + id + "' xmpNote:HasExtendedXMP='" + id + "'",
                {});
        };
        const RKExiv2XmpData mixed = dataIn(saved(dataOf(burst("new")), jpegWith(burst("old"))));
        QCOMPARE(mixed.readString("Xmp.c.BurstID"), u"new"_s);
        QCOMPARE(mixed.readString("Xmp.c.MotionPhoto"), u"old"_s);
        QCOMPARE(mixed.readString("Xmp.xmpNote.HasExtendedXMP"), u"old"_s);
    }

    void largePacketLosesItsLargestProperties()
    {
        // The sizes, and which are removed, in this order; equal ones go from the end.
        const std::pair<QList<int>, QList<int>> rows[] = {{{10, 70000, 20}, {1}},
            {{40000, 100, 30000, 100, 50000}, {4, 0}},
            {{30000, 100, 30000, 100, 3200, 100}, {2}}, // just too large
            {{30000, 100, 30000, 100, 2000}, {}}};
        const QWriteLocker locker(RKExiv2Library::xmpLock());
        for (const auto& [sizes, removed] : rows) {
            RKExiv2XmpData held;
            for (const int size : sizes) {
                const QByteArray key = "Xmp.TAMO.P" + QByteArray::number(held.allData().size());
                held.setString(key.constData(), QString(size, QLatin1Char('x')));
            }
            Exiv2::XmpData data;
            held.mergeInto(data);
            RKExiv2Library::refreshNamespaces();
            for (const int number : removed)
                QTest::ignoreMessage(
                    QtWarningMsg, qPrintable(kTooLarge + u"Xmp.TAMO.P%1"_s.arg(number)));
            held.makeSureXmpDataIsLessThan64k(data);
            QCOMPARE(qsizetype(data.count()), sizes.size() - removed.size());
        }
    }

    void packetFitsIntoAJpegSegment()
    {
        // A packet of each size around both limits; the second property is there to be removed.
        const QWriteLocker locker(RKExiv2Library::xmpLock());
        RKExiv2XmpData held;
        held.setInt("Xmp.xmp.Rating", 4);
        held.setString("Xmp.dc.source", QString(60000, QLatin1Char('x')));
        Exiv2::XmpData data;
        held.mergeInto(data);
        RKExiv2Library::refreshNamespaces();
        const int missing = static_cast<int>(RKExiv2XmpData::kJpegPacketLimit - encodedSize(data));
        const QByteArray jpeg = imageFile("JPEG");
        const QByteArray tiff = imageFile("TIFF");
        for (const int excess : {-1, 0, 29, 30}) {
            held.setString("Xmp.dc.source", QString(60000 + missing + excess, QLatin1Char('x')));
            const QString removal = kTooLarge + QLatin1String("Xmp.dc.source");
            const bool fitsJpeg = excess < 0;
            const bool fitsTiff = excess < 30;
            if (!fitsJpeg)
                QTest::ignoreMessage(QtWarningMsg, qPrintable(removal));
            QCOMPARE(dataIn(saved(held, jpeg)).hasXMPKey(u"Xmp.dc.source"_s), fitsJpeg);
            if (!fitsTiff)
                QTest::ignoreMessage(QtWarningMsg, qPrintable(removal));
            QCOMPARE(dataIn(saved(held, tiff)).hasXMPKey(u"Xmp.dc.source"_s), fitsTiff);
        }
    }
};

QTEST_APPLESS_MAIN(RKExiv2XmpDataTest)

#include "RKExiv2XmpDataTest.moc"
