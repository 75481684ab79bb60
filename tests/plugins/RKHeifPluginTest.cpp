#include "RKPluginReading.h"

#include <QColorSpace>
#include <QTransform>
#include <QtEndian>
#include <QtPlugin>

#include <map>

Q_IMPORT_PLUGIN(RKHeifPlugin)

using namespace RKPluginReading;

namespace {

constexpr int kCodingError = 12;

QByteArray number(quint64 value, int bytes)
{
    const quint64 swapped = qToBigEndian(value);
    return QByteArray(reinterpret_cast<const char*>(&swapped), sizeof swapped).last(bytes);
}

QByteArray box(const char* type, const QByteArray& content)
{
    return number(quint64(content.size()) + 8, 4) + QByteArray(type, 4) + content;
}

QByteArray fullBox(const char* type, const QByteArray& content, int version = 0)
{
    return box(type, number(quint64(version), 1) + number(0, 3) + content);
}

QByteArray stated(quint64 width, quint64 height)
{
    return fullBox("ispe", number(width, 4) + number(height, 4));
}

QByteArray fractions(const QList<int>& numbers)
{
    QByteArray result;
    for (const int value : numbers)
        result += number(quint32(value), 4);
    return box("clap", result);
}

QByteArray irot(quint64 turns)
{
    return box("irot", number(turns, 1));
}

QByteArray grid(int rows, int columns, quint64 width, quint64 height)
{
    return number(0, 2) + number(quint64(rows - 1), 1) + number(quint64(columns - 1), 1)
        + number(width, 2) + number(height, 2);
}

QByteArray coded(int primaries, int transfer, int matrix = 6, bool isFull = true)
{
    return box("colr",
        "nclx" + number(quint64(primaries), 2) + number(quint64(transfer), 2)
            + number(quint64(matrix), 2) + number(isFull ? 0x80 : 0, 1));
}

// A HEIF file made of items, as a camera writes it: with its turning and without turned sizes.
struct File
{
    struct Item
    {
        QByteArray type;
        QByteArray data;
        QList<QByteArray> properties;
    };

    struct Reference
    {
        const char* type;
        quint64 from;
        QList<quint64> to;
    };

    std::map<quint64, Item> items;
    QList<Reference> references;
    quint64 primary = 1;
    quint64 shift = 0; // of the data's places
    QByteArray brands = "heic0000mif1heic";

