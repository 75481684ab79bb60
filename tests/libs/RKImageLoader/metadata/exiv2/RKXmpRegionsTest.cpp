#include "RKImageLoader/metadata/exiv2/RKXmpRegions_p.h"
#include "support/RKQuietTest.h"
#include "support/RKTestPictures.h"
#include "support/RKXmpFixtures.h"

#include <QTemporaryDir>

using namespace RKXmpFixtures;
using namespace Qt::StringLiterals;

namespace {

std::string packetAround(const std::string& properties)
{
    return packetOf("rdf:about=\"uuid:1\" xmlns:dc=\"http://purl.org/dc/elements/1.1/\""
                    " xmlns:mwg-rs=\"http://www.metadataworkinggroup.com/schemas/regions/\""
                    " xmlns:stArea=\"http://ns.adobe.com/xmp/sType/Area#\""
                    " xmlns:stDim=\"http://ns.adobe.com/xap/1.0/sType/Dimensions#\""
                    " xmlns:TAMO=\"namespaceTAMO\"",
        properties);
}

/// A packet with the regions, made for an image of 400 x 300 pixels.
std::string packetWith(const std::string& regions)
{
    return packetAround("<mwg-rs:Regions rdf:parseType=\"Resource\">"
                        "<mwg-rs:AppliedToDimensions stDim:w=\"400\" stDim:h=\"300\""
                        " stDim:unit=\"pixel\"/><mwg-rs:RegionList><rdf:Bag>"
        + regions + "</rdf:Bag></mwg-rs:RegionList></mwg-rs:Regions>");
}

const QSize kImageSize(400, 300);
const QRectF kArea(0.2, 0.3, 0.2, 0.4);

/// A packet with one region of that area, named "Ann", with cluster 5 and epoch 77.
std::string regionIn(const char* spelling)
{
    return RKTestPictures::read(
        QStringLiteral(RK_TEST_DATA "/xmp/regions-%1.xmp").arg(QLatin1String(spelling)))
        .toStdString();
}

/// A region in elements: its type, and what else it holds.
std::string region(const std::string& type, const std::string& more)
{
    return "<rdf:li rdf:parseType=\"Resource\"><mwg-rs:Type>" + type + "</mwg-rs:Type>" + more
        + "</rdf:li>";
}

/// The centre, width, height and unit.
std::string area(const char* sides, const char* unit = "normalized")
{
    const QStringList numbers = QString::fromLatin1(sides).split(u' ');
    return u"<mwg-rs:Area stArea:x='%1' stArea:y='%2' stArea:w='%3' stArea:h='%4' stArea:unit='%5'/>"_s
        .arg(numbers[0], numbers[1], numbers[2], numbers[3], QLatin1String(unit))
        .toStdString();
}

std::string face(const char* place, const std::string& more = {})
{
    return region("Face", area((std::string(place) + " 0.2 0.2").c_str()) + more);
}

RKFacePosition newFace(
    const QRectF& rect, int cluster = -1, const QString& name = {}, long long epoch = -1)
{
    return RKFacePosition(
        rect, faceDetectionEngineHP, RKFaceId(), RKClusterId(cluster), epoch, name, -1);
}

bool update(
    RKExiv2XmpData& data, const QList<RKFacePosition>& faces, const QSize& size = kImageSize)
{
    RKFacePositions positions;
    for (const RKFacePosition& position : faces)
        positions.append(position);
    return RKXmpRegions().expandFaces(&data, size, positions);
}

QList<RKFacePosition> facesIn(const RKExiv2XmpData& data)
{
    return data.facePositions().facePositions();
}

QList<RKFacePosition> facesIn(const std::string& packet)
{
    RKXmpRegions regions;
    regions.parseXmpData(packet);
    return regions.facePositionsByXMP(nullptr).facePositions();
}

/// The text of a field of a region; exiv2 counts from 1.
QString field(const RKExiv2XmpData& data, int number, const char* path)
{
    return data.allData().value(u"Xmp.mwg-rs.Regions/mwg-rs:RegionList[%1]/%2"_s.arg(
        QString::number(number), QLatin1String(path)));
}

/// Rectangle, cluster, epoch, region and name of each face.
QStringList told(const QList<RKFacePosition>& faces)
{
    QStringList texts;
    for (const RKFacePosition& face : faces) {
        texts << u"%1,%2 %3x%4 %5 %6 %7 "_s.arg(face.rect().x())
                     .arg(face.rect().y())
                     .arg(face.rect().width())
                     .arg(face.rect().height())
                     .arg(face.clusterId().id())
                     .arg(face.coverImageEpoch())
                     .arg(face.xmpRegionIndex())
                + face.name();
    }
    return texts;
}

void expect(QtMsgType type, const char* pattern)
{
    QTest::ignoreMessage(type, QRegularExpression(QLatin1String(pattern)));
}

/// The same region in elements, attributes, descriptions, an ordered list, and with other prefixes.
std::vector<std::string> spellings()
{
    const QString attributes = QString::fromStdString(regionIn("attributes"));
    QString ordered = attributes;
    ordered.replace(u"rdf:Bag"_s, u"rdf:Seq"_s);
    QString prefixes = attributes;
    prefixes.replace(
        QRegularExpression(u"(xmlns:|[< /])(mwg-rs|stArea|stDim|TAMO|rdf)\\b"_s), u"\\1p\\2"_s);
    return {regionIn("elements"),
        regionIn("attributes"),
        regionIn("descriptions"),
        ordered.toStdString(),
        prefixes.toStdString()};
}

} // namespace

