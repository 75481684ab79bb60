#include "RKImageLoader/decoders/RKBitmapDecoderQt.h"

#include "RKImageLoader/decoders/RKReducedTiff_p.h"
#include "RKImageLoader/drawables/RKQtScaler_p.h"
#include "RKImageLoader/files/RKByteReader_p.h"
#include "RKImageLoader/media/RKImageLoaderConfig.h"
#include "RKImageLoader/media/RKImageLoadingReporter.h"
#include "support/RKDecoderChecks.h"
#include "support/RKQuietTest.h"
#include "support/RKTestPictures.h"
#include "support/RKTestTiff.h"

#include <QBuffer>
#include <QColorSpace>
#include <QImageIOHandler>
#include <QImageIOPlugin>
#include <QImageReader>
#include <QImageWriter>
#include <QLoggingCategory>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QtEndian>
#include <QtPlugin>

#include <tiffio.h>

using namespace Qt::StringLiterals;

namespace {

// What can be wrong with a file of the format below.
constexpr char kBroken = 'b'; // It can be measured but not decoded.
constexpr char kUnmeasurable = 'u'; // The size shows only when the picture is decoded.

// Reads a made-up HEIC format with the abilities of a real reader: it knows the size, scales while
// it decodes, and leaves the turning to Qt. A file has four bytes: how the quadrants are to be
// turned, one of the letters above, and a quarter of the width and of the height.
class HeicHandler : public QImageIOHandler
{
public:
    explicit HeicHandler(QIODevice* device)
        : m_bytes(device->peek(5))
    {
    }

    bool canRead() const override
    {
        return m_bytes.size() == 4;
    }

    bool read(QImage* image) override
    {
        // Like a real one, this doesn't care for the proportions.
        *image = RKTestPictures::quadrants(m_scaledSize.isValid() ? m_scaledSize : size());
        return m_bytes[1] != kBroken;
    }

    bool supportsOption(ImageOption option) const override
    {
        return option == ScaledSize || option == ImageTransformation
            || (option == Size && m_bytes[1] != kUnmeasurable);
    }

    QVariant option(ImageOption option) const override
    {
        return option == Size ? QVariant(size()) : QVariant(int(m_bytes[0]));
    }

    void setOption(ImageOption, const QVariant& value) override
    {
        m_scaledSize = value.toSize();
    }

private:
    QSize size() const
    {
        return canRead() ? QSize(uchar(m_bytes[2]), uchar(m_bytes[3])) * 4 : QSize();
    }

    QByteArray m_bytes;
    QSize m_scaledSize;
};

QByteArray heic(
    const QSize& stored, QImageIOHandler::Transformations transformation, char fault = ' ')
{
    return {QByteArray(1, char(transformation.toInt())) + fault + char(stored.width() / 4)
        + char(stored.height() / 4)};
}

constexpr int kJpegQuality = 20;
constexpr const char* kRefused = "Picture refused: its header promises more than its data can hold";
constexpr const char* kFailed
    = "Bild Laden gescheitert ( Fehler im ImageReader): Unable to read image data";

// The quadrants, 120x80.
QByteArray picture(const char* kind)
{
    if (qstrcmp(kind, "gif") == 0)
        return RKTestPictures::read(QLatin1String(RK_TEST_DATA "/gif/quadrants.gif"));
    if (qstrcmp(kind, "mng") == 0)
        return RKTestPictures::read(QLatin1String(RK_TEST_DATA "/mng/endless-loop.mng"));
    return RKTestPictures::encoded(RKTestPictures::quadrants({120, 80}), kind, 100);
}

constexpr char kIcc = 0x20;
constexpr char kAnimation = 0x02;

QByteArray chunk(const char* type, const QByteArray& content)
{
    return type + RKByteReader::bytesOf(quint32(content.size()), QSysInfo::LittleEndian) + content
        + QByteArray(content.size() % 2, '\0');
}

// A WebP file of 300x200 with a profile, or an animation of one frame (RFC 9649, 2.7).
QByteArray extended(const QByteArray& file, char kind)
{
    const bool hasHeader = QByteArrayView(file).sliced(12).startsWith("VP8X");
    const char flags = char(kind | (hasHeader ? file[20] : 0x10));
    const QByteArray size = QByteArray::fromHex("2b0100c70000");
    const QByteArray pixels = file.mid(hasHeader ? 30 : 12);
    const QByteArray content = kind == kIcc
        ? chunk("ICCP", QColorSpace(QColorSpace::AdobeRgb).iccProfile()) + pixels
        : chunk("ANIM", QByteArray(6, '\0'))
            + chunk("ANMF", QByteArray(6, '\0') + size + QByteArray(4, '\0') + pixels);
    return chunk("RIFF", "WEBP" + chunk("VP8X", flags + QByteArray(3, '\0') + size) + content);
}

/// A TIFF picture in four parts, of which two have the pixel of the left upper one.
struct Tiff
{
    int photometric = PHOTOMETRIC_RGB;
    int bits = 8;
    bool isTiled = false;
    QByteArray left;
    QByteArray right;
    quint16 extra = 0;

