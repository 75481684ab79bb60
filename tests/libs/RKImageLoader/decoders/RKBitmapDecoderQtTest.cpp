#include "RKImageLoader/decoders/RKBitmapDecoderQt.h"

#include "RKImageLoader/media/RKImageLoaderConfig.h"
#include "RKImageLoader/media/RKImageLoadingReporter.h"
#include "RKTestHeicPlugin.h"
#include "support/RKTestPictures.h"
#include "support/RKTimeLimit.h"

#include <QBuffer>
#include <QElapsedTimer>
#include <QFile>
#include <QImageReader>
#include <QImageWriter>
#include <QLoggingCategory>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QtEndian>
#include <QtPlugin>

#include <sys/stat.h>

#include <array>

Q_IMPORT_PLUGIN(RKTestHeicPlugin)

namespace {

constexpr int kJpegQuality = 20;
constexpr const char* kRefused = "Picture refused: its header promises more than its data can hold";
constexpr const char* kFailed
    = "Bild Laden gescheitert ( Fehler im ImageReader): Unable to read image data";

QByteArray chunk(const QByteArray& type, const QByteArray& content)
{
    // ISO/IEC 15948 (PNG), annex D.
    quint32 checksum = 0xffffffff;
    const QByteArray covered = type + content;
    for (const char byte : covered) {
        checksum ^= uchar(byte);
        for (int i = 0; i < 8; ++i)
            checksum = (checksum >> 1) ^ (checksum & 1 ? 0xedb88320 : 0);
    }
    QByteArray result(4, '\0');
    qToBigEndian(quint32(content.size()), result.data());
    QByteArray end(4, '\0');
    qToBigEndian(~checksum, end.data());
    return result + covered + end;
}

// A PNG file's chunks, and others before them, in an MNG file of one frame (MNG 1.0).
QByteArray mng(const QByteArray& png, const QByteArray& before = {}, const QByteArray& after = {})
{
    constexpr qsizetype kSignature = 8;
    QByteArray header = png.sliced(kSignature + 8, 8) + QByteArray(20, '\0');
    header[11] = char(100); // ticks in a second
    return "\x8aMNG\r\n\x1a\n" + chunk("MHDR", header) + before + png.sliced(kSignature) + after
        + chunk("MEND", {});
}

// Four colours, each pixel as a code of its own, so that no dictionary is needed (GIF89a,
// appendix F).
QByteArray gif(const QImage& image)
{
    const std::array<QRgb, 4> colors{0xffff0000, 0xff00ff00, 0xff0000ff, 0xffffffff};
    QByteArray file = "GIF89a";
    const auto number
        = [&](int value) { file.append(char(value & 0xff)).append(char(value >> 8)); };
    number(image.width());
    number(image.height());
    file += QByteArray("\x81\0\0", 3);
    for (const QRgb color : colors)
        file.append(char(qRed(color))).append(char(qGreen(color))).append(char(qBlue(color)));
    file += QByteArray(",\0\0\0\0", 5);
    number(image.width());
    number(image.height());
    file += QByteArray("\0\2", 2);

    // Codes of three bits: a clear code before every second pixel keeps them so.
    QByteArray bits;
    constexpr int kClear = 4;
    constexpr int kEnd = 5;
    const auto code = [&](int value) {
        for (int i = 0; i < 3; ++i)
            bits.append(char((value >> i) & 1));
    };
    for (int i = 0; i < image.width() * image.height(); ++i) {
        if (i % 2 == 0)
            code(kClear);
        const QRgb pixel = image.pixel(i % image.width(), i / image.width());
        code(int(std::find(colors.begin(), colors.end(), pixel) - colors.begin()));
    }
    code(kEnd);
    QByteArray packed((bits.size() + 7) / 8, '\0');
    for (qsizetype i = 0; i < bits.size(); ++i)
        packed[i / 8] = char(packed[i / 8] | (bits[i] << (i % 8)));
    for (qsizetype i = 0; i < packed.size(); i += 255) {
        const QByteArray block = packed.mid(i, 255);
        file += char(block.size()) + block;
    }
    return file + QByteArray("\0;", 2);
}

// Rows from top to bottom, which Qt's reader measures with a negative height.
QByteArray topDownBmp(const QImage& image)
{
    QByteArray file = RKTestPictures::encoded(image.mirrored(), "BMP");
    qToLittleEndian(-image.height(), file.data() + 22);
    return file;
}

QByteArray encoded(const QByteArray& kind, const QImage& image)
{
    if (kind == "mng")
        return mng(RKTestPictures::encoded(image, "PNG"));
    if (kind == "gif")
        return gif(image);
    if (kind == "top-down bmp")
        return topDownBmp(image);
    return RKTestPictures::encoded(image, kind.constData(), 100);
}

bool isNear(QRgb a, QRgb b)
{
    constexpr int kTolerance = 12; // of a JPEG of the best quality
    return std::abs(qRed(a) - qRed(b)) < kTolerance && std::abs(qGreen(a) - qGreen(b)) < kTolerance
        && std::abs(qBlue(a) - qBlue(b)) < kTolerance;
}

// The corners of both pictures have the same colours.
bool haveSameQuadrants(const QImage& a, const QImage& b)
{
    for (const int x : {1, 7}) {
        for (const int y : {1, 7}) {
            if (!isNear(a.pixel(a.width() * x / 8, a.height() * y / 8),
                    b.pixel(b.width() * x / 8, b.height() * y / 8)))
                return false;
        }
    }
    return true;
}

// Gives its bytes once and can't go back.
class SequentialDevice : public QIODevice
{
public:
    explicit SequentialDevice(const QByteArray& data)
    {
        m_buffer.setData(data);
        m_buffer.open(QIODevice::ReadOnly);
    }

