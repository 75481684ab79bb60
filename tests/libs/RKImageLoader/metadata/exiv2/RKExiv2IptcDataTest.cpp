#include "RKImageLoader/metadata/exiv2/RKExiv2ExifData_p.h"
#include "RKImageLoader/metadata/exiv2/RKExiv2IccData_p.h"
#include "RKImageLoader/metadata/exiv2/RKExiv2IptcData_p.h"
#include "support/RKMetadataFixtures.h"

#include <QTest>

using namespace RKMetadataFixtures;

namespace {

constexpr char kCaption[] = "Iptc.Application2.Caption";
constexpr char kKeywords[] = "Iptc.Application2.Keywords";
constexpr char kCity[] = "Iptc.Application2.City";
constexpr char kDate[] = "Iptc.Application2.DateCreated";
constexpr char kTime[] = "Iptc.Application2.TimeCreated";
constexpr char kCharacterSet[] = "Iptc.Envelope.CharacterSet";
const QString kUtf8 = QStringLiteral("\x1b%G");

void add(Exiv2::IptcData& data, const char* key, const std::string& bytes)
{
    Exiv2::StringValue value;
    value.read(bytes);
    data.add(Exiv2::IptcKey(key), &value);
}

QByteArray jpegWith(const QList<std::pair<const char*, std::string>>& sets)
{
    return withMetadata(imageFile("JPEG"), [&sets](Exiv2::Image& image) {
        for (const auto& [key, bytes] : sets)
            add(image.iptcData(), key, bytes);
    });
}

RKExiv2IptcData dataIn(const QByteArray& file)
{
    return RKExiv2IptcData(open(file));
}

QByteArray saved(const RKExiv2IptcData& data, const QByteArray& file)
{
    RKExiv2ImagePtr image = open(file);
    return data.mergeTo(image) ? write(*image) : QByteArray();
}

} // namespace

class RKExiv2IptcDataTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void repeatedSetsSurviveASave()
    {
        const QByteArray file = jpegWith(
            {{kKeywords, "a"}, {kCaption, "c"}, {kKeywords, "b"}, {kKeywords, "a"}, {kCity, "x"}});
        const RKExiv2IptcData data = dataIn(file);
        QCOMPARE(data.readString(kKeywords), QStringLiteral("a, b, a"));
        QCOMPARE(data.allData().value(QLatin1String(kKeywords)), QStringLiteral("a, b, a"));
        QCOMPARE(dataIn(saved(data, file)).allData(), data.allData());

        const QByteArray other = jpegWith(
            {{kKeywords, "1"}, {kKeywords, "2"}, {kKeywords, "3"}, {kKeywords, "4"}, {kCity, "y"}});
        QCOMPARE(dataIn(saved(data, other)).allData(), data.allData());
        QCOMPARE(dataIn(saved(RKExiv2IptcData(), other)).allData(), dataIn(other).allData());
    }

    void textsReadInBothEncodings()
    {
        const RKExiv2IptcData data = dataIn(jpegWith({{kCaption,
                                                          "Gr\xFC\xDF"
                                                          "e"},
            {kCity, "Z\xC3\xBCrich \xE6\x9D\xB1"},
            {kKeywords, "\xC9t\xE9"},
            {kKeywords, "plain"}}));
        QCOMPARE(data.readString(kCaption), QStringLiteral("Grüße"));
        QCOMPARE(data.readString(kCity), QStringLiteral("Zürich 東"));
        QCOMPARE(data.readString(kKeywords), QStringLiteral("Été, plain"));
    }

    void characterSetIsMarkedWhereItIsTrue()
    {
        RKExiv2IptcData data;
        data.writeString(kCaption, QStringLiteral("plain"));
        QVERIFY(data.readString(kCharacterSet).isEmpty());
        data.writeString(kCity, QStringLiteral("Zürich"));
        QCOMPARE(data.readString(kCharacterSet), kUtf8);
        QCOMPARE(
            dataIn(saved(data, imageFile("JPEG"))).readString(kCity), QStringLiteral("Zürich"));

        // A mark would make the other texts unreadable for everybody else.
        RKExiv2IptcData latin = dataIn(jpegWith({{kCaption,
            "Gr\xFC\xDF"
            "e"}}));
        latin.writeString(kCity, QStringLiteral("Zürich"));
        QVERIFY(latin.readString(kCharacterSet).isEmpty());
        QCOMPARE(latin.readString(kCity), QStringLiteral("Zürich"));
        QCOMPARE(latin.readString(kCaption), QStringLiteral("Grüße"));
    }

    void datesAreLocalTime()
    {
        RKExiv2IptcData data;
        const QDateTime time(QDate(2021, 7, 4), QTime(12, 30, 45));
        data.setDateTime(kDate, kTime, time);
        QCOMPARE(data.dateTime(kDate, kTime), time);
        QCOMPARE(dataIn(saved(data, imageFile("JPEG"))).dateTime(kDate, kTime), time);

        data.setDateTime(kDate, kTime, QDateTime());
        QCOMPARE(data.dateTime(kDate, kTime), time);
        data.writeString(kTime, QStringLiteral("12:30:45-07:00"));
        QCOMPARE(data.dateTime(kDate, kTime), time);
        QCOMPARE(data.dateTime(kDate, kCity), QDateTime(time.date(), QTime(0, 0)));
        QVERIFY(!data.dateTime(kCity, kTime).isValid());
    }

    void iccProfileIsTheImagesOwnOrThatOfExif()
    {
        const QByteArray own = QByteArray(128, 'o');
        const QByteArray inExif = QByteArray(200, 'e');
        const RKExiv2ImagePtr image(Exiv2::ImageFactory::create(Exiv2::ImageType::jpeg).release());
        QVERIFY(RKExiv2IccData(image, RKExiv2ExifData(image)).isEmpty());
        Exiv2::DataValue value(
            reinterpret_cast<const Exiv2::byte*>(inExif.constData()), inExif.size());
        image->exifData().add(Exiv2::ExifKey("Exif.Image.InterColorProfile"), &value);
        RKExiv2IccData icc(image, RKExiv2ExifData(image));
        QCOMPARE(icc.asByteArray(), inExif);

        Exiv2::DataBuf buffer = RKExiv2Compat::toDataBuf(own);
        image->setIccProfile(buffer, false);
        icc = RKExiv2IccData(image, RKExiv2ExifData(image));
        QCOMPARE(icc.asByteArray(), own);
    }
};

QTEST_APPLESS_MAIN(RKExiv2IptcDataTest)

#include "RKExiv2IptcDataTest.moc"