    QByteArray encoded() const
    {
        constexpr int kSide = 200;
        constexpr int kSplit = 80;
        constexpr int kTileWidth = 80;
        constexpr int kTileHeight = 16;
        const auto samples = int(left.size()) * 8 / bits;
        const QTemporaryDir folder;
        const QString path = folder.filePath(u"picture"_s);
        // Tiles in a large file, and with the bytes the other way round.
        TIFF* const tiff = TIFFOpen(path.toLocal8Bit(), isTiled ? "w8b" : "wl");
        for (const auto& [tag, value] : {std::pair(TIFFTAG_IMAGEWIDTH, kSide),
                 {TIFFTAG_IMAGELENGTH, kSide},
                 {TIFFTAG_BITSPERSAMPLE, bits},
                 {TIFFTAG_SAMPLESPERPIXEL, samples},
                 {TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG},
                 {TIFFTAG_PHOTOMETRIC, photometric},
                 {TIFFTAG_COMPRESSION, COMPRESSION_LZW},
                 {isTiled ? TIFFTAG_TILEWIDTH : TIFFTAG_ROWSPERSTRIP, kTileWidth}})
            TIFFSetField(tiff, tag, value);
        if (isTiled)
            TIFFSetField(tiff, TIFFTAG_TILELENGTH, kTileHeight);
        if (extra != 0)
            TIFFSetField(tiff, TIFFTAG_EXTRASAMPLES, 1, &extra);
        TIFFSetField(tiff, TIFFTAG_XRESOLUTION, 300.0);
        TIFFSetField(tiff, TIFFTAG_YRESOLUTION, 600.0);
        const int width = isTiled ? kTileWidth : kSide;
        for (int y = 0; y < kSide; y += isTiled ? kTileHeight : 1) {
            for (int x = 0; x < kSide; x += width) {
                const auto at
                    = [&](int column) { return (column < kSplit) == (y < kSplit) ? left : right; };
                QByteArray part = isTiled
                    ? at(x).repeated(kTileWidth * kTileHeight)
                    : at(0).repeated(kSplit) + at(kSide).repeated(kSide - kSplit);
                isTiled ? TIFFWriteTile(tiff, part.data(), quint32(x), quint32(y), 0, 0)
                        : TIFFWriteScanline(tiff, part.data(), quint32(y), 0);
            }
        }
        TIFFClose(tiff);
        return RKTestPictures::read(path);
    }
};

// Colours multiplied with their alpha, for those of invisible pixels mean nothing.
QImage visible(QImage image)
{
    image.convertTo(QImage::Format_ARGB32_Premultiplied);
    image.reinterpretAsFormat(QImage::Format_ARGB32);
    return image;
}

} // namespace

class RKTestHeicPlugin : public QImageIOPlugin
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID QImageIOHandlerFactoryInterface_iid FILE "RKTestHeicPlugin.json")