    bool isSequential() const override
    {
        return true;
    }

    qint64 bytesAvailable() const override
    {
        return m_buffer.bytesAvailable() + QIODevice::bytesAvailable();
    }

protected:
    qint64 readData(char* data, qint64 size) override
    {
        return m_buffer.read(data, size);
    }

    qint64 writeData(const char*, qint64) override
    {
        return -1;
    }

private:
    QBuffer m_buffer;
};

// Says that it saved something.
class EmptyWriter : public RKBitmapDecoderQt
{
public:
    using RKBitmapDecoderQt::save;

    bool save(QIODevice*, const RKMediaFormat&, const RKDrawable&) const override
    {
        return true;
    }
};

} // namespace

class RKBitmapDecoderQtTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();

    void excludedFormatsBelongToOthers();
    void everyFormatIsMeasuredAndFitted_data();
    void everyFormatIsMeasuredAndFitted();
    void jpegIsScaledWhileItIsDecoded();
    void unacceptableShapesAreRefusedInSilence();
    void formatNameDecides();
    void damagedPictures_data();
    void damagedPictures();

    void lyingHeadersAreRefused_data();
    void lyingHeadersAreRefused();
    void plainPicturesAreDecoded();

    void gapsShowNothingOld();
    void mngLoopsEnd();
    void devicesAreLeftAsTheyWere();
    void unreadableFilesHaveNoSize();

    void heicIsMeasuredAndDecodedUpright_data();
    void heicIsMeasuredAndDecodedUpright();
    void heicFailureIsReported();

    void picturesAreSaved_data();
    void picturesAreSaved();
    void qualityComesFromTheConfiguration();
    void failedSaveKeepsTheOldFile_data();
    void failedSaveKeepsTheOldFile();
    void savingKeepsALink();
    void fullDiskIsNoticed();

private:
    const RKBitmapDecoderQt m_decoder;
    QTemporaryDir m_folder;
};

void RKBitmapDecoderQtTest::initTestCase()
{
    const QString config = m_folder.filePath(QStringLiteral("config.xml"));
    RKTestPictures::write(
        config, "<config><jpg compression='" + QByteArray::number(kJpegQuality) + "'/></config>");
    RKImageLoaderConfig::setConfigFile(QFileInfo(config));
    // Qt's own readers tell of damaged files too.
    QLoggingCategory::setFilterRules(QStringLiteral("qt.gui.imageio*=false"));
    // As the library sets it up in a host.
    QImageReader::setAllocationLimit(0);
}

void RKBitmapDecoderQtTest::init()
{
    QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
}

