#include "RKImageLoader/decoders/RKBitmapDecoderLibRaw.h"

#include "RKImageLoader/decoders/RKBitmapDecoderMacCoreGraphics.h"
#include "RKImageLoader/drawables/RKImageRotator.h"
#include "RKImageLoader/loading/RKImageLoader.h"
#include "RKImageLoader/metadata/RKMetaData.h"
#include "support/RKTestDng.h"
#include "support/RKTestPictures.h"
#include "support/RKTestPsd.h"

#include <QColorSpace>
#include <QTemporaryDir>
#include <QTest>

#include <sys/stat.h>

#include <thread>
#include <vector>

namespace {

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

// The nearest pure colour in the middle of each quadrant, as letters from top left to bottom right.
QByteArray quadrants(const QImage& image)
{
    QByteArray letters;
    for (int i = 0; i < 4; ++i) {
        const QRgb pixel = image.pixel(
            (2 * (i % 2) + 1) * image.width() / 4, (2 * (i / 2) + 1) * image.height() / 4);
        const int bits = (qRed(pixel) > 127 ? 4 : 0) + (qGreen(pixel) > 127 ? 2 : 0)
            + (qBlue(pixel) > 127 ? 1 : 0);
        letters += "kbgcrmyw"[bits];
    }
    return letters;
}

} // namespace

/// Raw files made for the purpose, and what is left to the platform's decoder.
class RKBitmapDecoderLibRawTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void picturesComeUprightInTheFrameOfTheStoredPixels();
    void previewIsTakenWhereItIsLargeEnough();
    void profilesAreThoseOfThePreviews();
    void damagedFilesGiveNothing();
    void photoshopFilesHaveTheirOwnReader();
    void severalThreadsDecode();
    void rulesOfThePlatformsDecoder();
};

void RKBitmapDecoderLibRawTest::init()
{
    QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
}

void RKBitmapDecoderLibRawTest::picturesComeUprightInTheFrameOfTheStoredPixels()
{
    for (int orientation = 1; orientation <= 8; ++orientation) {
        QImage scene = RKImageRotator::rotate(
            RKTestPictures::quadrants(kSize), RKImageOrientation(orientation));
        const auto upright
            = [&](const QSize& size) { return orientation >= 5 ? size.transposed() : size; };

        QCOMPARE(RKBitmapDecoderLibRaw().size(dng(orientation).bytes(), kDng), kSize);
        // Whole, at half size, scaled, and enlarged; the wanted sizes are those of stored pixels.
        for (const QSize& wanted : {QSize(), kSize / 2, QSize(60, 40), kSize * 2}) {
            const QImage image = decode(dng(orientation), wanted);
            QCOMPARE(image.format(), QImage::Format_RGB32);
            QCOMPARE(image.size(), upright(wanted.isValid() ? wanted : kSize));
            QCOMPARE(quadrants(image), quadrants(scene));
        }
        // The preview is turned as well.
        scene.invertPixels();
        const QImage preview = decode(withPreview({48, 32}, orientation), {36, 300});
        QCOMPARE(preview.size(), upright({36, 24}));
        QCOMPARE(quadrants(preview), quadrants(scene));
    }
}

void RKBitmapDecoderLibRawTest::previewIsTakenWhereItIsLargeEnough()
{
    struct Case
    {
        QSize preview;
        int orientation;
        QSize wanted;
        bool isTaken;
    };

    for (const auto& [preview, orientation, wanted, isTaken] : {Case{{48, 32}, 1, {48, 32}, true},
             Case{{48, 32}, 1, {49, 33}, false},
             Case{{96, 64}, 1, {}, false},
             Case{{97, 64}, 1, {48, 32}, true}, // nearly the aspect
             Case{{96, 72}, 1, {48, 32}, false}, // with black bars
             Case{{64, 96}, 6, {48, 32}, true}, // upright already, so it isn't turned
             Case{{64, 96}, 1, {48, 32}, false}})
    {
        // Cyan, magenta, yellow and black.
        QCOMPARE(quadrants(decode(withPreview(preview, orientation), wanted)) == "cmyk", isTaken);
    }
}