public:
    Capabilities capabilities(QIODevice*, const QByteArray& format) const override
    {
        return format == "heic" || format == "heif" ? Capabilities(CanRead) : Capabilities();
    }

    QImageIOHandler* create(QIODevice* device, const QByteArray& format) const override
    {
        auto* const handler = new HeicHandler(device);
        handler->setFormat(format);
        return handler;
    }
};

Q_IMPORT_PLUGIN(RKTestHeicPlugin)

class RKBitmapDecoderQtTest : public RKQuietTest
{
    Q_OBJECT

private Q_SLOTS:

    void initTestCase()
    {
        const QString config = m_folder.filePath(u"config.xml"_s);
        RKTestPictures::write(config,
            "<config><jpg compression='" + QByteArray::number(kJpegQuality) + "'/></config>");
        RKImageLoaderConfig::setConfigFile(QFileInfo(config));
        // Qt's own readers tell of damaged files too.
        QLoggingCategory::setFilterRules(u"qt.gui.imageio*=false"_s);
        // As the library sets it up in a host.
        QImageReader::setAllocationLimit(0);
    }

    void everyFormatIsMeasuredAndFitted()
    {
        for (const char* kind :
            {"bmp", "gif", "ico", "jpg", "mng", "pgm", "png", "tiff", "tif", "webp", "xbm", "xpm"})
        {
            const QByteArray data = picture(kind);
            QCOMPARE(m_decoder.size(data, kind), QSize(120, 80));
            QCOMPARE(m_decoder.decode(data, kind, {}, {}).size(), QSize(120, 80));
            for (const QSize& wanted : {QSize(60, 60), QSize(240, 1000), QSize(15, 11)}) {
                const QImage image = m_decoder.decode(data, kind, wanted, {});
                QCOMPARE(image.size(), QSize(120, 80).scaled(wanted, Qt::KeepAspectRatio));
                const bool hasColors = QByteArrayView("pgm xbm").indexOf(kind) < 0;
                QVERIFY2(!hasColors || RKTestPictures::quadrantColors(image) == "rgbw", kind);
            }
        }
    }

    // Palettes would be dithered, and 16 bits with alpha come out nearly transparent.
    void everyDepthIsSmoothed()
    {
        QImage image(120, 80, QImage::Format_ARGB32);
        for (int i = 0; i < 120 * 80; ++i)
            image.setPixel(i % 120, i / 120, qRgba(i % 2 ? 255 : 0, 255, 0, i % 3 ? 0x80 : 0x50));
        for (const QImage::Format format : {QImage::Format_Mono,
                 QImage::Format_Indexed8,
                 QImage::Format_Grayscale16,
                 QImage::Format_RGBA64})
        {
            QImage stored = image.convertToFormat(format);
            if (format == QImage::Format_Mono)
                stored.setColorTable({0xff0000ff, 0x4000ff00});
            const QImage scaled
                = m_decoder.decode(RKTestPictures::encoded(stored, "png"), "png", {40, 40}, {});
            stored.convertTo(QImage::Format_ARGB32_Premultiplied);
            const QImage expected
                = stored.scaled({40, 40}, Qt::KeepAspectRatio, Qt::SmoothTransformation)
                      .convertToFormat(QImage::Format_ARGB32);
            QVERIFY(RKTestPictures::difference(scaled, expected) <= 2);
        }
    }

    void jpegIsScaledWhileItIsDecoded()
    {
        const QByteArray data
            = RKTestPictures::encoded(RKTestPictures::quadrants({4000, 3000}), "JPG", 90);
        QBuffer buffer;
        buffer.setData(data);
        QImageReader reader(&buffer, "jpg");
        reader.setScaledSize({400, 300});
        QCOMPARE(m_decoder.decode(data, "jpg", {400, 300}, {}), reader.read());
    }