void RKBitmapDecoderQtTest::excludedFormatsBelongToOthers()
{
    const RKMediaFormatList formats = m_decoder.readableImageFileFormats();
    for (const RKMediaFormatEnum format : {MEDIA_FORMAT_JPG,
             MEDIA_FORMAT_PNG,
             MEDIA_FORMAT_TIFF,
             MEDIA_FORMAT_GIF,
             MEDIA_FORMAT_MNG,
             MEDIA_FORMAT_HEIC})
        QCOMPARE(formats.count(RKMediaFormat(format)), 1);
    for (const RKMediaFormatEnum format : {MEDIA_FORMAT_SVG,
             MEDIA_FORMAT_PSD,
             MEDIA_FORMAT_CRW,
             MEDIA_FORMAT_DNG,
             MEDIA_FORMAT_UNKNOWN})
        QVERIFY(!formats.contains(format));
}

void RKBitmapDecoderQtTest::everyFormatIsMeasuredAndFitted_data()
{
    QTest::addColumn<QByteArray>("format");
    QTest::addColumn<QByteArray>("data");

    const QImage image = RKTestPictures::quadrants({120, 80});
    for (const char* kind : {"bmp",
             "gif",
             "ico",
             "jpg",
             "mng",
             "pgm",
             "png",
             "tiff",
             "tif",
             "webp",
             "xbm",
             "xpm",
             "top-down bmp"})
    {
        const QByteArray format = QByteArray(kind).split(' ').last();
        QTest::newRow(kind) << format << encoded(kind, image);
    }
}

void RKBitmapDecoderQtTest::everyFormatIsMeasuredAndFitted()
{
    QFETCH(QByteArray, format);
    QFETCH(QByteArray, data);

    QCOMPARE(m_decoder.size(data, format), QSize(120, 80));
    const QImage full = m_decoder.decode(data, format, {}, {});
    QCOMPARE(full.size(), QSize(120, 80));
    const bool hasColors = format != "pgm" && format != "xbm";
    QVERIFY(!hasColors || haveSameQuadrants(full, RKTestPictures::quadrants({120, 80})));
    for (const QSize& wanted : {QSize(120, 80), QSize(60, 60), QSize(240, 1000), QSize(15, 11)}) {
        const QImage image = m_decoder.decode(data, format, wanted, {});
        QCOMPARE(image.size(), QSize(120, 80).scaled(wanted, Qt::KeepAspectRatio));
        QVERIFY(!hasColors || haveSameQuadrants(image, full));
    }
}

void RKBitmapDecoderQtTest::jpegIsScaledWhileItIsDecoded()
{
    const QByteArray data
        = RKTestPictures::encoded(RKTestPictures::quadrants({4000, 3000}), "JPG", 90);
    QBuffer buffer;
    buffer.setData(data);
    QImageReader reader(&buffer, "jpg");
    reader.setScaledSize({400, 300});
    QCOMPARE(m_decoder.decode(data, "jpg", {400, 300}, {}), reader.read());
}

void RKBitmapDecoderQtTest::unacceptableShapesAreRefusedInSilence()
{
    const auto decoded = [this](int width, int height) {
        const QImage image(width, height, QImage::Format_Mono);
        return m_decoder.decode(RKTestPictures::encoded(image, "PNG"), "png", {}, {});
    };
    QVERIFY(decoded(4, 4).isNull());
    QVERIFY(decoded(7, 100).isNull());
    QCOMPARE(decoded(8, 511).size(), QSize(8, 511));
    QVERIFY(decoded(8, 512).isNull());
}

void RKBitmapDecoderQtTest::formatNameDecides()
{
    const QByteArray png = RKTestPictures::encoded(RKTestPictures::quadrants({16, 16}), "PNG");
    QVERIFY(!m_decoder.size(png, "jpg").isValid());
    QVERIFY(m_decoder.decode(png, "jpg", {}, {}).isNull());
}