    QByteArray bytes() const
    {
        QByteArray data;
        QByteArray entries;
        QByteArray locations;
        QByteArray container;
        QByteArray associations;
        int properties = 0;
        const QByteArray type = box("ftyp", brands);
        const quint64 start = quint64(type.size()) + 8 + shift;
        for (const auto& [id, item] : items) {
            entries += fullBox("infe", number(id, 2) + number(0, 2) + item.type + '\0', 2);
            locations += number(id, 2) + number(0, 2) + number(1, 2)
                + number(start + quint64(data.size()), 4) + number(quint64(item.data.size()), 4);
            data += item.data;
            associations += number(id, 2) + number(quint64(item.properties.size()), 1);
            for (const QByteArray& property : item.properties) {
                container += property;
                associations += number(quint64(++properties), 1);
            }
        }
        QByteArray links;
        for (const Reference& reference : references) {
            QByteArray to;
            for (const quint64 id : reference.to)
                to += number(id, 2);
            links += box(reference.type,
                number(reference.from, 2) + number(quint64(reference.to.size()), 2) + to);
        }
        const QByteArray count = number(items.size(), 2);
        return type + box("mdat", data)
            + fullBox("meta",
                fullBox("hdlr", number(0, 4) + "pict" + QByteArray(13, '\0'))
                    + fullBox("pitm", number(primary, 2)) + fullBox("iinf", count + entries)
                    + fullBox("iloc", "\x44" + number(0, 1) + count + locations)
                    + fullBox("iref", links)
                    + box("iprp",
                        box("ipco", container)
                            + fullBox("ipma", number(items.size(), 4) + associations)));
    }
};

QByteArray fixture(const char* name)
{
    return RKTestPictures::read(QLatin1String(RK_TEST_DATA "/heif/") + QLatin1String(name));
}

// Quadrants of 128x64 pixels, coded.
File::Item tile()
{
    static const QByteArray file = fixture("quadrants.heic");
    const auto boxAt = [](const char* type) {
        const qsizetype at = file.indexOf(type) - 4;
        return file.mid(at, qsizetype(file.mid(at, 4).toHex().toLongLong(nullptr, 16)));
    };
    return {"hvc1", boxAt("mdat").mid(8), {boxAt("hvcC"), stated(128, 64)}};
}

File withProperties(const QList<QByteArray>& properties)
{
    File file;
    file.items[1] = tile();
    file.items[1].properties += properties;
    return file;
}

// Two by two tiles, and one of them once more as the thumbnail.
File gridWithThumbnail(const QList<QByteArray>& turning = {}, bool isThumbnailTurned = true)
{
    File file;
    file.items[1] = {"grid", grid(2, 2, 256, 120), QList<QByteArray>{stated(256, 120)} + turning};
    file.items[2] = tile();
    file.items[3] = tile();
    file.items[3].properties += fractions({128, 1, 60, 1, 0, 1, 0, 1});
    if (isThumbnailTurned)
        file.items[3].properties += turning;
    file.references = {{"dimg", 1, {2, 2, 2, 2}}, {"thmb", 3, {1}}};
    return file;
}

// Without a thumbnail. The picture ends within the last tiles.
File gridOf(int rows, int columns, const QList<QByteArray>& turning = {})
{
    const int width = columns * 128 - 28;
    const int height = rows * 64 - 14;
    File file;
    file.items[1] = {"grid",
        grid(rows, columns, quint64(width), quint64(height)),
        QList<QByteArray>{stated(quint64(width), quint64(height))} + turning};
    file.items[2] = tile();
    file.references = {{"dimg", 1, QList<quint64>(rows * columns, 2)}};
    return file;
}

// The four quadrants and not four times four.
bool isThumbnail(const QImage& image)
{
    const QRgb atCorner = image.pixel(2, 2);
    const QRgb beside = image.pixel(image.width() * 3 / 8, 2);
    return std::abs(qGreen(atCorner) - qGreen(beside)) < 64
        && std::abs(qRed(atCorner) - qRed(beside)) < 64;
}

QImage quadrants()
{
    return RKTestPictures::quadrants({128, 64});
}

} // namespace

class RKHeifPluginTest : public RKQuietTest
{
    Q_OBJECT

private Q_SLOTS:

    void brandsDecide()
    {
        const auto isOurs = [](const QByteArray& brands) {
            File file = withProperties({});
            file.brands = brands;
            QBuffer buffer;
            buffer.setData(file.bytes());
            return QImageReader(&buffer).canRead();
        };
        for (const char* brand : {"heic", "heix", "hevc", "mif1", "msf1"}) {
            QVERIFY2(isOurs(brand + QByteArray("0000")), brand);
            QVERIFY2(isOurs(QByteArray("isom0000mp42") + brand), brand);
        }
        QVERIFY(!isOurs("avif0000mif1heic"));
        QVERIFY(!isOurs("isom0000mp42"));
    }

    void readsOnce()
    {
        // A JPEG with the wrong name is left to its own reader.
        QBuffer jpeg;
        jpeg.setData(RKTestPictures::encoded(quadrants(), "JPG"));
        QImageReader other(&jpeg, "heic");
        QVERIFY(!other.read().isNull());

        QBuffer heif;
        heif.setData(fixture("quadrants.heic"));
        QImageReader reader(&heif, "heic");
        QVERIFY(reader.canRead());
        QCOMPARE(heif.pos(), 0);
        QCOMPARE(reader.transformation(), QImageIOHandler::TransformationNone);
        QVERIFY(!reader.read().isNull());
        QVERIFY(!reader.canRead());
        QVERIFY(reader.read().isNull());
    }