    // The codec's own scaler takes over for still pictures, unless they are lossy with
    // transparency.
    void webpIsReducedLikeItsPixels()
    {
        QImage picture(300, 200, QImage::Format_ARGB32);
        for (int y = 0; y < 200; ++y) {
            for (int x = 0; x < 300; ++x)
                picture.setPixel(x, y, qRgba(x * 3 / 4, y, 90, 255 - x % 40 * 6));
        }
        const std::tuple<QImage::Format, int, bool> kinds[] = {{QImage::Format_RGB32, 80, true},
            {QImage::Format_RGB32, 100, true}, // without loss
            {QImage::Format_ARGB32, 80, false},
            {QImage::Format_ARGB32, 100, true}};
        for (const auto& [format, quality, isOfCodec] : kinds) {
            const QByteArray plain
                = RKTestPictures::encoded(picture.convertToFormat(format), "webp", quality);
            const QByteArray withProfile = extended(plain, kIcc);
            const QByteArray animation = extended(plain, kAnimation);
            for (const QByteArray& file : {plain, withProfile, animation}) {
                const QImage whole = m_decoder.decode(file, "webp", {}, {});
                for (const QSize& wanted : {QSize(280, 280), QSize(150, 9), QSize(40, 40)}) {
                    const QImage reduced = m_decoder.decode(file, "webp", wanted, {});
                    const QImage before = RKQtScaler::scaled(whole, wanted);
                    QCOMPARE(reduced.format(), before.format());
                    QCOMPARE(reduced.colorSpace(), before.colorSpace());
                    const bool isSame = reduced == before;
                    QCOMPARE(isSame, file == animation || !isOfCodec);
                    QVERIFY(RKTestPictures::difference(visible(reduced), visible(before)) <= 5);
                }
            }
            // What is cut off is refused in every size.
            for (const QSize& wanted : {QSize(), QSize(40, 40)}) {
                QTest::ignoreMessage(QtWarningMsg, kFailed);
                QVERIFY(m_decoder.decode(withProfile.chopped(1), "webp", wanted, {}).isNull());
            }
        }
    }

    void picturesOfNoUseAreRefused()
    {
        const auto thin = [](int height) -> QByteArray {
            return RKTestPictures::encoded(QImage(8, height, QImage::Format_Mono), "PNG");
        };
        QByteArray jpeg = picture("jpg");
        // Kept: the part of a photo that is there is shown.
        QVERIFY(!m_decoder.decode(jpeg.chopped(20), "jpg", {}, {}).isNull());
        jpeg.replace(jpeg.indexOf("\xff\xc0") + 5, 4, QByteArray::fromHex("ffdcffdc"));
        const QByteArray png = picture("png");
        QVERIFY(!m_decoder.decode(thin(511), "png", {}, {}).isNull());
        const std::tuple<const char*, QByteArray, const char*> refused[]
            = {{"png", thin(7), nullptr},
                {"png", thin(512), nullptr},
                {"jpg", png, nullptr},
                {"png", png.left(png.size() / 2), kFailed},
                {"bmp", picture("bmp").left(1000), kRefused},
                {"jpg", jpeg, kRefused},
                // No reader has the name, and Qt finds out that it is a drawing.
                {"jp2", "<svg xmlns='http://www.w3.org/2000/svg' width='9' height='9'/>", nullptr}};
        for (const auto& [format, data, warning] : refused) {
            if (warning)
                QTest::ignoreMessage(QtWarningMsg, warning);
            QVERIFY(m_decoder.decode(data, format, {}, {}).isNull());
        }
        QVERIFY(!m_decoder.size(png, "jpg").isValid());
    }

    // One colour is as well as the compression can get.
    void plainPicturesAreDecoded()
    {
        QImage image(8200, 8200, QImage::Format_Grayscale8);
        image.fill(Qt::white);
        QBuffer jpeg;
        QImageWriter writer(&jpeg, "jpg");
        writer.setProgressiveScanWrite(true);
        QVERIFY(writer.write(image));
        QCOMPARE(m_decoder.decode(jpeg.data(), "jpg", {80, 80}, {}).size(), QSize(80, 80));
    }