void RKBitmapDecoderQtTest::damagedPictures_data()
{
    QTest::addColumn<QByteArray>("format");
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<bool>("isDecoded");
    QTest::addColumn<QString>("warning");

    const QImage image = RKTestPictures::quadrants({64, 64});
    const auto half = [&](const char* format) {
        const QByteArray data = RKTestPictures::encoded(image, format);
        return data.left(data.size() / 2);
    };
    const QString failed = QString::fromLatin1(kFailed);
    QTest::newRow("nothing") << QByteArray("jpg") << QByteArray() << false << QString();
    QTest::newRow("noise") << QByteArray("gif") << QByteArray(100, 'x') << false << QString();
    // Kept: the part of a photo that is there is shown.
    const QByteArray jpeg = RKTestPictures::encoded(image, "JPG");
    QTest::newRow("half JPEG") << QByteArray("jpg") << jpeg.chopped(20) << true << QString();
    QTest::newRow("half PNG") << QByteArray("png") << half("PNG") << false << failed;
    QTest::newRow("half BMP") << QByteArray("bmp") << half("BMP") << false
                              << QString::fromLatin1(kRefused);
}

void RKBitmapDecoderQtTest::damagedPictures()
{
    QFETCH(QByteArray, format);
    QFETCH(QByteArray, data);
    QFETCH(bool, isDecoded);
    QFETCH(QString, warning);

    if (!warning.isEmpty())
        QTest::ignoreMessage(QtWarningMsg, qPrintable(warning));
    QCOMPARE(!m_decoder.decode(data, format, {32, 32}, {}).isNull(), isDecoded);
}

void RKBitmapDecoderQtTest::lyingHeadersAreRefused_data()
{
    QTest::addColumn<QByteArray>("format");
    QTest::addColumn<QByteArray>("data");

    const QImage image = RKTestPictures::quadrants({16, 16});
    QByteArray jpeg = RKTestPictures::encoded(image, "JPG");
    jpeg.replace(jpeg.indexOf("\xff\xc0") + 5, 4, QByteArray::fromHex("ffdcffdc"));
    QTest::newRow("JPEG 65500 x 65500") << QByteArray("jpg") << jpeg;

    const QByteArray png = RKTestPictures::encoded(image, "PNG");
    const QByteArray header = QByteArray::fromHex("00007fff00007fff") + png.sliced(24, 5);
    const QByteArray largePng = png.left(8) + chunk("IHDR", header) + png.sliced(33);
    QTest::newRow("PNG 32767 x 32767") << QByteArray("png") << largePng;
    QByteArray icon("\0\0\1\0\1\0\0\0\0\0\1\0\x20\0", 14);
    icon += QByteArray(8, '\0') + largePng;
    qToLittleEndian(quint32(largePng.size()), icon.data() + 14);
    qToLittleEndian(22, icon.data() + 18);
    QTest::newRow("PNG in an icon") << QByteArray("ico") << icon;
    QTest::newRow("MNG") << QByteArray("mng") << mng(largePng);
    QTest::newRow("PGM") << QByteArray("pgm") << QByteArray("P5 32767 32767 255\n");
    QTest::newRow("XPM") << QByteArray("xpm")
                         << QByteArray("/* XPM */\nstatic char* a[] = {\n\"32767 32767 1 1\",\n"
                                       "\"a c #ff0000\",\n\"aaaa\"};\n");
    QTest::newRow("BMP") << QByteArray("bmp") << [&] {
        QByteArray bmp = RKTestPictures::encoded(image, "BMP");
        qToLittleEndian(16000, bmp.data() + 18);
        qToLittleEndian(-16000, bmp.data() + 22);
        return bmp;
    }();
}

void RKBitmapDecoderQtTest::lyingHeadersAreRefused()
{
    QFETCH(QByteArray, format);
    QFETCH(QByteArray, data);

    QTest::ignoreMessage(QtWarningMsg, kRefused);
    QVERIFY(m_decoder.decode(data, format, {100, 100}, {}).isNull());
}

// One colour is as well as the compression can get.
void RKBitmapDecoderQtTest::plainPicturesAreDecoded()
{
    QImage image(8200, 8200, QImage::Format_Grayscale8);
    image.fill(Qt::white);
    QBuffer jpeg;
    QImageWriter writer(&jpeg, "jpg");
    writer.setProgressiveScanWrite(true);
    QVERIFY(writer.write(image));
    QCOMPARE(m_decoder.decode(jpeg.data(), "jpg", {80, 80}, {}).size(), QSize(80, 80));

    const QImage plain = image.copy(0, 0, 4000, 4000).convertToFormat(QImage::Format_RGB32);
    const QByteArray png = RKTestPictures::encoded(plain, "PNG", 0);
    QCOMPARE(m_decoder.decode(png, "png", {80, 80}, {}).size(), QSize(80, 80));
}

