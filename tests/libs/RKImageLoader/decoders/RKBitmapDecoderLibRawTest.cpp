#include "RKImageLoader/decoders/RKBitmapDecoderLibRaw_p.h"
#include "RKImageLoader/decoders/RKRawDirectories_p.h"
#include "RKImageLoader/drawables/RKImageRotator.h"
#include "RKImageLoader/loading/RKImageLoader.h"
#include "RKImageLoader/metadata/RKMetaData.h"
#include "support/RKQuietTest.h"
#include "support/RKTestDng.h"
#include "support/RKTestPictures.h"
#include "support/RKTestThreads.h"

#include <QColorSpace>
#include <QTemporaryDir>

#include <sys/stat.h>

#include <atomic>

using namespace Qt::StringLiterals;

namespace {

using RKTestPictures::quadrantColors;

constexpr QSize kSize(96, 64);
const QByteArray kDng = "dng";

RKTestDng dng(int orientation = 1)
{
    return {.scene = RKTestPictures::quadrants(kSize), .orientation = orientation};
}

// Told from the sensor's picture by its colour.
RKTestDng withPreview(const QSize& size, int orientation = 1)
{
    RKTestDng file = dng(orientation);
    file.preview = RKTestPictures::quadrants(size);
    file.preview.invertPixels();
    return file;
}

QImage decode(const RKTestDng& file, const QSize& wanted = {})
{
    return RKBitmapDecoderLibRaw().decode(file.bytes(), kDng, wanted, {});
}

} // namespace

/// Raw files made for the purpose, and what is left to the platform's decoder.
class RKBitmapDecoderLibRawTest : public RKQuietTest
{
    Q_OBJECT

private Q_SLOTS:

    void picturesComeUprightInTheFrameOfTheStoredPixels()
    {
        for (int orientation = 1; orientation <= 8; ++orientation) {
            QImage scene = RKImageRotator::rotate(
                RKTestPictures::quadrants(kSize), RKImageOrientation(orientation));
            const auto upright
                = [&](const QSize& size) { return orientation >= 5 ? size.transposed() : size; };

            QCOMPARE(RKBitmapDecoderLibRaw().size(dng(orientation).bytes(), kDng), kSize);
            // Whole, at half size, scaled, and enlarged; the wanted sizes are those of stored
            // pixels.
            for (const QSize& wanted : {QSize(), kSize / 2, QSize(60, 40), kSize * 2}) {
                const QImage image = decode(dng(orientation), wanted);
                QCOMPARE(image.format(), QImage::Format_RGB32);
                QCOMPARE(image.size(), upright(wanted.isValid() ? wanted : kSize));
                QCOMPARE(quadrantColors(image), quadrantColors(scene));
            }
            // The preview is turned as well.
            scene.invertPixels();
            const QImage preview = decode(withPreview({48, 32}, orientation), {36, 300});
            QCOMPARE(preview.size(), upright({36, 24}));
            QCOMPARE(quadrantColors(preview), quadrantColors(scene));
        }
    }

    void previewIsTakenWhereItIsLargeEnough()
    {
        using Case = std::tuple<QSize, int, QSize, bool>;
        for (const auto& [preview, orientation, wanted, isTaken] :
            {Case{{48, 32}, 1, {48, 32}, true},
                Case{{48, 32}, 1, {49, 33}, false},
                Case{{96, 64}, 1, {}, false},
                Case{{97, 64}, 1, {48, 32}, true}, // nearly the aspect
                Case{{96, 72}, 1, {48, 32}, false}, // with black bars
                Case{{64, 96}, 6, {48, 32}, true}, // upright already, so it isn't turned
                Case{{64, 96}, 1, {48, 32}, false}})
        {
            // Cyan, magenta, yellow and black.
            QCOMPARE(quadrantColors(decode(withPreview(preview, orientation), wanted)) == "cmyk",
                isTaken);
        }
    }

    void profilesAreThoseOfThePreviews()
    {
        // Told from the sensor's picture by its one colour, and then by what that is in sRGB.
        RKTestDng file = dng();
        // Pure colours and white are the same in both spaces.
        file.scene = RKTestPictures::numbered(kSize.width(), kSize.height());
        const QImage developed = decode(file, kSize / 2);
        file.preview = QImage(kSize / 2, QImage::Format_RGB32);
        file.preview.fill(qRgb(200, 100, 50));
        const auto preview = [&] { return decode(file, kSize / 2).pixelColor(5, 5); };
        QVERIFY(std::abs(preview().red() - 200) <= 3);
        file.isAdobeRgb = true;
        QVERIFY(std::abs(preview().red() - 227) <= 3);
        file.profile = QColorSpace(QColorSpace::DisplayP3).iccProfile();
        QVERIFY(std::abs(preview().red() - 215) <= 3);

        file.preview = {};
        QCOMPARE(decode(file, kSize / 2), developed);
        // Nobody converts what was developed once more.
        QTemporaryDir folder;
        const QString path = folder.filePath(u"a.dng"_s);
        RKTestPictures::write(path, file.bytes());
        const RKMediaDescriptor descriptor{QFileInfo(path)};
        QVERIFY(RKImageLoader::instance()->copyMetaData(descriptor).hasIccData());
        QCOMPARE(RKImageLoader::instance()->bitmap(descriptor, kSize / 2), developed);
    }

