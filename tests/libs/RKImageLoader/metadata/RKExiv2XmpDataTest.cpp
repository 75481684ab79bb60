#include "RKImageLoader/metadata/RKExiv2XmpData.h"

#include "RKImageLoader/faces/RKFacePositions.h"
#include "RKImageLoader/metadata/RKExiv2LanguageText.h"
#include "RKImageLoader/metadata/RKXmpRegions.h"
#include "RKMetadataFixtures.h"
#include "RKXmpFixtures.h"

#include <QRegularExpression>
#include <QTest>
#include <QTimeZone>

using namespace RKMetadataFixtures;
using namespace RKXmpFixtures;

namespace {

const QString kTooLarge = QStringLiteral("xmpData is to large. Deleting the xmpData key ");
constexpr auto kFlags = static_cast<uint16_t>(2112);
const std::string kDublinCore = "http://purl.org/dc/elements/1.1/";
const std::string kMwg = "http://www.metadataworkinggroup.com/schemas/regions/";

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

/// The text of the packet in a file.
QByteArray packetIn(const QByteArray& file)
{
    const RKExiv2ImagePtr image = open(file);
    // What is not const encodes the properties anew.
    return QByteArray::fromStdString(std::as_const(*image).xmpPacket());
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

/// As mergeTo() has to shrink data, in plain words: one datum after the other.
Exiv2::XmpData shrunkOneByOne(Exiv2::XmpData data, size_t limit, QStringList* removed)
{
    while (encodedSize(data) >= limit) {
        auto largest = data.begin();
        for (auto datum = data.begin(); datum != data.end(); ++datum) {
            if (datum->size() >= largest->size())
                largest = datum;
        }
        removed->append(RKExiv2Compat::keyText(*largest));
        data.erase(largest);
    }
    return data;
}

QStringList keysOf(const Exiv2::XmpData& data)
{
    QStringList keys;
    for (const Exiv2::Xmpdatum& datum : data)
        keys.append(RKExiv2Compat::keyText(datum));
    return keys;
}

} // namespace

class RKExiv2XmpDataTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void numbersReadFromAnyText();
    void listsKeepOrderAndType();
    void datesKeepTheirOffset();
    void settersReplaceWholeProperties();
    void badTextsChangeNothing();
    void characterWithoutPlaceInXmlDoesNotCostThePacket();
    void languageAlternativesReadWithoutMarkers();

    void packetFollowsTheChanges();
    void changesBeforeAFaceUpdateAreKept();
    void failedPacketKeepsTheOldData_data();
    void failedPacketKeepsTheOldData();

    void poisonedNamespacesDoNotReachOtherFiles_data();
    void poisonedNamespacesDoNotReachOtherFiles();
    void fileWithOtherPrefixesIsSavedWhole();
    void knownPrefixOfAnotherNamespaceStaysApart();

    void mergingReplacesPropertiesAsAWhole();
    void regionsOfTwoImagesDoNotMix();
    void undecodablePacketOfTheTargetIsKept();
    void formatWithoutXmpTakesNothing();

    void largePacketLosesItsLargestProperties_data();
    void largePacketLosesItsLargestProperties();
    void valuesGoWithWhatDependsOnThem();
    void packetFitsIntoAJpegSegment();
};

void RKExiv2XmpDataTest::init()
{
    QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
}