    void picturesComeUprightAndCropped()
    {
        const QImage stored = quadrants();
        const QImage corner = stored.copy(88, 34, 40, 30);
        const QByteArray clap = fractions({40, 1, 30, 1, 44, 1, 17, 1});
        const auto turned = [](const QImage& image, int turns) {
            return image.transformed(QTransform().rotate(-90 * turns));
        };
        const std::pair<QList<QByteArray>, QImage> pictures[]{{{}, stored},
            // Turned to the left, ISO/IEC 23008-12, 6.5.10.
            {{irot(1)}, turned(stored, 1)},
            {{irot(2)}, turned(stored, 2)},
            {{irot(3)}, turned(stored, 3)},
            // Top and bottom are exchanged, 6.5.12.
            {{box("imir", number(0, 1))}, stored.mirrored(false, true)},
            {{clap}, corner},
            {{clap, irot(1)}, turned(corner, 1)},
            // Less than is decoded.
            {{fractions({127, 1, 61, 1, -1, 2, -3, 2})}, stored.copy(0, 0, 127, 61)}};
        for (const auto& [properties, expected] : pictures) {
            const QByteArray file = withProperties(properties).bytes();
            QCOMPARE(size(file), expected.size());
            const QImage whole = read(file);
            QCOMPARE(whole.format(), QImage::Format_RGB32);
            QVERIFY(difference(whole, expected) <= kCodingError);
            const QSize half = expected.size() / 2;
            QVERIFY(difference(read(file, half), whole.scaled(half, {}, Qt::SmoothTransformation))
                <= 1);
        }
    }

    // They are made smaller before they become RGB.
    void smallerPicturesAreTheSame()
    {
        // Libraries differ a little in what white is where the range is limited.
        constexpr int kScalingError = 3;
        const std::pair<const char*, File> files[]{{"part of a tile", gridOf(1, 1)},
            {"few tiles, turned and mirrored", gridOf(2, 3, {irot(3), box("imir", number(0, 1))})},
            {"tiles for several threads", gridOf(10, 16)},
            {"limited range", withProperties({coded(1, 13, 1, false)})},
            {"another matrix", withProperties({coded(9, 13, 9)})},
            {"a matrix that only libheif knows", withProperties({coded(1, 13, 8)})},
            {"a matrix that nobody knows", withProperties({coded(1, 13, 999)})}};
        for (const auto& [name, file] : files) {
            const QImage whole = read(file.bytes());
            QVERIFY2(!whole.isNull(), name);
            const QSize half = whole.size() / 2;
            const QImage expected = whole.scaled(half, {}, Qt::SmoothTransformation);
            QVERIFY2(difference(read(file.bytes(), half), expected) <= kScalingError, name);
        }
    }

    void sizesTurnedByMistakeAreMended()
    {
        // libheif 1.15 stated the size of the turned picture instead of the stored one's.
        File file = withProperties({irot(1)});
        file.items[1].properties[1] = stated(64, 128);
        QCOMPARE(size(file.bytes()), QSize(64, 128));
        QCOMPARE(read(file.bytes()), read(withProperties({irot(1)}).bytes()));
    }

    void transparencyIsKept()
    {
        const QImage image = read(fixture("alpha.heic"));
        QCOMPARE(image.format(), QImage::Format_ARGB32);
        QVERIFY(qAlpha(image.pixel(10, 10)) >= 255 - kCodingError);
        QVERIFY(qRed(image.pixel(10, 10)) >= 255 - kCodingError);
        QVERIFY(qAlpha(image.pixel(50, 10)) <= kCodingError);
    }

    void colorsAreConvertedOnceOnly()
    {
        const QColorSpace p3(QColorSpace::DisplayP3);
        const QColorSpace srgb(QColorSpace::SRgb);
        const QColorSpace bt2020({0.3127, 0.3290},
            {0.708, 0.292},
            {0.170, 0.797},
            {0.131, 0.046},
            QColorSpace::TransferFunction::SRgb);
        const QColorSpace none;
        // From what the colours are converted, and what they say then.
        const std::tuple<QByteArray, QColorSpace, QColorSpace> cases[]{
            {box("colr", "prof" + p3.iccProfile()), none, p3},
            {coded(1, 13), none, none}, // BT.709
            {coded(12, 13), p3, srgb},
            {coded(12, 18), none, none}, // P3, HLG
            {coded(9, 14), bt2020, srgb}};
        for (const auto& [property, converted, result] : cases) {
            QImage expected = read(withProperties({}).bytes());
            expected.setColorSpace(converted);
            expected.convertToColorSpace(QColorSpace::SRgb);
            const QImage image = read(withProperties({property}).bytes());
            QCOMPARE(image.colorSpace(), result);
            QVERIFY(difference(image, expected) <= 1);
        }
    }