    void loaderMeasuresWhatIsDecoded()
    {
        const QTemporaryDir folder;
        const QString path = folder.filePath(u"a.dng"_s);
        const RKMediaDescriptor descriptor{QFileInfo(path)};
        const RKImageLoader& loader = *RKImageLoader::instance();
        for (const int orientation : {1, 3, 6, 7}) {
            RKTestDng file = withPreview({24, 16}, orientation);
            file.margin = 8;
            RKTestPictures::write(path, file.bytes());
            loader.invalidateMetaData(descriptor);
            const QSize size = loader.size(descriptor);
            QCOMPARE(size, orientation >= 5 ? QSize(48, 80) : QSize(80, 48));
            QCOMPARE(loader.bitmap(descriptor, {}).size(), size);
            QCOMPARE(loader.bitmap(descriptor, size).size(), size);
        }
    }

    void truncatedFilesAreRefused()
    {
        const auto refuses = [](const RKTestDng& file, int cut, const QSize& wanted) {
            QTest::ignoreMessage(
                QtWarningMsg, "Raw file refused: it is truncated, some of its pixels are missing");
            const QByteArray bytes = file.bytes().chopped(cut);
            return RKBitmapDecoderLibRaw().decode(bytes, kDng, wanted, {}).isNull();
        };
        for (const int cut : {1, 200, 96 * 64 * 2 - 1, 96 * 64 * 2})
            QVERIFY(refuses(dng(), cut, {}) && refuses(dng(), cut, {20, 20}));
        // The preview is whole, but too small for some.
        const RKTestDng file = withPreview({48, 32});
        QVERIFY(refuses(file, 200, {50, 50}));
        const QByteArray bytes = file.bytes().chopped(200);
        QCOMPARE(quadrantColors(RKBitmapDecoderLibRaw().decode(bytes, kDng, {24, 24}, {})), "cmyk");
    }

    void placesOfPixelsAreChecked()
    {
        // Two tiles, and a directory that leads to itself and to one beyond the end.
        QByteArray tiff = QByteArray::fromHex("49492a0008000000 0400 "
                                              "4401 0400 02000000 40000000"
                                              "4501 0400 02000000 48000000"
                                              "4a01 0400 02000000 50000000"
                                              "0601 0300 01000000 23800000 08000000")
                              .leftJustified(64, '\0')
            + QByteArray::fromHex("58000000 5c000000 04000000 04000000 08000000 ffffff7f")
            + QByteArray(8, 'x');
        for (const qint64 pixels : {0x40, 0x58, 0x5b}) {
            QVERIFY(!RKRawDirectories(tiff).isTruncated(pixels));
            QVERIFY(RKRawDirectories(tiff.chopped(1)).isTruncated(pixels));
        }
        QVERIFY(!RKRawDirectories(tiff.chopped(1)).isTruncated(10));
        QVERIFY(RKRawDirectories(tiff).isTruncated(tiff.size()));

        const QByteArray raf = QByteArray("FUJIFILMCCD-RAW ").leftJustified(100, '\0')
            + QByteArray::fromHex("0000006c 00000010") + QByteArray(16, 'x');
        QVERIFY(!RKRawDirectories(raf).isTruncated(0x70));
        QVERIFY(RKRawDirectories(raf.chopped(1)).isTruncated(0x70));
    }

    void damagedFilesGiveNothing()
    {
        const QByteArray whole = dng().bytes();
        const RKBitmapDecoderLibRaw decoder;
        for (const qsizetype length : {0, 7, 8, 100, 2100})
            QVERIFY(decoder.decode(whole.first(length), kDng, {20, 20}, {}).isNull());
        // A preview that lies outside of the file, or is no picture, is none.
        RKTestDng outside = withPreview({48, 32});
        outside.previewPlace = 0x7fffffff;
        QCOMPARE(quadrantColors(decode(outside, {24, 16})), QByteArray("rgbw"));
        QByteArray bytes = withPreview({48, 32}).bytes();
        bytes.replace(bytes.indexOf("\xff\xd8\xff"), 600, QByteArray(600, 'x'));
        QCOMPARE(quadrantColors(decoder.decode(bytes, kDng, {24, 16}, {})), QByteArray("rgbw"));
        QTest::ignoreMessage(QtWarningMsg, "Picture refused: the wanted size is too large");
        QVERIFY(decode(dng(), {1'000'000, 1'000'000}).isNull());

        const QTemporaryDir folder;
        const QString pipe = folder.filePath(u"pipe.dng"_s);
        QCOMPARE(::mkfifo(qPrintable(pipe), 0600), 0);
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(u"^could not open theIODevice"_s));
        QVERIFY(!decoder.size(QFileInfo(pipe), kDng).isValid());
    }

    void severalThreadsDecode()
    {
        const QByteArray bytes = dng(6).bytes();
        const RKBitmapDecoderLibRaw decoder;
        const QImage expected = decoder.decode(bytes, kDng, {48, 32}, {});
        std::atomic<int> same = 0;
        RKTestThreads::run(4, [&](int) {
            same += decoder.decode(bytes, kDng, {48, 32}, {}) == expected;
        });
        QCOMPARE(same.load(), 4);
    }
};

QTEST_GUILESS_MAIN(RKBitmapDecoderLibRawTest)
#include "RKBitmapDecoderLibRawTest.moc"