void RKExiv2XmpDataTest::numbersReadFromAnyText()
{
    struct Row
    {
        const char* text;
        int number;
    };

    constexpr Row rows[] = {
        {.text = "4", .number = 4},
        {.text = "-1", .number = -1},
        {.text = "3.7", .number = 3},
        {.text = "abc", .number = 0},
        {.text = "True", .number = 1},
        {.text = "", .number = 0},
        {.text = "1625400000000", .number = 1902362112},
    };
    RKExiv2XmpData data;
    QCOMPARE(data.readInt("Xmp.xmp.Rating"), 0);
    QCOMPARE(data.adobeRating(), -1);
    for (const Row& row : rows) {
        data.setString("Xmp.xmp.Rating", QLatin1String(row.text));
        QCOMPARE(data.readInt("Xmp.xmp.Rating"), row.number);
        QCOMPARE(data.adobeRating(), row.number);
    }
    data.setReal("Xmp.exif.FNumber", 0.1);
    QCOMPARE(data.readString("Xmp.exif.FNumber"), QStringLiteral("0.1"));
    QCOMPARE(data.readReal("Xmp.exif.FNumber"), 0.1);
    data.setString("Xmp.exif.FNumber", QStringLiteral("28/10"));
    QCOMPARE(data.readReal("Xmp.exif.FNumber"), 2.8);
    data.setString("Xmp.exif.FNumber", QStringLiteral("28/0"));
    QCOMPARE(data.readReal("Xmp.exif.FNumber"), 0.0);
}

void RKExiv2XmpDataTest::listsKeepOrderAndType()
{
    RKExiv2XmpData data;
    data.setStringList("Xmp.dc.subject", {QStringLiteral("b, c"), QStringLiteral("a")});
    data.setStringList("Xmp.dc.creator", {QStringLiteral("y"), QStringLiteral("x")});
    data.setStringList("Xmp.TAMO.Words", {QStringLiteral("z")});
    data.setStringList("Xmp.dc.publisher", {});
    data.setIntList("Xmp.TAMO.Numbers", {3, -1, 2});
    QCOMPARE(data.readString("Xmp.dc.subject"), QStringLiteral("b, c, a"));
    QCOMPARE(data.readIntList("Xmp.TAMO.Numbers"), QList<int>({3, -1, 2}));
    QCOMPARE(data.readInt("Xmp.TAMO.Numbers"), 3);

    const QByteArray packet = QByteArray::fromStdString(data.xmpPacket());
    QVERIFY(packet.contains("<rdf:Bag> <rdf:li>b, c</rdf:li> <rdf:li>a</rdf:li> </rdf:Bag>"));
    QVERIFY(packet.contains("<rdf:Seq> <rdf:li>y</rdf:li> <rdf:li>x</rdf:li> </rdf:Seq>"));
    QVERIFY(packet.contains("<rdf:Bag> <rdf:li>z</rdf:li> </rdf:Bag>"));
    QVERIFY(
        packet.contains("<rdf:li>3</rdf:li> <rdf:li>-1</rdf:li> <rdf:li>2</rdf:li> </rdf:Seq>"));
    QCOMPARE(dataOf(data.xmpPacket()).allData(), data.allData());
}

void RKExiv2XmpDataTest::datesKeepTheirOffset()
{
    RKExiv2XmpData data;
    const QDate date(2021, 7, 4);
    const QList<QDateTime> times{QDateTime(date, QTime(12, 30, 45)),
        QDateTime(date, QTime(12, 30, 45, 678), Qt::UTC),
        QDateTime(date, QTime(12, 30), Qt::OffsetFromUTC, 5400),
        QDateTime(date, QTime(12, 30), QTimeZone("America/Lima"))};
    for (const QDateTime& time : times) {
        data.setDateTime("Xmp.exif.DateTimeOriginal", time);
        QCOMPARE(data.dateTime("Xmp.exif.DateTimeOriginal"), time);
    }
    QCOMPARE(
        data.readString("Xmp.exif.DateTimeOriginal"), QStringLiteral("2021-07-04T12:30:00-05:00"));
    data.setString("Xmp.exif.DateTimeOriginal", QStringLiteral(" 2021-07-04 "));
    QCOMPARE(data.dateTime("Xmp.exif.DateTimeOriginal"), QDateTime(date, QTime(0, 0)));
    data.setString("Xmp.exif.DateTimeOriginal", QStringLiteral("yesterday"));
    QVERIFY(!data.dateTime("Xmp.exif.DateTimeOriginal").isValid());
}