// Run lengths that end at once leave the picture as it was in memory.
void RKBitmapDecoderQtTest::gapsShowNothingOld()
{
    QImage image(64, 48, QImage::Format_Indexed8);
    image.setColorCount(256);
    image.fill(0);
    QByteArray bmp = RKTestPictures::encoded(image, "BMP");
    constexpr int kEightBits = 1;
    qToLittleEndian(kEightBits, bmp.data() + 30);
    constexpr qsizetype kPixels = 54 + 1024;
    bmp = bmp.left(kPixels) + QByteArray("\0\1", 2);
    for (int i = 0; i < 8; ++i) {
        // What the next one of this size may get.
        QImage(image.size(), QImage::Format_Indexed8).fill(0xaa);
        const QImage decoded = m_decoder.decode(bmp, "bmp", {}, {});
        QCOMPARE(decoded.size(), image.size());
        QCOMPARE(
            QByteArray(reinterpret_cast<const char*>(decoded.constBits()), 64 * 48).count('\0'),
            64 * 48);
    }
}

// libmng stays in a loop without delays for ever.
void RKBitmapDecoderQtTest::mngLoopsEnd()
{
    const QImage image = RKTestPictures::quadrants({64, 48});
    const QByteArray endless = chunk("FRAM", QByteArray("\2\0\2\0\0\0\0\0\0\0", 10))
        + chunk("LOOP", QByteArray("\0\x7f\xff\xff\xff", 5));
    const QByteArray data
        = mng(RKTestPictures::encoded(image, "PNG"), endless, chunk("ENDL", QByteArray(1, '\0')));
    QElapsedTimer timer;
    timer.start();
    QVERIFY(haveSameQuadrants(m_decoder.decode(data, "mng", {}, {}), image));
    QBuffer buffer;
    buffer.setData(data);
    QCOMPARE(m_decoder.size(&buffer, "mng"), image.size());
    QVERIFY2(timer.elapsed() < RKTimeLimit::milliseconds(1000),
        qPrintable(QString::number(timer.elapsed())));
}

void RKBitmapDecoderQtTest::devicesAreLeftAsTheyWere()
{
    const QImage image = RKTestPictures::quadrants({64, 48});
    for (const char* format : {"png", "mng", "tiff"}) {
        QByteArray data = encoded(format, image);
        QBuffer closed(&data);
        QCOMPARE(m_decoder.size(&closed, format), image.size());
        QVERIFY(!closed.isOpen());

        QBuffer open(&data);
        QVERIFY(open.open(QIODevice::ReadOnly));
        QCOMPARE(m_decoder.size(&open, format), image.size());
        QVERIFY(open.isOpen());

        SequentialDevice sequential(data);
        QCOMPARE(m_decoder.size(&sequential, format), image.size());
        QVERIFY(!sequential.isOpen());
    }

    QBuffer writeOnly;
    QVERIFY(writeOnly.open(QIODevice::WriteOnly));
    QTest::ignoreMessage(
        QtWarningMsg, QRegularExpression(QStringLiteral("^could not open theIODevice ")));
    QVERIFY(!m_decoder.size(&writeOnly, "png").isValid());
}

void RKBitmapDecoderQtTest::unreadableFilesHaveNoSize()
{
    const QString path = m_folder.filePath(QStringLiteral("ä.png"));
    QTest::ignoreMessage(QtWarningMsg,
        QRegularExpression(QStringLiteral("^could not open theIODevice No such file")));
    QVERIFY(!m_decoder.size(QFileInfo(path), "png").isValid());

    RKTestPictures::write(
        path, RKTestPictures::encoded(RKTestPictures::quadrants({64, 48}), "PNG"));
    QCOMPARE(m_decoder.size(QFileInfo(path), "png"), QSize(64, 48));

    const QString pipe = m_folder.filePath(QStringLiteral("pipe.png"));
    QCOMPARE(mkfifo(qPrintable(pipe), 0600), 0);
    QTest::ignoreMessage(QtWarningMsg, "could not open theIODevice Not a regular file");
    QVERIFY(!m_decoder.size(QFileInfo(pipe), "png").isValid());
}

