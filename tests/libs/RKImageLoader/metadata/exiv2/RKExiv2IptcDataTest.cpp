#include "RKImageLoader/metadata/exiv2/RKExiv2ExifData_p.h"
#include "RKImageLoader/metadata/exiv2/RKExiv2IccData_p.h"
#include "RKImageLoader/metadata/exiv2/RKExiv2IptcData_p.h"
#include "RKImageLoader/metadata/saving/RKIptcUpdate_p.h"
#include "support/RKMetadataFixtures.h"
#include "support/RKQuietTest.h"

using namespace RKMetadataFixtures;
using namespace Qt::StringLiterals;

namespace {

constexpr char kCaption[] = "Iptc.Application2.Caption";
constexpr char kKeywords[] = "Iptc.Application2.Keywords";
constexpr char kCity[] = "Iptc.Application2.City";
constexpr char kDate[] = "Iptc.Application2.DateCreated";
constexpr char kTime[] = "Iptc.Application2.TimeCreated";
constexpr char kCharacterSet[] = "Iptc.Envelope.CharacterSet";
// A data set of no known meaning.
constexpr char kBinary[] = "Iptc.Application2.0x00fa";

void add(Exiv2::IptcData& data, const char* key, const std::string& bytes)
{
    Exiv2::StringValue value;
    value.read(bytes);
    data.add(Exiv2::IptcKey(key), &value);
}

const Exiv2::byte* asBytes(const QByteArray& bytes)
{
    return reinterpret_cast<const Exiv2::byte*>(bytes.constData());
}

QByteArray bytesOf(const Exiv2::IptcData& data, const char* key)
{
    const Exiv2::IptcKey iptcKey(key);
    const RKExiv2IptcData::Values values = RKExiv2IptcData::valuesOf(data);
    const auto found = values.find({iptcKey.record(), iptcKey.tag()});
    return found == values.end() ? QByteArray() : found->second.join('|');
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

class RKExiv2IptcDataTest : public RKQuietTest
{
    Q_OBJECT

private Q_SLOTS:

    void repeatedSetsSurviveASave()
    {
        const QByteArray file = jpegWith(
            {{kKeywords, "a"}, {kCaption, "c"}, {kKeywords, "b"}, {kKeywords, "a"}, {kCity, "x"}});
        const RKExiv2IptcData data = dataIn(file);
        QCOMPARE(data.readString(kKeywords), u"a, b, a"_s);
        QCOMPARE(data.allData().value(QLatin1String(kKeywords)), u"a, b, a"_s);
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
        QCOMPARE(data.readString(kCaption), u"Grüße"_s);
        QCOMPARE(data.readString(kCity), u"Zürich 東"_s);
        QCOMPARE(data.readString(kKeywords), u"Été, plain"_s);
    }

    void onlyChangedDataSetsAreTouched()
    {
        // The empty set and the time without an offset would be lost if exiv2 encoded them.
        const QByteArray block = QByteArray::fromHex("1c02050000"
                                                     "1c0219000161"
                                                     "1c023c0006313331383038");
        Exiv2::IptcData before;
        QCOMPARE(Exiv2::IptcParser::decode(before, asBytes(block), uint32_t(block.size())), 0);
        RKExiv2IptcData held(before);
        Exiv2::IptcData after = before;
        held.mergeInto(after);
        QCOMPARE(RKIptcUpdate::updated(block, before, after), block);

        held.writeString(kKeywords, u"bc"_s);
        held.mergeInto(after);
        QByteArray expected = block;
        QCOMPARE(RKIptcUpdate::updated(block, before, after),
            expected.replace(QByteArray("\0\1a", 3), QByteArray("\0\2bc", 4)));
        QCOMPARE(RKIptcUpdate::updated({}, {}, after)->count('\x1c'), 3);
        QCOMPARE(RKIptcUpdate::updated(block, after, {}), QByteArray());
    }

    void newTextsChangeTheReadingOfNoOthers()
    {
        struct Bytes
        {
            QByteArray mark;
            QByteArray other;
            QByteArray text = {};
        };

        struct Row
        {
            QString text;
            Bytes before;
            Bytes after;
        };

        const QByteArray none;
        const QByteArray utf8 = "\x1b%G";
        const QByteArray latin1 = "\x1b.A";
        const QString zurich = u"Zürich “ÿ”"_s;
        const QByteArray inWindows1252 = "Z\xfcrich \x93\xff\x94";
        const QString tokyo = u"東京"_s;
        // What Windows-1252 makes of it is UTF-8, too.
        const QString ambiguous = u"Ã©"_s;
        const Row rows[] = {
            {u"plain"_s, {none, "\xe9t\xe9"}, {none, "\xe9t\xe9", "plain"}},
            {zurich, {none, "plain"}, {utf8, "plain", zurich.toUtf8()}},
            {zurich, {utf8, "\xc3\xa9"}, {utf8, "\xc3\xa9", zurich.toUtf8()}},
            // Beside Windows-1252, also one marked as Latin-1, and one that cannot hold the text.
            {zurich, {none, "\xe9t\xe9"}, {none, "\xe9t\xe9", inWindows1252}},
            {zurich, {latin1, "\xe9t\xe9"}, {latin1, "\xe9t\xe9", inWindows1252}},
            {tokyo, {none, "\x8et\xe9"}, {utf8, u"Žté"_s.toUtf8(), tokyo.toUtf8()}},
            {ambiguous, {latin1, "\xe9"}, {utf8, "\xc3\xa9", ambiguous.toUtf8()}},
            // Beside UTF-8 without a mark.
            {zurich, {none, "\xc3\x8ele"}, {none, "\xc3\x8ele", zurich.toUtf8()}},
            {zurich, {latin1, "\xc3\x8ele"}, {latin1, "\xc3\x8ele", inWindows1252}},
        };
        for (const auto& [text, before, after] : rows) {
            Exiv2::IptcData target;
            if (!before.mark.isEmpty())
                add(target, kCharacterSet, before.mark.toStdString());
            add(target, kCity, before.other.toStdString());
            add(target, kBinary, "\xff\xc3\xa9");
            RKExiv2IptcData held(target);
            held.writeString(kCaption, text);
            held.mergeInto(target);

            QCOMPARE(bytesOf(target, kCharacterSet), after.mark);
            QCOMPARE(bytesOf(target, kCity), after.other);
            QCOMPARE(bytesOf(target, kCaption), after.text);
            QCOMPARE(bytesOf(target, kBinary), QByteArray("\xff\xc3\xa9"));
            QCOMPARE(RKExiv2IptcData(target).readString(kCaption), text);
            // Nobody finds an empty one.
            held.writeString(kCaption, {});
            held.mergeInto(target);
            QVERIFY(RKExiv2IptcData(target).readStringList(kCaption).isEmpty());
        }
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
        data.writeString(kTime, u"12:30:45-07:00"_s);
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
