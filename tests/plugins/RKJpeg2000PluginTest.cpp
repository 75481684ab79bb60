#include "RKPluginReading.h"

#include <QColorSpace>
#include <QTemporaryFile>
#include <QtPlugin>

#include <openjpeg.h>

#include <functional>

Q_IMPORT_PLUGIN(RKJpeg2000Plugin)

using namespace RKPluginReading;

namespace {

constexpr QSize kSize(64, 48);

// What a component shows of the quadrants: a value from 0 to 255.
using Sample = std::function<int(QRgb)>;

struct Component
{
    Sample sample;
    quint32 bits = 8;
    bool isSigned = false;
    quint32 step = 1; // pixels for a sample
    quint16 alpha = 0; // as in opj_image_comp_t
};

struct Coding
{
    OPJ_COLOR_SPACE colors = OPJ_CLRSPC_SRGB;
    bool isBare = false;
    int tile = 0;
};

const Sample kRed = [](QRgb color) { return qRed(color); };
const Sample kGreen = [](QRgb color) { return qGreen(color); };
const Sample kBlue = [](QRgb color) { return qBlue(color); };
const Sample kHalf = [](QRgb) { return 128; };

Sample ink(const Sample& light)
{
    return [light](QRgb color) { return 255 - light(color); };
}

Sample weighted(double red, double green, double blue, double offset)
{
    return [=](QRgb color) {
        const double sum = red * qRed(color) + green * qGreen(color) + blue * qBlue(color);
        return std::clamp(int(std::lround(sum + offset)), 0, 255);
    };
}

QByteArray encoded(
    const QImage& picture, const QList<Component>& components, const Coding& coding = {})
{
    std::vector<opj_image_cmptparm_t> parameters;
    for (const Component& component : components) {
        opj_image_cmptparm_t parameter{};
        parameter.dx = parameter.dy = component.step;
        parameter.w = (quint32(picture.width()) + component.step - 1) / component.step;
        parameter.h = (quint32(picture.height()) + component.step - 1) / component.step;
        parameter.prec = component.bits;
        parameter.sgnd = component.isSigned;
        parameters.push_back(parameter);
    }
    opj_image_t* const image
        = opj_image_create(quint32(components.size()), parameters.data(), coding.colors);
    image->x1 = quint32(picture.width());
    image->y1 = quint32(picture.height());
    for (qsizetype i = 0; i < components.size(); ++i) {
        const Component& component = components[i];
        opj_image_comp_t& target = image->comps[i];
        target.alpha = component.alpha;
        const qint64 highest = (1LL << component.bits) - 1;
        const qint64 offset = component.isSigned ? (highest + 1) / 2 : 0;
        for (quint32 y = 0; y < target.h; ++y) {
            for (quint32 x = 0; x < target.w; ++x) {
                const QRgb pixel = picture.pixel(int(x * component.step), int(y * component.step));
                target.data[y * target.w + x]
                    = OPJ_INT32(component.sample(pixel) * highest / 255 - offset);
            }
        }
    }
    opj_cparameters_t options;
    opj_set_default_encoder_parameters(&options);
    options.tcp_numlayers = 1;
    options.cp_disto_alloc = 1;
    options.tile_size_on = coding.tile > 0;
    options.cp_tdx = options.cp_tdy = coding.tile;
    QTemporaryFile file;
    file.open();
    opj_codec_t* const codec = opj_create_compress(coding.isBare ? OPJ_CODEC_J2K : OPJ_CODEC_JP2);
    opj_stream_t* const stream
        = opj_stream_create_default_file_stream(qPrintable(file.fileName()), OPJ_FALSE);
    const bool isDone = opj_setup_encoder(codec, &options, image)
        && opj_start_compress(codec, image, stream) && opj_encode(codec, stream)
        && opj_end_compress(codec, stream);
    opj_stream_destroy(stream);
    opj_destroy_codec(codec);
    opj_image_destroy(image);
    return isDone ? file.readAll() : QByteArray();
}

QImage quadrants()
{
    return RKTestPictures::quadrants(kSize);
}

QByteArray rgb(const Coding& coding = {})
{
    return encoded(quadrants(), {{kRed}, {kGreen}, {kBlue}}, coding);
}

QByteArray number32(quint64 value)
{
    return QByteArray::fromHex(QByteArray::number(value, 16).rightJustified(8, '0'));
}

QByteArray box(const char* type, const QByteArray& content)
{
    return number32(quint64(content.size()) + 8) + type + content;
}

QByteArray profileBox(const QByteArray& profile, char kind)
{
    return box("colr", kind + QByteArray(2, '\0') + profile);
}

// Puts boxes into the header of a file, before the one that says how the colours are meant: the
// first of these counts.
QByteArray withBoxes(QByteArray file, const QByteArray& boxes)
{
    const qsizetype header = file.indexOf("jp2h") - 4;
    const quint64 size = file.mid(header, 4).toHex().toULongLong(nullptr, 16);
    file.replace(header, 4, number32(size + quint64(boxes.size())));
    return file.insert(file.indexOf("colr") - 4, boxes);
}

} // namespace