    // Rows from top to bottom, which Qt's reader measures with a negative height. Run lengths that
    // end at once leave the picture as it was in memory.
    void gapsShowNothingOld()
    {
        QImage image(64, 48, QImage::Format_Indexed8);
        image.setColorCount(256);
        image.fill(0);
        QByteArray bmp = RKTestPictures::encoded(image, "BMP");
        qToLittleEndian(-image.height(), bmp.data() + 22);
        QCOMPARE(m_decoder.decode(bmp, "bmp", {32, 32}, {}).size(), QSize(32, 24));

        constexpr int kEightBitRuns = 1;
        qToLittleEndian(kEightBitRuns, bmp.data() + 30);
        constexpr qsizetype kPixels = 54 + 1024;
        bmp = bmp.left(kPixels) + QByteArray("\0\1", 2);
        for (int i = 0; i < 8; ++i) {
            // What the next one of this size may get.
            QImage(image.size(), QImage::Format_Indexed8).fill(0xaa);
            const QImage decoded = m_decoder.decode(bmp, "bmp", {}, {});
            const auto* bits = reinterpret_cast<const char*>(decoded.constBits());
            QCOMPARE(QByteArray(bits, decoded.sizeInBytes()).count('\0'), 64 * 48);
        }
    }

    void filesHoldNothingBeyondTheRows()
    {
        for (const auto format :
            {QImage::Format_Mono, QImage::Format_MonoLSB, QImage::Format_Indexed8}) {
            for (const auto& name : {MEDIA_FORMAT_BMP, MEDIA_FORMAT_PNG}) {
                std::array<QBuffer, 2> files;
                for (size_t i = 0; i < files.size(); ++i) {
                    QImage image(70, 48, format);
                    image.setColorTable({qRgb(1, 2, 3), qRgb(200, 100, 0)});
                    std::fill_n(image.bits(), image.sizeInBytes(), i == 0 ? '\0' : '\xff');
                    for (int y = 0; y < 48; ++y) {
                        for (int x = 0; x < 70; ++x)
                            image.setPixel(x, y, uint(x + y) % 2);
                    }
                    QVERIFY(m_decoder.save(&files[i], name, image));
                }
                QCOMPARE(files[1].data(), files[0].data());
                const QImage read = QImage::fromData(files[1].data());
                QCOMPARE(read.pixelColor(69, 47).rgb(), qRgb(1, 2, 3));
                QCOMPARE(read.pixelColor(68, 47).rgb(), qRgb(200, 100, 0));
            }
        }
    }