class RKXmpRegionsTest : public RKQuietTest
{
    Q_OBJECT

private Q_SLOTS:

    void unitsDecideWhichAreasCount()
    {
        // Normalised areas are taken as they are, others only where they may be normalised.
        QCOMPARE(facesIn(packetWith(region("Face", area("150 1.5 2 2"))
                             + region("FACE", area("0 0 1 1", "NORMALIZED"))
                             + region("face", area("0.5 0.5 0.2 0.2", "pixel"))
                             + region("Face", area("-7 0.5 0.2 0.2", ""))))
                     .size(),
            4);
        for (const std::string& wrong :
            {area("150 150 100 100", "pixel"), area("a 0.5 1 2"), area("nan 0.5 1 inf")})
        {
            expect(QtWarningMsg, "^face rect is not normalized|^failed to cast string to double");
            expect(QtInfoMsg, "^face region ignored as area is not valid, region index: 0$");
            QVERIFY(facesIn(packetWith(region("Face", wrong))).isEmpty());
        }
        expect(QtInfoMsg, "region index: 0$");
        QVERIFY(facesIn(packetWith(region("Face", area("0.5 0.5 0 0.5")))).isEmpty());
    }

    void indexCountsAllRegions()
    {
        const std::string packet = packetWith("<!-- no region -->" + region("Pet", "")
            + face("0.5 0.5") + region("Faces", "") + face("0.1 0.1"));
        QCOMPARE(told(facesIn(packet)),
            QStringList({u"0.4,0.4 0.2x0.2 -1 -1 1 "_s, u"0,0 0.2x0.2 -1 -1 3 "_s}));
        // Kept: nodes are counted, and a comment is one.
        QCOMPARE(RKXmpRegions().numberOfRegions(dataOf(packet)), 5);
    }

    void unusablePacketsAreReportedAndKept()
    {
        RKXmpRegions regions;
        expect(QtWarningMsg, "^failed to parse XMP data in line 1 , column \\d+ : .+$");
        QVERIFY(!regions.parseXmpData(packetWith(face("0.5 0.5")) + "<"));
        QVERIFY(regions.facePositionsByXMP(nullptr).isEmpty());

        const QList<RKFacePosition> faces{newFace(kArea, 4)};
        const auto isKept = [&faces](const std::string& packet, const char* warning) {
            RKExiv2XmpData data = dataOf(packet);
            expect(QtWarningMsg, warning);
            return !update(data, faces) && data.xmpPacket() == packet;
        };
        QVERIFY(isKept(
            "<x:xmpmeta xmlns:x=\"adobe:ns:meta/\"/>", "^unexpected number of rdf nodes: 0$"));
        QVERIFY(isKept(packetWith(face("0.5 0.5", "<mwg-rs:Regions/>")),
            "^unexpected number of regions nodes: 2$"));
        // RDF that exiv2 takes, but not with a child beside the text.
        QVERIFY(isKept(packetWith(region("Face",
                           area("0.3 0.5 0.2 0.4") + "<mwg-rs:Extensions>x</mwg-rs:Extensions>")),
            "^setXmpPacket failed: \\d+$"));

        RKExiv2XmpData data = dataOf(regionIn("elements"));
        QVERIFY(!regions.expandFaces(nullptr, kImageSize, data.facePositions()));
        QVERIFY(!update(data, faces, QSize(-1, 300)) && !update(data, faces, QSize(400, -1)));
        QVERIFY(!update(data, {}));
        QCOMPARE(data.xmpPacket(), regionIn("elements"));
    }