void RKExiv2XmpDataTest::settersReplaceWholeProperties()
{
    // With parts of their own, which must not stay behind: exiv2 could not encode them any more.
    RKExiv2XmpData data = dataOf(dublinCore(
        "<dc:source rdf:parseType=\"Resource\"><rdf:value>v</rdf:value><dc:format>f</dc:format>"
        "</dc:source><dc:sources>other</dc:sources>"));
    QVERIFY(data.allData().size() > 2);
    data.setString("Xmp.dc.source", QStringLiteral("new"));
    QCOMPARE(data.allData().size(), 2);
    QCOMPARE(dataOf(data.xmpPacket()).readString("Xmp.dc.source"), QStringLiteral("new"));
    QCOMPARE(data.readString("Xmp.dc.sources"), QStringLiteral("other"));

    data.removeKey("Xmp.dc.source");
    data.removeKey("Xmp.dc.source");
    QCOMPARE(
        dataOf(data.xmpPacket()).allData().keys(), QStringList(QStringLiteral("Xmp.dc.sources")));
}

void RKExiv2XmpDataTest::badTextsChangeNothing()
{
    RKExiv2XmpData data;
    data.setString("Xmp.dc.title", QStringLiteral("Title %1"));
    const QHash<QString, QString> before = data.allData();

    QTest::ignoreMessage(QtWarningMsg,
        QRegularExpression(QStringLiteral(
            "^void RKExiv2XmpData::setString\\(const char \\*, const QString &\\) caught "
            "exception with errorCode=\\d+ msg=.+")));
    data.setString("Xmp.dc.title", QStringLiteral("lang=\"bad"));
    QTest::ignoreMessage(QtWarningMsg,
        QRegularExpression(QStringLiteral("caught exception with errorCode=\\d+ msg=.+")));
    data.setString("Xmp.noSuchNamespace.title", QStringLiteral("text"));
    QTest::ignoreMessage(QtWarningMsg,
        QRegularExpression(QStringLiteral("caught exception with errorCode=\\d+ msg=.+")));
    data.setIntList("no key", {1});
    QCOMPARE(data.allData(), before);
}

void RKExiv2XmpDataTest::characterWithoutPlaceInXmlDoesNotCostThePacket()
{
    RKExiv2XmpData data;
    data.setString("Xmp.dc.source",
        QStringLiteral("a") + QChar(0) + QChar(0xFFFF) + QStringLiteral("b\n\U0001F600"));
    data.setStringList("Xmp.dc.subject", {QString(QChar(0xFFFE))});
    data.setStringWithLocale("Xmp.dc.title", QString(QChar(0xDC00)));
    const RKExiv2XmpData read = dataOf(data.xmpPacket());
    QCOMPARE(read.readString("Xmp.dc.source"), QStringLiteral("a \uFFFDb\n\U0001F600"));
    QCOMPARE(read.readString("Xmp.dc.subject"), QStringLiteral("\uFFFD"));
    QCOMPARE(read.readStringWithLocale("Xmp.dc.title"), QStringLiteral("\uFFFD"));
}

void RKExiv2XmpDataTest::languageAlternativesReadWithoutMarkers()
{
    RKExiv2XmpData data = dataOf(dublinCore(
        "<dc:title><rdf:Alt><rdf:li xml:lang=\"x-default\">Hello, you</rdf:li>"
        "<rdf:li xml:lang=\"de-DE\">Hallo</rdf:li></rdf:Alt></dc:title>"
        "<dc:rights><rdf:Alt><rdf:li xml:lang=\"fr\">à moi</rdf:li></rdf:Alt></dc:rights>"
        "<dc:source>lang=\"x-default\" plain, lang=\"x-repair\" rest</dc:source>"));
    QCOMPARE(data.readStringWithLocale("Xmp.dc.title"), QStringLiteral("Hello, you"));
    QCOMPARE(data.readStringWithLocale("Xmp.dc.rights"), QStringLiteral("à moi"));
    QCOMPARE(data.readStringWithLocale("Xmp.dc.source"), QStringLiteral("plain"));
    QCOMPARE(RKExiv2LanguageText::defaultText(QStringLiteral("lang=\"odd")),
        QStringLiteral("lang=\"odd"));

    data.setStringWithLocale("Xmp.dc.title", QStringLiteral("lang=Bye"));
    const RKExiv2XmpData read = dataOf(data.xmpPacket());
    QCOMPARE(read.readStringWithLocale("Xmp.dc.title"), QStringLiteral("lang=Bye"));
    QVERIFY(read.readString("Xmp.dc.title").contains(QLatin1String("lang=\"de-DE\" Hallo")));
}