void RKBitmapDecoderQtTest::heicIsMeasuredAndDecodedUpright_data()
{
    QTest::addColumn<QImageIOHandler::Transformations>("transformation");
    QTest::addColumn<RKTestHeic::Trait>("trait");

    for (int transformation = 0; transformation < 8; ++transformation) {
        QTest::addRow("%d", transformation)
            << QImageIOHandler::Transformations(transformation) << RKTestHeic::Trait::None;
    }
    QTest::newRow("size only after decoding")
        << QImageIOHandler::Transformations(QImageIOHandler::TransformationRotate90)
        << RKTestHeic::Trait::Unmeasurable;
}

void RKBitmapDecoderQtTest::heicIsMeasuredAndDecodedUpright()
{
    QFETCH(QImageIOHandler::Transformations, transformation);
    QFETCH(RKTestHeic::Trait, trait);

    const QSize stored(400, 300);
    const bool isTurned = transformation.testFlag(QImageIOHandler::TransformationRotate90);
    const QSize displayed = isTurned ? stored.transposed() : stored;
    const QByteArray data = RKTestHeic::file(stored, transformation, trait);

    // What Qt makes of it without scaling.
    QBuffer buffer;
    buffer.setData(data);
    QImageReader reader(&buffer, "heic");
    reader.setAutoTransform(true);
    const QImage upright = reader.read();
    QCOMPARE(upright.size(), displayed);

    QCOMPARE(m_decoder.size(data, "heic"), displayed);
    QCOMPARE(m_decoder.decode(data, "heic", {}, {}), upright);
    for (const QSize& wanted : {QSize(150, 200), QSize(200, 150), QSize(100, 100)}) {
        const QImage image = m_decoder.decode(data, "heic", wanted, {});
        QCOMPARE(image.size(), displayed.scaled(wanted, Qt::KeepAspectRatio));
        QVERIFY(haveSameQuadrants(image, upright));
    }
    QVERIFY(haveSameQuadrants(m_decoder.decode(data, "heif", {100, 100}, {}), upright));
}

void RKBitmapDecoderQtTest::heicFailureIsReported()
{
    auto* const reporter = RKImageLoadingReporter::instance();
    const QSignalSpy spy(reporter, &RKImageLoadingReporter::heicErrorReported);
    const QByteArray broken = RKTestHeic::file({64, 64}, {}, RKTestHeic::Trait::Broken);

    QTest::ignoreMessage(QtWarningMsg, kFailed);
    QVERIFY(m_decoder.decode(broken, "heic", {}, {}).isNull());
    QCOMPARE(spy.count(), 1);
    reporter->reset();
    // Corrupt files fail when they are measured.
    QVERIFY(m_decoder.decode("no HEIC", "HEIC", {}, {}).isNull());
    QCOMPARE(spy.count(), 2);
    reporter->reset();

    // No data, the guard against shapes and another format are no failures of HEIC.
    QVERIFY(m_decoder.decode({}, "heic", {}, {}).isNull());
    QVERIFY(m_decoder.decode(RKTestHeic::file({4, 4}, {}), "heic", {}, {}).isNull());
    QByteArray png = RKTestPictures::encoded(RKTestPictures::quadrants({64, 64}), "PNG");
    QTest::ignoreMessage(QtWarningMsg, kFailed);
    QVERIFY(m_decoder.decode(png.chopped(60), "png", {}, {}).isNull());
    QCOMPARE(spy.count(), 2);
}

void RKBitmapDecoderQtTest::picturesAreSaved_data()
{
    QTest::addColumn<QString>("suffix");

    for (const char* suffix : {"bmp", "ico", "jpg", "JPEG", "png", "tif", "TIFF"})
        QTest::newRow(suffix) << QString::fromLatin1(suffix);
}