class RKJpeg2000PluginTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void componentsBecomeColors_data()
    {
        QTest::addColumn<QByteArray>("file");
        QTest::addColumn<QImage>("expected");

        const QImage color = quadrants();
        const QImage gray = color.convertToFormat(QImage::Format_Grayscale8)
                                .convertToFormat(QImage::Format_RGB32);
        const auto halfOf = [](const QImage& image) {
            QImage result = image;
            QImage alpha(result.size(), QImage::Format_Alpha8);
            alpha.fill(128);
            result.setAlphaChannel(alpha);
            return result.convertToFormat(QImage::Format_ARGB32);
        };
        const Coding ycc{.colors = OPJ_CLRSPC_SYCC};
        const Component y{weighted(0.299, 0.587, 0.114, 0)};
        const Component cb{weighted(-0.168736, -0.331264, 0.5, 128)};
        const Component cr{weighted(0.5, -0.418688, -0.081312, 128)};
        const auto coarse = [](Component component) {
            component.step = 2;
            return component;
        };
        const auto add = [&](const char* name,
                             const QImage& expected,
                             const QList<Component>& components,
                             const Coding& coding = {}) {
            const QImage& source = coding.colors == OPJ_CLRSPC_GRAY ? gray : color;
            QTest::newRow(name) << encoded(source, components, coding) << expected;
        };
        add("RGB", color, {{kRed}, {kGreen}, {kBlue}});
        add("bare", color, {{kRed}, {kGreen}, {kBlue}}, {.isBare = true});
        add("tiles", color, {{kRed}, {kGreen}, {kBlue}}, {.tile = 32});
        add("16 bits", color, {{kRed, 16}, {kGreen, 16}, {kBlue, 16}});
        add("signed", color, {{kRed, 8, true}, {kGreen, 12, true}, {kBlue, 8, true}});
        add("few bits", color, {{kRed, 1}, {kGreen, 2}, {kBlue, 4}});
        add("grey", gray, {{kRed}}, {.colors = OPJ_CLRSPC_GRAY});
        add("grey, transparent",
            halfOf(gray),
            {{kRed}, {kHalf, 8, false, 1, 1}},
            {.colors = OPJ_CLRSPC_GRAY});
        add("transparent", halfOf(color), {{kRed}, {kGreen}, {kBlue}, {kHalf, 8, false, 1, 1}});
        add("transparent, bare",
            halfOf(color),
            {{kRed}, {kGreen}, {kBlue}, {kHalf}},
            {.isBare = true});
        add("YCC", color, {y, cb, cr}, ycc);
        add("YCC, coarse colours", color, {y, coarse(cb), coarse(cr)}, ycc);
        add("YCC that does not say so", color, {y, coarse(cb), coarse(cr)});
        // OpenJPEG doesn't write the number of CMYK (ITU-T T.801, table M.25).
        const Component black{[](QRgb) { return 0; }};
        const QByteArray inks = encoded(color, {{ink(kRed)}, {ink(kGreen)}, {ink(kBlue)}, black});
        QTest::newRow("CMYK") << withBoxes(inks, box("colr", QByteArray("\1\0\0\0\0\0\x0c", 7)))
                              << color;
    }

    void componentsBecomeColors()
    {
        QFETCH(QByteArray, file);
        QFETCH(QImage, expected);

        constexpr int kRounding = 2;
        QCOMPARE(size(file), kSize);
        const QImage image = read(file);
        QCOMPARE(image.format(), expected.format());
        QVERIFY(difference(image, expected) <= kRounding);
    }

    void palettesAreApplied()
    {
        // ITU-T T.800, I.5.3.4 and I.5.3.5: two colours for three channels.
        const QByteArray palette = box("pclr", QByteArray::fromHex("000203070707102030a0b0c0"))
            + box("cmap", QByteArray::fromHex("000001000000010100000102"));
        const Component index{[](QRgb color) { return qGreen(color) ? 1 : 0; }};
        const QImage image = read(withBoxes(encoded(quadrants(), {index}), palette));
        QCOMPARE(image.size(), kSize);
        QCOMPARE(image.pixelColor(1, 1), QColor(0x10, 0x20, 0x30));
        QCOMPARE(image.pixelColor(60, 1), QColor(0xa0, 0xb0, 0xc0));
    }

    void rgbProfilesStayAndGrayOnesAreApplied()
    {
        const QColorSpace p3(QColorSpace::DisplayP3);
        const QImage image = read(withBoxes(rgb(), profileBox(p3.iccProfile(), 2)));
        QCOMPARE(image.colorSpace(), p3);
        QCOMPARE(difference(image, quadrants()), 0);

        // Linear light, of an input device (ICC.1:2010, 8.3.4).
        const QByteArray white = number32(0xf6d6) + number32(0x10000) + number32(0xd32d);
        const QByteArray tags = number32(2) + "wtpt" + number32(156) + number32(20) + "kTRC"
            + number32(176) + number32(12) + "XYZ " + number32(0) + white + "curv" + number32(0)
            + number32(0);
        const QByteArray profile = number32(quint64(128 + tags.size())) + number32(0)
            + number32(0x02200000) + "scnrGRAYXYZ " + QByteArray(12, '\0') + "acsp"
            + QByteArray(28, '\0') + white + QByteArray(48, '\0') + tags;
        const QByteArray file = encoded(quadrants(), {{kHalf}}, {.colors = OPJ_CLRSPC_GRAY});
        const QImage gray = read(withBoxes(file, profileBox(profile, 3)));
        QCOMPARE(gray.colorSpace(), QColorSpace(QColorSpace::SRgb));
        QVERIFY(std::abs(qRed(gray.pixel(5, 5)) - 188) <= 1);
    }

    void smallPicturesLeaveLevelsOut()
    {
        const QImage large = quadrants().scaled(801, 602);
        const QByteArray file = encoded(large, {{kRed}, {kGreen}, {kBlue}}, {.tile = 256});
        const QImage expected
            = large.scaled(50, 37, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
        const QImage small = read(file, {50, 37});
        QCOMPARE(small.size(), QSize(50, 37));
        // Away from the edges, where filters differ.
        for (const QPoint& point : {QPoint(5, 5), QPoint(45, 5), QPoint(5, 32), QPoint(45, 32)})
            QVERIFY(
                difference(small.copy({point, QSize(1, 1)}), expected.copy({point, QSize(1, 1)}))
                <= 2);
    }

    void hostileFilesAreRefused_data()
    {
        QTest::addColumn<QByteArray>("file");

        struct Change
        {
            const char* name;
            qsizetype offset; // from the marker
            const char* bytes;
        };

        // The size (ITU-T T.800, A.5.1), then the coding (A.6.1).
        for (const Change& change : {Change{"width", 6, "7fffffff"},
                 Change{"pixels", 6, "0000700000007000"},
                 Change{"no tiles", 22, "0000000000000000"},
                 Change{"components", 38, "4000"}})
        {
            QByteArray changed = rgb({.isBare = true});
            const QByteArray bytes = QByteArray::fromHex(change.bytes);
            QTest::newRow(change.name) << changed.replace(
                changed.indexOf("\xff\x51") + change.offset, bytes.size(), bytes);
        }
        // Many layers of many precincts.
        QByteArray file = encoded(quadrants().scaled(1600, 1600), {{kRed}}, {.isBare = true});
        const qsizetype coding = file.indexOf("\xff\x52");
        file.insert(coding + 14, QByteArray(6, '\x44'));
        file.replace(coding + 2, 3, QByteArray::fromHex("001201"));
        QTest::newRow("packets") << file.replace(coding + 6, 2, "\xff\xff");
    }

    void hostileFilesAreRefused()
    {
        QFETCH(QByteArray, file);
        QElapsedTimer timer;
        timer.start();
        QVERIFY(!size(file).isValid());
        QVERIFY(read(file).isNull());
        QVERIFY(timer.elapsed() < RKTimeLimit::milliseconds(kSoon));
    }

    void cutFilesAreRefused()
    {
        // The last bytes are the end marker, which nobody misses, and some of the finest details.
        const QByteArray file = rgb();
        QVERIFY(areBeginningsRefused(file, file.size() / 2));
    }

    void threadsDoNotDisturbEachOther()
    {
        checkThreads(rgb());
    }
};

QTEST_GUILESS_MAIN(RKJpeg2000PluginTest)
#include "RKJpeg2000PluginTest.moc"