    // Qt's reader takes planes of 16 bits for rows of pixels, loses the alpha of greys, refuses
    // inks of 16 bits, takes the white of Lab for that of sRGB, and 8 bits in a palette for 16.
    void samplesThatQtGetsWrongAreRead()
    {
        // Each part is made of one pixel's bytes.
        const auto tiff = [](quint32 photometric,
                              const QList<quint32>& bits,
                              quint32 extra,
                              const QByteArrayList& parts) {
            constexpr quint32 kPixels = 64 * 48;
            constexpr quint32 kBegin = 2048;
            const quint32 part = kPixels * quint32(parts[0].size());
            QList<quint32> places;
            QByteArray data;
            for (const QByteArray& pixel : parts) {
                places << kBegin + quint32(data.size());
                data += pixel.repeated(kPixels);
            }
            const QByteArray file = QByteArray("II*\0", 4) + QByteArray::fromHex("08000000")
                + RKTestTiff::directory(8,
                    {{256, RKTestTiff::kLong, {64}},
                        {257, RKTestTiff::kLong, {48}},
                        {258, RKTestTiff::kShort, bits},
                        {262, RKTestTiff::kShort, {photometric}},
                        {273, RKTestTiff::kLong, places},
                        {274, RKTestTiff::kShort, {6}},
                        {277, RKTestTiff::kShort, {quint32(bits.size())}},
                        {278, RKTestTiff::kLong, {48}},
                        {279, RKTestTiff::kLong, QList<quint32>(parts.size(), part)},
                        {284, RKTestTiff::kShort, {parts.size() > 1 ? 2U : 1U}},
                        photometric == 3
                            ? RKTestTiff::Entry{320, RKTestTiff::kShort, QList<quint32>(768, 200)}
                            : RKTestTiff::Entry{338, RKTestTiff::kShort, {extra}}});
            return QByteArray(file.leftJustified(kBegin, '\0') + data);
        };
        const QByteArray planes
            = tiff(2, {16, 16, 16, 16}, 2, {"\xff\xff", "\x80\x80", {"\0\0", 2}, "\xff\xff"});
        const std::pair<QByteArray, QRgb> cases[] = {{planes, qRgb(255, 128, 0)},
            {tiff(2, {16, 16, 16, 16, 16}, 0, {"\xff\xff\x80\x80\x33\x33\x66\x66\x01\x01"}),
                qRgba(255, 128, 51, 102)},
            {tiff(1, {8, 8}, 2, {"\xc8\x64"}), qRgba(200, 200, 200, 100)},
            {tiff(1, {8, 8}, 0, {"\xc8\x64"}), qRgb(200, 200, 200)},
            {tiff(1, {8, 8}, 1, {"\x33\xcc"}), qRgba(64, 64, 64, 204)},
            {tiff(0, {16, 16}, 2, {"\x37\x37", "\x64\x64"}), qRgba(200, 200, 200, 100)},
            {tiff(3, {8}, 0, {"\x64"}), qRgb(200, 200, 200)},
            {tiff(5, {16, 16, 16, 16}, 0, {{"\0\0\xff\xff\x80\x80\x33\x33", 8}}),
                qRgb(204, 0, 101)},
            {tiff(8, {8, 8, 8}, 0, {"\x80\x14\xec"}), qRgb(141, 108, 154)},
            {tiff(8, {16, 16, 16}, 0, {{"\x80\x80\0\x14\0\xec", 6}}), qRgb(141, 108, 154)}};
        for (const auto& [file, color] : cases) {
            const QImage decoded = m_decoder.decode(file, "tif", {}, {});
            QCOMPARE(decoded.size(), QSize(64, 48));
            QCOMPARE(decoded.pixelColor(0, 0).rgba(), color);
            QCOMPARE(decoded.pixelColor(63, 47).rgba(), color);
        }
        QCOMPARE(m_decoder.decode(planes, "tif", {32, 32}, {}).pixel(16, 8), qRgb(255, 128, 0));
        const QByteArray grey = tiff(1, {8, 8}, 2, {"\xc8", "\x64"});
        for (const QByteArray& file : {planes, grey}) {
            QTest::ignoreMessage(QtWarningMsg, "Picture refused: its samples are damaged");
            QVERIFY(m_decoder.decode(file.chopped(99), "tif", {32, 32}, {}).isNull());
        }
    }

    void suchSamplesAreReadFromTilesToo()
    {
        const std::pair<Tiff, QRgb> rows[]
            = {{{.photometric = 1, .isTiled = true, .left = "\xc8\x64", .right = "zz", .extra = 2},
                   qRgba(200, 200, 200, 100)},
                {{.photometric = 8, .isTiled = true, .left = "\x80\x14\xec", .right = "zzz"},
                    qRgb(141, 108, 154)},
                {{.photometric = 5,
                     .bits = 16,
                     .isTiled = true,
                     .left = {"\0\0\xff\xff\x80\x80\x33\x33", 8},
                     .right = "zzzzzzzz"},
                    qRgb(204, 0, 101)}};
        for (const auto& [tiff, color] : rows) {
            const QImage decoded = m_decoder.decode(tiff.encoded(), "tif", {}, {});
            QCOMPARE(decoded.pixelColor(79, 79).rgba(), color);
            QVERIFY(decoded.pixelColor(80, 79).rgba() != color);
            QCOMPARE(decoded.pixelColor(199, 199).rgba(), color);
        }
    }

