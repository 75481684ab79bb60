#include "RKImageLoader/decoders/photoshop/RKPhotoshopReader_p.h"
#include "support/RKQuietTest.h"
#include "support/RKTestPictures.h"
#include "support/RKTestPsd.h"

#include <QColorSpace>
#include <QRandomGenerator>

#include <array>
#include <cmath>
#include <cstring>

using namespace Qt::StringLiterals;

namespace {

constexpr QSize kSize(47, 33);
constexpr int kThumbnail = 1036;
constexpr int kThumbnailBgr = 1033;
constexpr int kProfile = 1039;
constexpr int kVersionInfo = 1057;

constexpr qsizetype kHeadSize = 40; // of a file without resources and layers
constexpr const char* kClaims = "Picture refused: its header promises more than its data can hold";

/// What the quadrants hold, from 0 to 1 in the units of the file, and what is to be seen.
struct Colors
{
    std::array<std::array<float, 4>, 4> samples;
    std::array<QRgb, 4> seen;
};

constexpr Colors kGrays{
    {{{0}, {1}, {0.2F}, {0.6F}}}, {0xff000000, 0xffffffff, 0xff333333, 0xff999999}};
// sRGB of 0.003, 0.02 and 0.6, which are linear.
constexpr Colors kLinear{
    {{{0.003F}, {1}, {0.02F}, {0.6F}}}, {0xff0a0a0a, 0xffffffff, 0xff272727, 0xffcbcbcb}};
constexpr Colors kRgb{{{{1, 0, 0}, {0, 1, 0}, {0.2F, 0.4F, 0.6F}, {1, 1, 1}}},
    {0xffff0000, 0xff00ff00, 0xff336699, 0xffffffff}};
// What the inks leave of the paper.
constexpr Colors kInks{{{{0, 1, 1, 1}, {1, 1, 1, 0}, {1, 0.4F, 0.4F, 0.6F}, {1, 1, 1, 1}}},
    {0xff00ffff, 0xff000000, 0xff993d3d, 0xffffffff}};
// L 40, a 40, b -20 and so on; the colours by CIE 15 and the Bradford matrix of sRGB.
constexpr Colors kLab{{{{0, 128 / 255.F, 128 / 255.F},
                          {1, 128 / 255.F, 128 / 255.F},
                          {0.4F, 168 / 255.F, 108 / 255.F},
                          {0.6F, 98 / 255.F, 148 / 255.F}}},
    {0xff000000, 0xffffffff, 0xff8f4180, 0xff5e9f6c}};

QByteArray encoded(float value, int depth)
{
    switch (depth) {
    case 8: return QByteArray(1, char(std::lround(value * 255)));
    case 16: return RKTestPsd::number(quint16(std::lround(value * 65535)));
    default: {
        quint32 bits = 0;
        std::memcpy(&bits, &value, sizeof bits);
        return RKTestPsd::number(bits);
    }
    }
}

int quadrant(int x, int y, const QSize& size)
{
    return (y >= size.height() / 2 ? 2 : 0) + (x >= size.width() / 2 ? 1 : 0);
}

RKTestPsd psd(int mode, int depth, int compression, const Colors& colors, size_t channels)
{
    RKTestPsd file{.size = kSize, .depth = depth, .mode = mode, .compression = compression};
    for (size_t channel = 0; channel < channels; ++channel) {
        QByteArray plane;
        for (int i = 0; i < kSize.width() * kSize.height(); ++i) {
            const int place = quadrant(i % kSize.width(), i / kSize.width(), kSize);
            plane += encoded(colors.samples[size_t(place)][channel], depth);
        }
        file.channels += plane;
    }
    return file;
}

RKTestPsd rgb(int compression = 0)
{
    return psd(3, 8, compression, kRgb, 3);
}

QImage picture(const std::array<QRgb, 4>& colors, const QSize& size)
{
    QImage image(size, QImage::Format_RGB32);
    for (int y = 0; y < size.height(); ++y) {
        for (int x = 0; x < size.width(); ++x)
            image.setPixel(x, y, colors[size_t(quadrant(x, y, size))]);
    }
    return image;
}

// As well as JPEG can hold it.
bool isNear(QRgb a, QRgb b)
{
    return std::abs(qRed(a) - qRed(b)) < 20 && std::abs(qBlue(a) - qBlue(b)) < 20;
}

QByteArray thumbnail(const QImage& image)
{
    return RKTestPsd::number(quint32(1)) + QByteArray(24, 0)
        + RKTestPictures::encoded(image, "jpg", 95);
}

} // namespace

/// Files of every kind, made as the format's description has it.
class RKPhotoshopReaderTest : public RKQuietTest
{
    Q_OBJECT

private Q_SLOTS:

    void everyModeDepthAndCompressionIsRead()
    {
        const auto check = [](const char* name, const RKTestPsd& file, const Colors& colors) {
            const QByteArray bytes = file.bytes();
            QCOMPARE(RKPhotoshopReader::size(bytes.first(26)), kSize);
            const QImage image = RKPhotoshopReader::read(bytes, {});
            QCOMPARE(image.format(), QImage::Format_RGB32);
            QVERIFY2(RKTestPictures::difference(image, picture(colors.seen, kSize)) <= 1, name);
        };

        check("grey 16 PackBits", psd(1, 16, 1, kGrays, 1), kGrays);
        check("grey 32, linear", psd(1, 32, 0, kLinear, 1), kLinear);
        check("duotone", psd(8, 8, 1, kGrays, 1), kGrays);
        for (const int compression : {0, 1, 2})
            check(qPrintable(u"RGB 8 as %1"_s.arg(compression)), rgb(compression), kRgb);
        check("RGB 16", psd(3, 16, 2, kRgb, 3), kRgb);
        check("CMYK 8", psd(4, 8, 1, kInks, 4), kInks);
        check("Lab 8", psd(9, 8, 1, kLab, 3), kLab);
        check("further channels are left out", psd(1, 8, 1, kGrays, 3), kGrays);

        Colors threeInks = kInks;
        threeInks.seen = {0xff00ffff, 0xffffffff, 0xffff6666, 0xffffffff};
        check("multichannel of three inks", psd(7, 8, 1, threeInks, 3), threeInks);

        RKTestPsd large = rgb(1);
        large.isLarge = true;
        check("large document", large, kRgb);

        RKTestPsd indexed{.size = kSize, .mode = 2, .palette = QByteArray(768, 0)};
        indexed.channels
            = psd(1, 8, 0, {{{{250 / 255.F}, {251 / 255.F}, {252 / 255.F}, {253 / 255.F}}}, {}}, 1)
                  .channels;
        for (int i = 0; i < 4; ++i) {
            indexed.palette[250 + i] = char(qRed(kRgb.seen[size_t(i)]));
            indexed.palette[256 + 250 + i] = char(qGreen(kRgb.seen[size_t(i)]));
            indexed.palette[512 + 250 + i] = char(qBlue(kRgb.seen[size_t(i)]));
        }
        check("indexed", indexed, kRgb);

        // Black on the left, in rows of 47 bits.
        RKTestPsd bitmap{.size = kSize, .depth = 1, .mode = 0, .compression = 1};
        bitmap.channels = {QByteArray("\xff\xff\xfe\0\0\0", 6).repeated(kSize.height())};
        const Colors halves{{}, {0xff000000, 0xffffffff, 0xff000000, 0xffffffff}};
        check("bitmap", bitmap, halves);
    }

    void profileIsApplied()
    {
        RKTestPsd file = rgb();
        file.resources = {{kProfile, QColorSpace(QColorSpace::AdobeRgb).iccProfile()}};
        QImage expected = picture(kRgb.seen, kSize);
        expected.setColorSpace(QColorSpace::AdobeRgb);
        expected.convertToColorSpace(QColorSpace::SRgb);
        QVERIFY(
            RKTestPictures::difference(RKPhotoshopReader::read(file.bytes(), {}), expected) <= 2);

        // One of another colour space is none.
        file.resources[0].second.replace(16, 4, "CMYK");
        QCOMPARE(RKPhotoshopReader::read(file.bytes(), {}), picture(kRgb.seen, kSize));
    }

    void opacityNeedsANegativeNumberOfLayers()
    {
        // A fifth of red, on white.
        const Colors onWhite{
            {{{1, 0.8F, 0.8F, 0.2F}, {1, 1, 1, 0}, {0, 0, 1, 1}, {1, 1, 1, 1}}}, {}};
        RKTestPsd file = psd(3, 8, 1, onWhite, 4);
        file.layerCount = -1;
        const QImage image = RKPhotoshopReader::read(file.bytes(), {});
        QCOMPARE(image.format(), QImage::Format_ARGB32);
        QCOMPARE(image.pixel(0, 0), 0x33ff0000);
        QCOMPARE(qAlpha(image.pixel(46, 0)), 0);
        QCOMPARE(image.pixel(0, 32), 0xff0000ff);

        for (const bool isLarge : {false, true}) {
            file.isLarge = isLarge;
            file.areLayersInBlock = true;
            QCOMPARE(RKPhotoshopReader::read(file.bytes(), {}), image);
        }
        file.layerCount = 1;
        QCOMPARE(RKPhotoshopReader::read(file.bytes(), {}).pixel(0, 0), 0xffffcccc);
    }