    void everySpellingIsUpdatedInPlace()
    {
        for (const std::string& packet : spellings()) {
            RKExiv2XmpData data = dataOf(packet);
            const RKFacePositions faces = data.facePositions();
            QVERIFY2(faces.isSurveyComplete(), packet.c_str());
            QCOMPARE(told(faces.facePositions()), QStringList(u"0.2,0.3 0.2x0.4 5 77 0 Ann"_s));
            QCOMPARE(faces.faceDetectionEngineTypes().first(), faceDetectionEngineHPbyXMP);
            QCOMPARE(RKXmpRegions().appliedToImageSize(&data), kImageSize);
            // The second update meets exiv2's own form, in which nearly everything is an attribute.
            for (int round = 0; round < 3; ++round) {
                const QString name = u"Bob %1"_s.arg(round);
                QVERIFY2(update(data,
                             {newFace(QRectF(0.25, 0.35, 0.1, 0.2), 8, name, 100 + round),
                                 newFace(QRectF(0.7, 0.1, 0.2, 0.2), 9, name)}),
                    packet.c_str());
                const RKExiv2XmpData saved = savedAndRead(data);
                QCOMPARE(told(facesIn(saved)),
                    QStringList({u"0.25,0.35 0.1x0.2 8 10%1 0 Bob %1"_s.arg(round),
                        u"0.7,0.1 0.2x0.2 9 -1 1 Bob %1"_s.arg(round)}));
                QCOMPARE(saved.facePositions(), data.facePositions());
                QCOMPARE(field(saved, 1, "mwg-rs:Area/stArea:unit"), u"normalized"_s);
                if (round > 0)
                    QCOMPARE(field(saved, 1, "mwg-rs:Area/stDim:unit"), u"normalized"_s);
                QCOMPARE(RKXmpRegions().appliedToImageSize(&saved), kImageSize);
                data = saved;
            }
        }
    }

    void missingFieldsAreAddedLegally()
    {
        // exiv2 refuses a whole packet that has one element with both attributes and elements.
        const std::string place = area("0.3 0.5 0.2 0.4");
        const std::string named = place + "<mwg-rs:Name>A</mwg-rs:Name>";
        const std::string regions[] = {
            "<rdf:li><rdf:Description mwg-rs:Type=\"Face\" mwg-rs:Name=\"Ann\">" + place
                + "</rdf:Description></rdf:li>",
            "<rdf:li><rdf:Description><mwg-rs:Type>Face</mwg-rs:Type>" + named
                + "</rdf:Description></rdf:li>",
            region("Face", named + "<mwg-rs:Extensions/>"),
            region("Face", named + "<mwg-rs:Extensions dc:type=\"t\"/>"),
            region("Face",
                named
                    + "<mwg-rs:Extensions rdf:parseType=\"Resource\"><dc:type>t</dc:type>"
                      "</mwg-rs:Extensions>"),
            region("Face",
                named
                    + "<mwg-rs:Extensions><rdf:Description><dc:type>t</dc:type>"
                      "</rdf:Description></mwg-rs:Extensions>"),
        };
        for (const std::string& text : regions) {
            RKExiv2XmpData data = dataOf(packetWith(text));
            const bool hasType = text.find("dc:type") != std::string::npos;
            QVERIFY2(update(data, {newFace(kArea, 8, u"Bob"_s, 100)}), text.c_str());
            data = savedAndRead(data);
            QCOMPARE(told(facesIn(data)), QStringList(u"0.2,0.3 0.2x0.4 8 100 0 Bob"_s));
            QCOMPARE(
                field(data, 1, "mwg-rs:Extensions/dc:type"), QLatin1String(hasType ? "t" : ""));
        }
    }

    void facesAreAddedToAnImageWithoutXmp()
    {
        RKExiv2XmpData data;
        const QString name = u"Zoë & <b>\"%1\""_s;
        QVERIFY(update(data,
            {newFace(kArea, -100, u"hidden"_s),
                newFace(QRectF()),
                newFace(QRectF(0.1, 0.1, 1.0 / 3, 0.1), 7, name, 5)}));
        const RKExiv2XmpData saved = savedAndRead(data);
        QCOMPARE(told(facesIn(saved)),
            QStringList(
                {u"0.2,0.3 0.2x0.4 -100 -1 0 "_s, u"0.1,0.1 0.333333x0.1 7 5 1 "_s + name}));
        QVERIFY(field(saved, 1, "mwg-rs:Extensions/TAMO:CoverImageEpoch").isNull());
        // Nothing else, such as what has made the packet.
        const QStringList keys = saved.allData().keys();
        QCOMPARE(keys.filter(QLatin1String("Xmp.mwg-rs.Regions")).size(), keys.size());
    }