void RKBitmapDecoderLibRawTest::profilesAreThoseOfThePreviews()
{
    // Told from the sensor's picture by its one colour, and then by what that is in sRGB.
    RKTestDng file = dng();
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
    const QString path = folder.filePath(QStringLiteral("a.dng"));
    RKTestPictures::write(path, file.bytes());
    const RKMediaDescriptor descriptor{QFileInfo(path)};
    QVERIFY(RKImageLoader::instance()->copyMetaData(descriptor).hasIccData());
    QCOMPARE(RKImageLoader::instance()->bitmap(descriptor, kSize / 2), developed);
}

void RKBitmapDecoderLibRawTest::damagedFilesGiveNothing()
{
    const QByteArray whole = dng().bytes();
    const RKBitmapDecoderLibRaw decoder;
    for (const qsizetype length : {0, 7, 8, 100, 2100, int(whole.size()) - 200}) {
        QVERIFY(decoder.decode(whole.first(length), kDng, {}, {}).isNull());
        QVERIFY(decoder.decode(whole.first(length), kDng, {20, 20}, {}).isNull());
    }
    // A preview that is no picture is none.
    QByteArray bytes = withPreview({48, 32}).bytes();
    bytes.replace(bytes.indexOf("\xff\xd8\xff"), 600, QByteArray(600, 'x'));
    QCOMPARE(quadrants(decoder.decode(bytes, kDng, {24, 16}, {})), QByteArray("rgbw"));
    QTest::ignoreMessage(QtWarningMsg, "Picture refused: the wanted size is too large");
    QVERIFY(decode(dng(), {1'000'000, 1'000'000}).isNull());

    QTemporaryDir folder;
    const QString pipe = folder.filePath(QStringLiteral("pipe.dng"));
    QCOMPARE(::mkfifo(qPrintable(pipe), 0600), 0);
    QTest::ignoreMessage(
        QtWarningMsg, QRegularExpression(QStringLiteral("^could not open theIODevice")));
    QVERIFY(!decoder.size(QFileInfo(pipe), kDng).isValid());
}

void RKBitmapDecoderLibRawTest::photoshopFilesHaveTheirOwnReader()
{
    RKTestPsd psd{.size = {2, 1}, .mode = 1};
    psd.channels = {QByteArray("\0\xff", 2)};
    QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("a.psd"));
    RKTestPictures::write(path, psd.bytes());
    const RKBitmapDecoderLibRaw decoder;
    QCOMPARE(decoder.size(QFileInfo(path), "psd"), QSize(2, 1));
    QCOMPARE(decoder.decode(psd.bytes(), "psd", {}, {}).pixel(1, 0), 0xffffffff);
}

void RKBitmapDecoderLibRawTest::severalThreadsDecode()
{
    const QByteArray bytes = dng(6).bytes();
    const RKBitmapDecoderLibRaw decoder;
    std::vector<QImage> images(4);
    std::vector<std::thread> threads;
    for (QImage& image : images)
        threads.emplace_back([&] { image = decoder.decode(bytes, kDng, {48, 32}, {}); });
    for (std::thread& thread : threads)
        thread.join();
    for (const QImage& image : images)
        QCOMPARE(image, decode(dng(6), {48, 32}));
}

void RKBitmapDecoderLibRawTest::rulesOfThePlatformsDecoder()
{
    using Decoder = RKBitmapDecoderMacCoreGraphics;
    QCOMPARE(RKBitmapDecoderLibRaw().readableImageFileFormats(),
        RKMediaFormatList(Decoder::staticReadableImageFileFormats()));
    QCOMPARE(Decoder::staticReadableImageFileFormats().size(), 8);

    const RKMediaDescriptor file(QFileInfo(QStringLiteral("a.nef")));
    QVERIFY(Decoder::isOnlyPreview(199, file));
    QVERIFY(!Decoder::isOnlyPreview(200, file));
    QVERIFY(!Decoder::isOnlyPreview(199, {}));
    QCOMPARE(Decoder::proposedSize({0, 5}, {7, 8}), QSize(0, 5));
    QCOMPARE(Decoder::proposedSize({5, -1}, {7, 8}), QSize(7, 8));
    const QImage image = RKTestPictures::quadrants({40, 10});
    QCOMPARE(Decoder::fitted(image, {20, 20}).size(), QSize(20, 5));
    QCOMPARE(Decoder::fitted(image, {-1, 20}), image);
}

QTEST_GUILESS_MAIN(RKBitmapDecoderLibRawTest)
#include "RKBitmapDecoderLibRawTest.moc"