    void smallerPictureIsTheMeanOfItsAreas()
    {
        RKTestPsd file{.size = kSize, .mode = 1, .compression = 1};
        QByteArray samples(kSize.width() * kSize.height(), 0);
        QRandomGenerator random(3);
        for (char& sample : samples)
            sample = char(random.bounded(256));
        file.channels = {samples};

        for (const QSize& wanted : {QSize(100, 11), QSize(20, 20), QSize(46, 46), QSize(1, 1)}) {
            const QImage image = RKPhotoshopReader::read(file.bytes(), wanted);
            const QSize expected = kSize.scaled(wanted, Qt::KeepAspectRatio).expandedTo({1, 1});
            QCOMPARE(image.size(), expected);
            const double width = double(kSize.width()) / expected.width();
            const double height = double(kSize.height()) / expected.height();
            for (int i = 0; i < expected.width() * expected.height(); ++i) {
                const QPoint cell(i % expected.width(), i / expected.width());
                const QRectF area(cell.x() * width, cell.y() * height, width, height);
                double sum = 0;
                for (int k = 0; k < samples.size(); ++k) {
                    const QRectF common
                        = area & QRectF(QRect(k % kSize.width(), k / kSize.width(), 1, 1));
                    sum += common.width() * common.height() * uchar(samples[k]);
                }
                QVERIFY(std::abs(qRed(image.pixel(cell)) - sum / (width * height)) <= 0.51);
            }
        }
        QCOMPARE(RKPhotoshopReader::read(file.bytes(), {94, 1000}).size(), QSize(94, 66));
    }

    void thumbnailStandsInForABlankPicture()
    {
        const QImage small = picture(kRgb.seen, {32, 22});
        const QByteArray isLeftOut("\0\0\0\1\0", 5);
        RKTestPsd file = psd(3, 8, 1, {{{{1, 1, 1}, {1, 1, 1}, {1, 1, 1}, {1, 1, 1}}}, {}}, 3);
        file.resources = {{kVersionInfo, isLeftOut}, {kThumbnail, thumbnail(small)}};
        QTest::ignoreMessage(
            QtWarningMsg, "Photoshop file without merged picture: its thumbnail is shown");
        const QImage shown = RKPhotoshopReader::read(file.bytes(), kSize);
        QCOMPARE(shown.size(), kSize);
        QVERIFY(isNear(shown.pixel(3, 3), 0xffff0000));

        // The oldest thumbnails have red and blue exchanged.
        file.resources[1] = {kThumbnailBgr, thumbnail(small)};
        QTest::ignoreMessage(
            QtWarningMsg, "Photoshop file without merged picture: its thumbnail is shown");
        QVERIFY(isNear(RKPhotoshopReader::read(file.bytes(), {}).pixel(3, 3), 0xff0000ff));

        // Neither of them.
        file.resources.removeLast();
        QTest::ignoreMessage(
            QtWarningMsg, "Photoshop file without merged picture: a blank one is shown");
        QCOMPARE(RKPhotoshopReader::read(file.bytes(), {}).pixel(3, 3), 0xffffffff);

        // A real picture counts more than what the file says of it.
        file.channels = rgb().channels;
        QCOMPARE(RKPhotoshopReader::read(file.bytes(), {}), picture(kRgb.seen, kSize));
    }

    void damagedFilesGiveNothing()
    {
        for (const int compression : {0, 1, 2}) {
            const QByteArray whole = rgb(compression).bytes();
            const qint64 ratio = compression == 1 ? 64 : 1032;
            for (qsizetype length = 0; length < whole.size(); length += length < 60 ? 1 : 97) {
                const qint64 claim = 3LL * rgb().size.width() * rgb().size.height();
                if (compression > 0 && length >= kHeadSize && claim / ratio > length - kHeadSize)
                    QTest::ignoreMessage(QtWarningMsg, kClaims);
                QVERIFY(RKPhotoshopReader::read(whole.first(length), {}).isNull());
            }
        }
        // The last run a sample too long, as some programs write it, and too short.
        QByteArray packed = rgb(1).bytes();
        packed[packed.size() - 2] = char(packed[packed.size() - 2] - 1);
        QVERIFY(!RKPhotoshopReader::read(packed, {}).isNull());
        packed[packed.size() - 2] = char(packed[packed.size() - 2] + 2);
        QVERIFY(RKPhotoshopReader::read(packed, {}).isNull());

        RKTestPsd file = rgb();
        for (const int mode : {5, 4}) { // unknown, and one of four channels
            file.mode = mode;
            QVERIFY(RKPhotoshopReader::read(file.bytes(), {}).isNull());
        }
    }

    void sidesHaveLimits()
    {
        for (const int compression : {0, 1, 2}) {
            for (const int side : {30'000, 30'001, 300'000, 300'001}) {
                for (const bool isLarge : {false, true}) {
                    RKTestPsd file{
                        .isLarge = isLarge, .size = {side, side}, .channels = {"", "", ""}};
                    const QByteArray bytes = file.bytes().chopped(2)
                        + RKTestPsd::number(quint16(compression)) + QByteArray(1000, 0);
                    QCOMPARE(RKPhotoshopReader::size(bytes).isValid(),
                        side <= (isLarge ? 300'000 : 30'000));
                    // Refused before memory is taken, of which there would not be enough.
                    if (compression > 0 && side <= (isLarge ? 300'000 : 30'000))
                        QTest::ignoreMessage(QtWarningMsg, kClaims);
                    QVERIFY(RKPhotoshopReader::read(bytes, {100, 100}).isNull());
                }
            }
        }
    }
};

QTEST_GUILESS_MAIN(RKPhotoshopReaderTest)
#include "RKPhotoshopReaderTest.moc"