void RKExiv2XmpDataTest::packetFollowsTheChanges()
{
    const std::string packet = dublinCore("<dc:source>s</dc:source>  <!-- kept -->");
    RKExiv2XmpData data = dataIn(jpegWith(packet));
    QCOMPARE(data.xmpPacket(), packet);
    RKExiv2XmpData copy = data;
    data.setInt("Xmp.xmp.Rating", 4);
    QCOMPARE(dataOf(data.xmpPacket()).adobeRating(), 4);
    QCOMPARE(dataOf(data.xmpPacket()).readString("Xmp.dc.source"), QStringLiteral("s"));
    QCOMPARE(copy.xmpPacket(), packet);

    QVERIFY(data.setXmpPacket(packet + std::string(2, '\0')));
    QCOMPARE(data.xmpPacket(), packet);
    QVERIFY(data.setXmpPacket(std::string(4, '\0')));
    QVERIFY(data.allData().isEmpty() && data.xmpPacket().empty());
}

void RKExiv2XmpDataTest::changesBeforeAFaceUpdateAreKept()
{
    RKExiv2XmpData data = dataOf(dublinCore("<dc:source>s</dc:source>"));
    data.setInt("Xmp.xmp.Rating", 4);
    data.setString("Xmp.TAMO.IsFilmStrip", QStringLiteral("1"));
    data = withFaces(data, 1);
    data.setInt("Xmp.TAMO.Rating", 2);
    const RKExiv2XmpData read = dataIn(saved(data, imageFile("JPEG")));
    QCOMPARE(read.adobeRating(), 4);
    QCOMPARE(read.readString("Xmp.TAMO.IsFilmStrip"), QStringLiteral("1"));
    QCOMPARE(read.readInt("Xmp.TAMO.Rating"), 2);
    QCOMPARE(read.facePositions().count(), 1);
}

void RKExiv2XmpDataTest::failedPacketKeepsTheOldData_data()
{
    QTest::addColumn<QString>("packet");
    QTest::newRow("not XML") << QStringLiteral("text");
    QTest::newRow("undeclared prefix")
        << QString::fromStdString(packetOf("", "<dc:source>x</dc:source>"));
    QTest::newRow("illegal RDF") << QString::fromStdString(
        dublinCore("<dc:source dc:format=\"x\"><dc:format>y</dc:format></dc:source>"));
    QTest::newRow("document type") << QString::fromStdString(
        "<!DOCTYPE x [<!ENTITY a \"b\">]>" + dublinCore("<dc:source>&a;</dc:source>"));
}

void RKExiv2XmpDataTest::failedPacketKeepsTheOldData()
{
    QFETCH(QString, packet);
    RKExiv2XmpData data = dataOf(dublinCore("<dc:source>s</dc:source>"));
    data.setInt("Xmp.xmp.Rating", 4);
    const QHash<QString, QString> before = data.allData();
    QTest::ignoreMessage(
        QtWarningMsg, QRegularExpression(QStringLiteral("^setXmpPacket failed: -?\\d+$")));
    QVERIFY(!data.setXmpPacket(packet.toStdString()));
    QCOMPARE(data.allData(), before);
    QCOMPARE(dataOf(data.xmpPacket()).allData(), before);
}

void RKExiv2XmpDataTest::poisonedNamespacesDoNotReachOtherFiles_data()
{
    QTest::addColumn<QByteArray>("poison");
    const auto row
        = [](const char* name, const std::string& namespaces, const std::string& properties) {
              QTest::newRow(name) << jpegWith(packetOf(namespaces, properties));
          };
    row("another prefix for regions",
        "xmlns:a=\"" + kMwg + "\"",
        "<a:Regions rdf:parseType=\"Resource\"><a:Name>x</a:Name></a:Regions>");
    row("our prefix for another namespace",
        "xmlns:TAMO=\"http://other/1/\"",
        "<TAMO:Rating>x</TAMO:Rating>");
    row("a known prefix for another namespace",
        "xmlns:dc=\"http://other/2/\"",
        "<dc:title>x</dc:title>");
    row("our prefix for a known namespace",
        "xmlns:TAMO=\"" + kDublinCore + "\"",
        "<TAMO:source>x</TAMO:source>");
}