void RKBitmapDecoderQtTest::picturesAreSaved()
{
    QFETCH(QString, suffix);

    const QImage image = RKTestPictures::quadrants({64, 48});
    const QFileInfo file(m_folder.filePath(QLatin1String("ä.") + suffix));
    RKTestPictures::write(file.filePath(), "old");
    QVERIFY(m_decoder.save(file, image));
    const QByteArray format = suffix.toLower().toLatin1();
    const QByteArray bytes = RKTestPictures::read(file.filePath());
    QVERIFY(haveSameQuadrants(m_decoder.decode(bytes, format, {}, {}), image));

    QBuffer buffer;
    QVERIFY(m_decoder.save(&buffer, RKMediaFormat(file), RKDrawable(image)));
    QCOMPARE(buffer.data(), bytes);
    QVERIFY(!buffer.isOpen());
}

void RKBitmapDecoderQtTest::qualityComesFromTheConfiguration()
{
    const QImage image = RKTestPictures::quadrants({64, 48});
    QBuffer buffer;
    QVERIFY(m_decoder.save(&buffer, MEDIA_FORMAT_JPG, image));
    QCOMPARE(buffer.data(), RKTestPictures::encoded(image, "JPG", kJpegQuality));
    buffer.setData(QByteArray());
    // Kept: PNG has a quality of 50.
    QVERIFY(m_decoder.save(&buffer, MEDIA_FORMAT_PNG, image));
    QCOMPARE(buffer.data(), RKTestPictures::encoded(image, "PNG", 50));
}

void RKBitmapDecoderQtTest::failedSaveKeepsTheOldFile_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QImage>("image");
    QTest::addColumn<bool>("isEmptyWriter");

    const QImage image = RKTestPictures::quadrants({64, 48});
    QTest::newRow("no picture") << QStringLiteral("a.png") << QImage() << false;
    QTest::newRow("format that isn't written") << QStringLiteral("a.gif") << image << false;
    QTest::newRow("nothing written") << QStringLiteral("a.png") << image << true;
}

void RKBitmapDecoderQtTest::failedSaveKeepsTheOldFile()
{
    QFETCH(QString, name);
    QFETCH(QImage, image);
    QFETCH(bool, isEmptyWriter);

    const QTemporaryDir folder;
    const QString path = folder.filePath(name);
    RKTestPictures::write(path, "old");
    const QByteArray warning = "failed to save " + path.toUtf8();
    QTest::ignoreMessage(QtWarningMsg, warning.constData());
    const EmptyWriter emptyWriter;
    const RKBitmapDecoderQt& writer = isEmptyWriter ? emptyWriter : m_decoder;
    QVERIFY(!writer.save(QFileInfo(path), RKDrawable(image)));
    QCOMPARE(RKTestPictures::read(path), "old");
    QCOMPARE(QDir(folder.path()).entryList(QDir::Files), QStringList(name));
}

void RKBitmapDecoderQtTest::savingKeepsALink()
{
    const QTemporaryDir folder;
    const QString target = folder.filePath(QStringLiteral("target.png"));
    const QString link = folder.filePath(QStringLiteral("link.png"));
    RKTestPictures::write(target, "old");
    QVERIFY(QFile::link(target, link));
    QVERIFY(m_decoder.save(QFileInfo(link), RKTestPictures::quadrants({16, 16})));
    QVERIFY(QFileInfo(link).isSymLink());
    QVERIFY(RKTestPictures::read(target).startsWith("\x89PNG"));
}

void RKBitmapDecoderQtTest::fullDiskIsNoticed()
{
    QFile full(QStringLiteral("/dev/full"));
    if (!full.exists())
        QSKIP("There is no device that is always full.");
    QVERIFY(!m_decoder.save(&full, MEDIA_FORMAT_PNG, RKTestPictures::quadrants({16, 16})));

    const QString path = m_folder.filePath(QStringLiteral("missing/a.png"));
    const QByteArray warning = "failed to save " + path.toUtf8();
    QTest::ignoreMessage(QtWarningMsg, warning.constData());
    QVERIFY(!m_decoder.save(QFileInfo(path), RKTestPictures::quadrants({16, 16})));
}

QTEST_MAIN(RKBitmapDecoderQtTest)
#include "RKBitmapDecoderQtTest.moc"