    void thumbnailsServeSmallSizes()
    {
        const QByteArray file = gridWithThumbnail().bytes();
        QCOMPARE(size(file), QSize(256, 120));
        QVERIFY(!isThumbnail(read(file)));
        QVERIFY(isThumbnail(read(file, {128, 60})));
        QVERIFY(!isThumbnail(read(file, {130, 61})));

        // One that shares the picture's clean aperture, and so seems to be as large.
        File sharing = gridWithThumbnail();
        sharing.items[3].properties.last() = fractions({256, 1, 120, 1, 0, 1, 0, 1});
        for (const QSize& wanted : {QSize(), QSize(200, 94)})
            QVERIFY(!isThumbnail(read(sharing.bytes(), wanted)));

        // One that leaves it to the picture to say what its colours are.
        File colored = gridWithThumbnail();
        colored.items[1].properties += coded(12, 13);
        QImage expected = read(file, {128, 60});
        expected.setColorSpace(QColorSpace::DisplayP3);
        expected.convertToColorSpace(QColorSpace::SRgb);
        QVERIFY(difference(read(colored.bytes(), {128, 60}), expected) <= 1);

        // One that would appear the wrong way round.
        QVERIFY(isThumbnail(read(gridWithThumbnail({irot(2)}).bytes(), {64, 30})));
        QVERIFY(!isThumbnail(read(gridWithThumbnail({irot(2)}, false).bytes(), {64, 30})));
    }

    void hostileFilesAreRefused()
    {
        const auto check = [](const char* name, const File& hostile) {
            QVERIFY2(isRefused(hostile.bytes()), name);
        };
        File file = withProperties({});
        file.primary = 7;
        check("no primary", file);
        file = withProperties({});
        file.shift = 100'000;
        check("data outside", file);
        check("aperture", withProperties({fractions({INT_MAX, INT_MAX - 1, 64, 1, 0, 1, 0, 1})}));
        file = withProperties({});
        file.items[1].properties[1] = stated(20000, 20000);
        check("pixels", file);
        file.items[1].properties[1] = {};
        check("no size", file);
        // Pictures after pictures, each of which would be decoded.
        file = withProperties({});
        file.items[1].data = tile().data.repeated(50);
        check("many pictures", file);

        const File::Item derived{"iden", {}, {stated(128, 64)}};
        file = {};
        file.items = {{1, derived}, {2, derived}};
        file.references = {{"dimg", 1, {2}}, {"dimg", 2, {1}}};
        check("circle", file);
        file = {};
        for (quint64 id = 1; id < 60; ++id) {
            file.items[id] = derived;
            file.references << File::Reference{"dimg", id, {id + 1}};
        }
        file.items[60] = tile();
        check("deep", file);

        // Five times 64 overlays of one another.
        file = {};
        for (quint64 id = 1; id <= 5; ++id) {
            file.items[id] = {"iovl",
                QByteArray(10, '\0') + number(64, 2) + number(1, 2) + QByteArray(256, '\0'),
                {stated(64, 1)}};
            file.references << File::Reference{"dimg", id, QList<quint64>(64, id + 1)};
        }
        file.items[6] = tile();
        file.items[6].properties[1] = stated(64, 1);
        check("overlays of overlays", file);

        file = gridWithThumbnail();
        file.references[0].to.last() = 99;
        check("tile unknown", file);
        file = gridWithThumbnail();
        file.items[1].data = grid(2, 2, 20000, 20000);
        check("large grid", file);
        file.items[1].data = grid(2, 2, 128, 64);
        check("superfluous tiles", file);
        file.items[1].data = grid(2, 2, 257, 120);
        check("gap between tiles", file);
        file = gridWithThumbnail();
        file.items[4] = {"hvc1", tile().data, {tile().properties[0], stated(120, 64)}};
        file.references[0].to = {2, 2, 2, 4};
        check("unequal tiles", file);
    }

    void cutFilesAreRefused()
    {
        const QByteArray file = fixture("quadrants.heic");
        QVERIFY(areBeginningsRefused(file, file.size()));
    }
};

QTEST_GUILESS_MAIN(RKHeifPluginTest)
#include "RKHeifPluginTest.moc"