void RKExiv2XmpDataTest::poisonedNamespacesDoNotReachOtherFiles()
{
    QFETCH(QByteArray, poison);
    RKExiv2XmpData data;
    data.setString("Xmp.dc.title", QStringLiteral("T"));

    // Between every step, as other threads may do it.
    open(poison);
    data.setString("Xmp.dc.description", QStringLiteral("D"));
    QCOMPARE(data.readString("Xmp.dc.description"), QStringLiteral("lang=\"x-default\" D"));
    data.setInt("Xmp.TAMO.Rating", 3);
    open(poison);
    data = withFaces(data, 1);
    open(poison);
    data.setString("Xmp.dc.source", QStringLiteral("S"));
    open(poison);
    const QByteArray file = saved(data, imageFile("JPEG"));

    const QByteArray packet = packetIn(file);
    QVERIFY(packet.contains("xmlns:dc=\"http://purl.org/dc/elements/1.1/\""));
    QVERIFY(packet.contains("xmlns:TAMO=\"namespaceTAMO/\""));
    QVERIFY(packet.contains(("xmlns:mwg-rs=\"" + kMwg + "\"").c_str()));
    QVERIFY(!packet.contains("http://other/"));
    const RKExiv2XmpData read = dataIn(file);
    QCOMPARE(read.readString("Xmp.dc.title"), QStringLiteral("lang=\"x-default\" T"));
    QCOMPARE(read.readString("Xmp.dc.description"), QStringLiteral("lang=\"x-default\" D"));
    QCOMPARE(read.readString("Xmp.dc.source"), QStringLiteral("S"));
    QCOMPARE(read.readInt("Xmp.TAMO.Rating"), 3);
    QCOMPARE(read.facePositions().count(), 1);

    // The file itself is no worse for what was written to it.
    const QByteArray both = saved(data, poison);
    QVERIFY(!both.isEmpty());
    QCOMPARE(dataIn(both).readString("Xmp.dc.source"), QStringLiteral("S"));
    QCOMPARE(dataIn(both).readInt("Xmp.TAMO.Rating"), 3);
    QCOMPARE(dataIn(both).facePositions().count(), 1);
}

void RKExiv2XmpDataTest::fileWithOtherPrefixesIsSavedWhole()
{
    const std::string packet
        = packetOf("xmlns:a=\"http://ns.adobe.com/xap/1.0/mm/\" "
                   "xmlns:b=\"http://ns.adobe.com/xap/1.0/sType/ResourceRef#\" "
                   "xmlns:own=\"http://own/\"",
            "<a:DerivedFrom rdf:parseType=\"Resource\"><b:documentID>id</b:documentID>"
            "<own:part>p</own:part></a:DerivedFrom><own:thing>t</own:thing>");
    const QByteArray file = jpegWith(packet);
    RKExiv2XmpData data = dataIn(file);
    QCOMPARE(data.readString("Xmp.xmpMM.DerivedFrom/stRef:documentID"), QStringLiteral("id"));
    data.setInt("Xmp.xmp.Rating", 3);
    // Another file takes the prefix of the first one's own namespace.
    open(jpegWith(packetOf("xmlns:own=\"http://theirs/\"", "<own:thing>u</own:thing>")));
    QVERIFY(QByteArray::fromStdString(data.xmpPacket()).contains("xmlns:own=\"http://own/\""));
    const QByteArray written = saved(data, file);
    QVERIFY(packetIn(written).contains("xmlns:own=\"http://own/\""));
    QCOMPARE(dataIn(written).allData(), data.allData());

    // Nothing held, nothing lost.
    QCOMPARE(dataIn(saved(RKExiv2XmpData(), file)).allData(), dataIn(file).allData());
}