    void tiffPicturesAreReducedByRows()
    {
        const std::tuple<Tiff, QRgb, QRgb> rows[]
            = {{{.bits = 16, .left = {"\0\x80\xff\xff\0\0", 6}, .right = "333333"},
                   qRgb(128, 255, 0),
                   qRgb(51, 51, 51)},
                {{.left = "\xff\x66\x32\x80", .right = "\xff\xff\xff\xff", .extra = 2},
                    qRgba(255, 102, 50, 128),
                    qRgb(255, 255, 255)},
                {{.isTiled = true, .left = "\x80\x33\x19\x80", .right = "zzzz", .extra = 1},
                    qRgba(255, 102, 50, 128),
                    qRgba(255, 255, 255, 122)},
                {{.photometric = PHOTOMETRIC_MINISBLACK,
                     .bits = 16,
                     .isTiled = true,
                     .left = "\xc8\xc8",
                     .right = "\1\1"},
                    qRgb(200, 200, 200),
                    qRgb(1, 1, 1)}};
        for (const auto& [tiff, left, right] : rows) {
            const QByteArray bytes = tiff.encoded();
            const QImage image = RKReducedTiff::read(bytes, {20, 10});
            QCOMPARE(image.size(), QSize(20, 10));
            for (int y = 0; y < 10; ++y) {
                for (int x = 0; x < 20; ++x)
                    QCOMPARE(image.pixelColor(x, y).rgba(), (x < 8) == (y < 4) ? left : right);
            }
            QCOMPARE(image.dotsPerMeterX(), 11811);
            QCOMPARE(image.dotsPerMeterY(), 23622);
            QVERIFY(RKReducedTiff::read(bytes, {20, 300}).isNull());
            const QByteArray zeros(bytes.size() / 4, '\0');
            QByteArray damaged = bytes;
            QVERIFY(
                RKReducedTiff::read(damaged.replace(8, zeros.size(), zeros), {20, 10}).isNull());
        }
    }

    void colorsBeyondThePaletteAreBlack()
    {
        QImage image(8, 8, QImage::Format_Indexed8);
        image.setColorTable({qRgb(255, 0, 0), qRgb(0, 255, 0)});
        image.fill(1);
        QByteArray bmp = RKTestPictures::encoded(image, "BMP");
        constexpr char kBeyond = 99;
        bmp.back() = kBeyond;
        const QImage decoded = m_decoder.decode(bmp, "bmp", {}, {});
        QCOMPARE(decoded.pixel(0, 0), qRgb(0, 255, 0));
        QCOMPARE(decoded.pixel(7, 0), qRgb(0, 0, 0));
        // As a palette picture, it is one that others can open.
        QVERIFY(!m_decoder.decode(RKTestPictures::encoded(decoded, "PNG"), "png", {}, {}).isNull());
    }

    void deepColorsAreDeclaredTransparent()
    {
        constexpr qsizetype kSignatureAndHeader = 33;
        QImage stored = RKTestPictures::quadrants({128, 48}).convertToFormat(QImage::Format_RGBX64);
        QByteArray png = RKTestPictures::encoded(stored, "png");
        // A tRNS chunk with the red of the first quadrant.
        png.insert(
            kSignatureAndHeader, QByteArray::fromHex("0000000674524e53ffff0000000040066bd1"));
        stored.convertTo(QImage::Format_ARGB32);
        for (int y = 0; y < 24; ++y) {
            for (int x = 0; x < 64; ++x)
                stored.setPixel(x, y, qRgba(255, 0, 0, 0));
        }
        const QImage decoded = m_decoder.decode(png, "png", {}, {});
        QCOMPARE(decoded.convertToFormat(QImage::Format_ARGB32), stored);
        const QImage scaled = m_decoder.decode(png, "png", {64, 24}, {});
        QCOMPARE(qAlpha(scaled.pixel(4, 4)), 0);
        QCOMPARE(scaled.pixel(56, 20), qRgb(255, 255, 255));
    }

    void devicesAndFilesAreMeasured()
    {
        for (const char* format : {"png", "mng"})
            RKDecoderChecks::measuring(m_decoder, format, picture(format), {120, 80});
    }