    void unmatchedRegionsStay()
    {
        RKExiv2XmpData data = dataOf(packetWith(face("0.2 0.2") + region("Pet", area("0.5 0.5 1 1"))
            + face("0.8 0.8",
                "<mwg-rs:Name>Old</mwg-rs:Name><mwg-rs:Extensions rdf:parseType=\"Resource\">"
                "<TAMO:CoverImageEpoch>7</TAMO:CoverImageEpoch></mwg-rs:Extensions>")));
        QVERIFY(update(data,
            {newFace(QRectF(0.75, 0.75, 0.1, 0.1), 3, u"New"_s),
                newFace(QRectF(0.45, 0.45, 0.1, 0.1), 4, u"Added"_s),
                newFace(QRectF(0.75, 0.75, 0.1, 0.1), 5, u"Second"_s)}));
        QCOMPARE(told(facesIn(data)),
            QStringList({u"0.1,0.1 0.2x0.2 -1 -1 0 "_s,
                // A face that takes over a region keeps its epoch unless it has one.
                u"0.75,0.75 0.1x0.1 3 7 2 New"_s,
                u"0.45,0.45 0.1x0.1 4 -1 3 Added"_s,
                u"0.75,0.75 0.1x0.1 5 -1 4 Second"_s}));
    }

    void otherImageSizeDropsTheOldFaces()
    {
        const std::string unusable = region("face", "");
        RKExiv2XmpData data = dataOf(packetWith(face("0.2 0.2") + unusable + region("Pet", "")));
        expect(QtInfoMsg, "^face region ignored .*");
        expect(QtInfoMsg,
            "^XMP face regions removed as image size is different: XMP image size is "
            "QSize\\(400, 300\\) , real image size QSize\\(300, 400\\)$");
        QVERIFY(update(data, {newFace(QRectF(0.1, 0.1, 0.2, 0.2), 1)}, QSize(300, 400)));
        const RKExiv2XmpData saved = savedAndRead(data);
        QCOMPARE(RKXmpRegions().appliedToImageSize(&saved), QSize(300, 400));
        QCOMPARE(RKXmpRegions().numberOfRegions(saved), 2);
        QCOMPARE(facesIn(saved).constFirst().xmpRegionIndex(), 1);

        // Without a size nothing is known to fit.
        data = dataOf(packetAround("<mwg-rs:Regions><rdf:Description><mwg-rs:RegionList><rdf:Bag>"
            + face("0.2 0.2")
            + "</rdf:Bag></mwg-rs:RegionList></rdf:Description></mwg-rs:Regions>"));
        expect(QtInfoMsg, "XMP image size is QSize\\(-1, -1\\)");
        QVERIFY(update(data, {newFace(QRectF(0.8, 0.8, 0.1, 0.1))}));
        QCOMPARE(facesIn(savedAndRead(data)).size(), 1);
    }

    void removingFacesLeavesOtherRegions()
    {
        RKExiv2XmpData data
            = dataOf(packetWith(face("0.2 0.2") + region("Pet", "") + region("FACE", "")));
        QVERIFY(RKXmpRegions().removeFaceRegions(&data));
        const RKExiv2XmpData saved = savedAndRead(data);
        QCOMPARE(RKXmpRegions().numberOfRegions(saved), 1);
        QVERIFY(facesIn(saved).isEmpty());
        QCOMPARE(RKXmpRegions().appliedToImageSize(&saved), kImageSize);

        // Also the last one; the structure stays and takes the place of a target's one.
        data = dataOf(regionIn("attributes"));
        QVERIFY(RKXmpRegions().removeFaceRegions(&data));
        QVERIFY(savedAndRead(data).hasXMPKey(u"Xmp.mwg-rs.Regions"_s));
        RKExiv2XmpData empty;
        QVERIFY(RKXmpRegions().removeFaceRegions(&empty));
        QVERIFY(empty.xmpPacket().empty());
    }

    void packetIsWrittenToAFile()
    {
        const QTemporaryDir directory;
        const QString path = directory.filePath(u"ä.xmp"_s);
        QVERIFY(RKXmpRegions::writeXmpData(dataOf(regionIn("elements") + " "), QFileInfo(path)));
        QVERIFY(RKXmpRegions::writeXmpData(dataOf(regionIn("elements")), QFileInfo(path)));
        QCOMPARE(RKTestPictures::read(path).toStdString(), regionIn("elements"));
    }
};

QTEST_APPLESS_MAIN(RKXmpRegionsTest)

#include "RKXmpRegionsTest.moc"