void RKExiv2XmpDataTest::knownPrefixOfAnotherNamespaceStaysApart()
{
    const QByteArray file
        = jpegWith(packetOf("xmlns:dc=\"http://other/\"", "<dc:title>theirs</dc:title>"));
    RKExiv2XmpData data = dataIn(file);
    QVERIFY(!data.hasXMPKey(QStringLiteral("Xmp.dc.title")));
    data.setString("Xmp.dc.title", QStringLiteral("ours"));
    const QByteArray written = saved(data, file);
    QCOMPARE(dataIn(written).readStringWithLocale("Xmp.dc.title"), QStringLiteral("ours"));
    QVERIFY(packetIn(written).contains("=\"http://other/\""));
    QVERIFY(packetIn(written).contains(":title=\"theirs\""));
}

void RKExiv2XmpDataTest::mergingReplacesPropertiesAsAWhole()
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
    QCOMPARE(read.readString("Xmp.dc.relation[2]/dc:format"), QStringLiteral("21"));
    QVERIFY(!read.hasXMPKey(QStringLiteral("Xmp.dc.relation[3]")));
    QCOMPARE(read.readString("Xmp.dc.source"), QStringLiteral("stays"));
    QCOMPARE(read.readString("Xmp.dc.format"), QStringLiteral("comes"));

    // A plain value takes the place of a structure.
    data = RKExiv2XmpData();
    data.setString("Xmp.dc.relation", QStringLiteral("plain"));
    QCOMPARE(dataIn(saved(data, target)).readString("Xmp.dc.relation"), QStringLiteral("plain"));
}

void RKExiv2XmpDataTest::regionsOfTwoImagesDoNotMix()
{
    const QByteArray three = saved(withFaces(RKExiv2XmpData(), 3), imageFile("JPEG"));
    QCOMPARE(dataIn(three).facePositions().count(), 3);
    QCOMPARE(dataIn(saved(withFaces(RKExiv2XmpData(), 2), three)).facePositions().count(), 2);

    // Data without regions leave those of the file; removed faces are removed from it.
    RKExiv2XmpData data;
    data.setInt("Xmp.xmp.Rating", 1);
    QCOMPARE(dataIn(saved(data, three)).facePositions().count(), 3);
    data = dataIn(three);
    QVERIFY(RKXmpRegions().removeFaceRegions(&data));
    const RKExiv2XmpData read = dataIn(saved(data, three));
    QVERIFY(read.facePositions().isEmpty());
    QCOMPARE(RKXmpRegions().appliedToImageSize(&read), QSize(100, 100));
}

void RKExiv2XmpDataTest::undecodablePacketOfTheTargetIsKept()
{
    const std::string packet = packetOf("", "<odd:source>x</odd:source>");
    const QByteArray file = jpegWith(packet);
    RKExiv2XmpData data = dataIn(file);
    QCOMPARE(packetIn(saved(data, file)).toStdString(), packet);
    data.setInt("Xmp.xmp.Rating", 4);
    QTest::ignoreMessage(
        QtWarningMsg, "XMP data of the image cannot be decoded and are left as they are");
    QCOMPARE(packetIn(saved(data, file)).toStdString(), packet);

    // A packet without properties is something else.
    const QByteArray empty = jpegWith(dublinCore(""));
    QCOMPARE(dataIn(saved(data, empty)).adobeRating(), 4);
}

void RKExiv2XmpDataTest::formatWithoutXmpTakesNothing()
{
    RKExiv2XmpData data;
    data.setInt("Xmp.xmp.Rating", 4);
    const QByteArray bytes = imageFile("BMP");
    RKExiv2ImagePtr image = open(bytes);
    QVERIFY(!data.mergeTo(image));
    QVERIFY(image->xmpData().empty());
}