    void heicIsMeasuredAndDecodedUpright()
    {
        const QSize stored(400, 300);
        // Qt's eight ways of turning; the ninth file tells its size only when it is decoded.
        for (int i = 0; i < 9; ++i) {
            const QImageIOHandler::Transformations transformation(i % 8 + i / 8 * 4);
            const QByteArray data = heic(stored, transformation, i == 8 ? kUnmeasurable : ' ');
            // What Qt makes of it without scaling.
            QBuffer buffer;
            buffer.setData(data);
            QImageReader reader(&buffer, "heic");
            reader.setAutoTransform(true);
            const QImage upright = reader.read();

            const QSize displayed = i >= 4 ? stored.transposed() : stored;
            QCOMPARE(m_decoder.size(data, "heic"), displayed);
            QCOMPARE(m_decoder.decode(data, "heic", {}, {}), upright);
            const QSize size = displayed.scaled(150, 200, Qt::KeepAspectRatio);
            QCOMPARE(m_decoder.decode(data, "heic", {150, 200}, {}), upright.scaled(size));
        }
        // A JPEG under a name of HEIC stays as it is stored: the loader turns it, by the metadata.
        QByteArray jpeg = picture("jpg");
        jpeg.insert(2,
            QByteArray::fromHex("ffe10022 457869660000 49492a0008000000 0100"
                                "120103000100000006000000 00000000"));
        QCOMPARE(m_decoder.decode(jpeg, "heics", {}, {}).size(), QSize(120, 80));
    }

    void heicFailureIsReported()
    {
        auto* const reporter = RKImageLoadingReporter::instance();
        const QSignalSpy spy(reporter, &RKImageLoadingReporter::heicErrorReported);
        QTest::ignoreMessage(QtWarningMsg, kFailed);
        QVERIFY(m_decoder.decode(heic({64, 64}, {}, kBroken), "heif", {}, {}).isNull());
        QCOMPARE(spy.count(), 1);
        // Once until the reset, which a slot may make, too.
        QVERIFY(m_decoder.decode("no HEIC", "HEIC", {}, {}).isNull());
        QCOMPARE(spy.count(), 1);
        const auto resetting = connect(reporter,
            &RKImageLoadingReporter::heicErrorReported,
            reporter,
            &RKImageLoadingReporter::reset);
        reporter->reset();
        // Corrupt files fail when they are measured.
        for (int i = 0; i < 2; ++i)
            QVERIFY(m_decoder.decode("no HEIC", "HEIC", {}, {}).isNull());
        QCOMPARE(spy.count(), 3);
        disconnect(resetting);

        // No data, the guard against shapes and another format are no failures of HEIC.
        QVERIFY(m_decoder.decode({}, "heic", {}, {}).isNull());
        QVERIFY(m_decoder.decode(heic({4, 4}, {}), "heic", {}, {}).isNull());
        QVERIFY(m_decoder.decode("no PNG", "png", {}, {}).isNull());
        QCOMPARE(spy.count(), 3);
    }

    void picturesAreSaved()
    {
        const QImage image = RKTestPictures::quadrants({64, 48});
        for (const char* format : {"bmp", "ico", "tif"}) {
            QBuffer buffer;
            QVERIFY(m_decoder.save(&buffer, RKMediaFormat(format), image));
            QCOMPARE(
                RKTestPictures::quadrantColors(QImage::fromData(buffer.data(), format)), "rgbw");
        }
        // Kept: PNG has a quality of 50.
        for (const auto& [format, quality] : {std::pair("png", 50), std::pair("jpg", kJpegQuality)})
        {
            QBuffer buffer;
            QVERIFY(m_decoder.save(&buffer, RKMediaFormat(format), image));
            QCOMPARE(buffer.data(), RKTestPictures::encoded(image, format, quality));
        }
        RKDecoderChecks::saving(m_decoder, MEDIA_FORMAT_PNG, image);
    }

private:
    const RKBitmapDecoderQt m_decoder{};
    QTemporaryDir m_folder;
};

QTEST_MAIN(RKBitmapDecoderQtTest)
#include "RKBitmapDecoderQtTest.moc"