void RKExiv2XmpDataTest::largePacketLosesItsLargestProperties_data()
{
    QTest::addColumn<QList<int>>("sizes");
    QTest::newRow("one giant") << QList<int>{10, 70000, 20};
    QTest::newRow("equal ones go from the end") << QList<int>(70, 1000);
    QTest::newRow("many small ones") << QList<int>(900, 60);
    QTest::newRow("just too large") << QList<int>{30000, 100, 30000, 100, 3200, 100};
    QTest::newRow("fits") << QList<int>{30000, 100, 30000, 100, 2000};
}

void RKExiv2XmpDataTest::largePacketLosesItsLargestProperties()
{
    QFETCH(QList<int>, sizes);
    const QWriteLocker locker(RKExiv2Library::xmpLock());
    RKExiv2XmpData held;
    for (qsizetype i = 0; i < sizes.size(); ++i) {
        const QByteArray key = "Xmp.TAMO.P" + QByteArray::number(i);
        held.setString(key.constData(), QString(sizes.at(i), QLatin1Char('x')));
    }
    Exiv2::XmpData data;
    held.mergeInto(data);
    RKExiv2Library::refreshNamespaces();

    QStringList removed;
    const Exiv2::XmpData expected = shrunkOneByOne(data, RKExiv2XmpData::kPacketLimit, &removed);
    for (const QString& key : std::as_const(removed))
        QTest::ignoreMessage(QtWarningMsg, qPrintable(kTooLarge + key));
    held.makeSureXmpDataIsLessThan64k(data);
    QCOMPARE(keysOf(data), keysOf(expected));
    QVERIFY(encodedSize(data) < RKExiv2XmpData::kPacketLimit);
}

void RKExiv2XmpDataTest::valuesGoWithWhatDependsOnThem()
{
    // exiv2 cannot encode a qualifier without its value, nor an array with a gap.
    const auto qualified = [](const char* name, int size) {
        return std::string("<") + name + " rdf:parseType=\"Resource\"><rdf:value>"
            + std::string(static_cast<size_t>(size), 'x') + "</rdf:value><dc:format>q</dc:format></"
            + name + ">";
    };
    const QWriteLocker locker(RKExiv2Library::xmpLock());
    const RKExiv2XmpData held = dataOf(dublinCore("<dc:coverage>stays</dc:coverage>"
        + qualified("dc:source", 40000) + "<dc:relation><rdf:Bag>" + qualified("rdf:li", 10)
        + qualified("rdf:li", 30000) + qualified("rdf:li", 20) + "</rdf:Bag></dc:relation>"));
    Exiv2::XmpData data;
    held.mergeInto(data);
    RKExiv2Library::refreshNamespaces();
    for (const char* key : {"Xmp.dc.source", "Xmp.dc.source/?dc:format"})
        QTest::ignoreMessage(QtWarningMsg, qPrintable(kTooLarge + QLatin1String(key)));
    held.makeSureXmpDataIsLessThan64k(data);
    QCOMPARE(RKExiv2Compat::count(data), 8);

    Exiv2::XmpData::iterator large = data.begin();
    while (large->key() != "Xmp.dc.relation[2]")
        ++large;
    large->setValue(std::string(70000, 'x'));
    for (const char* key : {"[2]", "[2]/?dc:format", "[3]", "[3]/?dc:format"})
        QTest::ignoreMessage(QtWarningMsg,
            qPrintable(kTooLarge + QLatin1String("Xmp.dc.relation") + QLatin1String(key)));
    held.makeSureXmpDataIsLessThan64k(data);
    QCOMPARE(RKExiv2Compat::count(data), 4);
    QVERIFY(encodedSize(data) > 0);
}

void RKExiv2XmpDataTest::packetFitsIntoAJpegSegment()
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
        QCOMPARE(dataIn(saved(held, jpeg)).hasXMPKey(QStringLiteral("Xmp.dc.source")), fitsJpeg);
        if (!fitsTiff)
            QTest::ignoreMessage(QtWarningMsg, qPrintable(removal));
        QCOMPARE(dataIn(saved(held, tiff)).hasXMPKey(QStringLiteral("Xmp.dc.source")), fitsTiff);
    }
}

QTEST_APPLESS_MAIN(RKExiv2XmpDataTest)

#include "RKExiv2XmpDataTest.moc"
