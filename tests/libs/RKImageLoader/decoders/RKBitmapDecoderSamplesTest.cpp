#include "RKImageLoader/decoders/RKBitmapDecoder.h"
#include "RKImageLoader/decoders/RKBitmapDecoderRegistry.h"
#include "support/RKTestPictures.h"

#include <QDir>
#include <QElapsedTimer>
#include <QImageReader>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLoggingCategory>
#include <QPainter>
#include <QTest>

#include <algorithm>
#include <array>

namespace {

constexpr qint64 kSoon = 2000; // ms, also with sanitizers
constexpr int kTolerance = 6; // of mean colours, mostly between JPEG decoders

// What Qt's readers don't know: 2 bits, OS/2 2.x headers, fax, JPEG and PNG inside BMP, headers
// between the versions, palettes that are too long; an X10 header; no picture at all; 12 bits with
// JPEG, grey with transparency in 4 bits and colours in 2.
constexpr std::array kUndecodable{"bmp/bmpsuite_q_pal1huff.bmp",
    "bmp/bmpsuite_q_pal2.bmp",
    "bmp/bmpsuite_q_pal2color.bmp",
    "bmp/bmpsuite_q_pal8os2v2-16.bmp",
    "bmp/bmpsuite_q_pal8oversizepal.bmp",
    "bmp/bmpsuite_q_rgb24jpeg.bmp",
    "bmp/bmpsuite_q_rgb24png.bmp",
    "bmp/bmpsuite_q_rgb32h52.bmp",
    "bmp/bmpsuite_q_rgba32abf.bmp",
    "bmp/bmpsuite_q_rgba32h56.bmp",
    "bmp/bmpsuite_x_ba-bm.bmp",
    "misc-formats/gd_img-ref.xbm",
    "jpeg-exif/Fuji_Z33WP_metadata_only.jpg",
    "tiff/12bit.cropped.tif",
    "tiff/input_gray_4bit_matte.tiff",
    "tiff/tiger-rgb-strip-contig-02.tif"};

// Their colours can't be compared: transparency that Qt's reader leaves out, YCbCr that the other
// tool takes for RGB, another frame, Lab of another white; and planes, white as zero and 32 bits,
// which Qt's TIFF reader gets wrong.
constexpr std::array kOtherColors{"tiff/cmyka.tif",
    "tiff/palette_8bit_alpha.tiff",
    "tiff/dscf0013.tif",
    "tiff/ycbcr-cat.tif",
    "tiff/zackthecat.tif",
    "tiff/hopper.Lab.tif",
    "misc-formats/mngexample.mng",
    "gif/high-color.gif",
    "psd/pattern2-8-lab.psd",
    "tiff/gray16.tif",
    "tiff/flower-rgb-planar-32.tif",
    "tiff/tiff_strip_planar_16bit_RGB.tiff"};

template <size_t N>
bool contains(const std::array<const char*, N>& list, const QString& path)
{
    return std::any_of(
        list.begin(), list.end(), [&](const char* entry) { return path == QLatin1String(entry); });
}

// The decoder of a file; null for formats that nobody reads.
const RKBitmapDecoder* decoderOf(const QFileInfo& file)
{
    const auto* const registry = RKBitmapDecoderRegistry::instance();
    const RKMediaFormat format(file.suffix().toLower());
    return registry->supportedMediaFormats().contains(format) ? registry->primaryDecoder(format)
                                                              : nullptr;
}

QSize toSize(const QJsonValue& value)
{
    const QJsonArray sides = value.toArray();
    return sides.size() == 2 ? QSize(sides[0].toInt(), sides[1].toInt()) : QSize();
}

QSize sizeOf(const QJsonObject& entry, const QString& folder)
{
    const QSize size = toSize(entry.value(QLatin1String("size")));
    const QSize second
        = toSize(entry.value(QLatin1String("im")).toObject().value(QLatin1String("size")));
    // The second tool looks at the first frame of an animation instead of the canvas, and rounds
    // the size of a drawing up. The first one misses the height of some bitmaps.
    const bool isSecondBetter
        = second.isValid() && folder != QLatin1String("gif") && folder != QLatin1String("svg");
    const QSize better = isSecondBetter ? second : size;
    return better.isEmpty() ? QSize() : better;
}

// Empty where the decoder's colours still have to be turned or converted.
QStringList colorsOf(const QJsonObject& entry)
{
    const auto isTurned = [](const QJsonObject& values) {
        return values.value(QLatin1String("orientation")).toInt(1) != 1;
    };
    if (isTurned(entry) || isTurned(entry.value(QLatin1String("xmp")).toObject())
        || entry.contains(QLatin1String("icc")))
    {
        return {};
    }
    return entry.value(QLatin1String("quad")).toString().split(u' ', Qt::SkipEmptyParts);
}

// The mean colours of the quadrants: top left, top right, bottom left, bottom right.
std::array<QColor, 4> quadrants(const QImage& image)
{
    QImage canvas(image.size(), QImage::Format_RGB32);
    canvas.fill(Qt::white);
    QPainter(&canvas).drawImage(0, 0, image);
    std::array<QColor, 4> means;
    for (int i = 0; i < 4; ++i) {
        const int left = i % 2 ? canvas.width() / 2 : 0;
        const int top = i / 2 ? canvas.height() / 2 : 0;
        const int right = i % 2 ? canvas.width() : canvas.width() / 2;
        const int bottom = i / 2 ? canvas.height() : canvas.height() / 2;
        qint64 red = 0;
        qint64 green = 0;
        qint64 blue = 0;
        for (int y = top; y < bottom; ++y) {
            for (int x = left; x < right; ++x) {
                const QRgb pixel = canvas.pixel(x, y);
                red += qRed(pixel);
                green += qGreen(pixel);
                blue += qBlue(pixel);
            }
        }
        const qint64 count = std::max(1, (right - left) * (bottom - top));
        means[size_t(i)] = QColor(int(red / count), int(green / count), int(blue / count));
    }
    return means;
}

int difference(const std::array<QColor, 4>& a, const QStringList& b)
{
    int largest = 0;
    for (size_t i = 0; i < a.size() && qsizetype(i) < b.size(); ++i) {
        const QColor other(QLatin1Char('#') + b[qsizetype(i)]);
        largest = std::max({largest,
            std::abs(a[i].red() - other.red()),
            std::abs(a[i].green() - other.green()),
            std::abs(a[i].blue() - other.blue())});
    }
    return largest;
}

} // namespace

/// Real files of every format, whole and broken.
class RKBitmapDecoderSamplesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();

    void realFilesHaveTheirSizeAndColors_data();
    void realFilesHaveTheirSizeAndColors();
    void brokenFilesAreLeftSoon_data();
    void brokenFilesAreLeftSoon();

private:
    QDir m_samples{QStringLiteral(RK_SAMPLES)};
};

void RKBitmapDecoderSamplesTest::initTestCase()
{
    if (!m_samples.exists())
        QSKIP("The samples are missing.");
    QLoggingCategory::setFilterRules(QStringLiteral("*=false"));
    QImageReader::setAllocationLimit(0);
}

void RKBitmapDecoderSamplesTest::realFilesHaveTheirSizeAndColors_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QSize>("size");
    QTest::addColumn<QStringList>("colors");

    const QJsonObject all = QJsonDocument::fromJson(
        RKTestPictures::read(m_samples.filePath(QStringLiteral("expected.json"))))
                                .object();
    for (const char* folder : {"bmp",
             "gif",
             "misc-formats",
             "jpeg-exif",
             "png",
             "psd",
             "svg",
             "tiff",
             "webp",
             "orientation"})
    {
        const QString name = QString::fromLatin1(folder);
        const QStringList files = QDir(m_samples.filePath(name)).entryList(QDir::Files);
        for (const QString& file : files) {
            const QString path = name + u'/' + file;
            const QJsonObject entry = all.value(path).toObject();
            if (decoderOf(QFileInfo(file)))
                QTest::newRow(qPrintable(path)) << path << sizeOf(entry, name) << colorsOf(entry);
        }
    }
}

void RKBitmapDecoderSamplesTest::realFilesHaveTheirSizeAndColors()
{
    QFETCH(QString, path);
    QFETCH(QSize, size);
    QFETCH(QStringList, colors);

    const QFileInfo file(m_samples.filePath(path));
    const RKBitmapDecoder* const decoder = decoderOf(file);
    const QByteArray format = file.suffix().toLower().toLatin1();
    const QByteArray data = RKTestPictures::read(file.filePath());
    QElapsedTimer timer;
    timer.start();
    const QSize measured = decoder->size(file, format);
    const QImage image = decoder->decode(data, format, {}, {});
    QVERIFY2(timer.elapsed() < kSoon, qPrintable(QString::number(timer.elapsed())));

    if (contains(kUndecodable, path)) {
        QVERIFY(image.isNull());
        return;
    }
    // Few drawings tell their size to the other tools.
    if (size.isValid())
        QCOMPARE(measured, size);
    const bool hasAnySize = format.startsWith("svg") || format == "psd";
    const bool isDecoded = hasAnySize || RKDrawable::isAcceptableSize(measured);
    QCOMPARE(image.size(), isDecoded ? measured : QSize(0, 0));

    // Questionable files have no right colours, and the expected ones follow a picture's gamma.
    const bool isComparable = isDecoded && !contains(kOtherColors, path)
        && !path.startsWith(QLatin1String("bmp/bmpsuite_q")) && !data.contains("gAMA")
        && std::min(size.width(), size.height()) > 16;
    if (isComparable && !colors.isEmpty())
        QVERIFY(difference(quadrants(image), colors) <= kTolerance);
}

void RKBitmapDecoderSamplesTest::brokenFilesAreLeftSoon_data()
{
    QTest::addColumn<QString>("path");
    const QDir folder(m_samples.filePath(QStringLiteral("broken")));
    const QStringList files = folder.entryList(QDir::Files);
    for (const QString& file : files) {
        if (decoderOf(QFileInfo(file)))
            QTest::newRow(qPrintable(file)) << folder.filePath(file);
    }
}

void RKBitmapDecoderSamplesTest::brokenFilesAreLeftSoon()
{
    QFETCH(QString, path);

    const QFileInfo file(path);
    const RKBitmapDecoder* const decoder = decoderOf(file);
    const QByteArray format = file.suffix().toLower().toLatin1();
    const QByteArray data = RKTestPictures::read(path);
    for (const QSize& wanted : {QSize(), QSize(200, 200)}) {
        QElapsedTimer timer;
        timer.start();
        decoder->size(file, format);
        const QImage image = decoder->decode(data, format, wanted, {});
        QVERIFY2(timer.elapsed() < kSoon, qPrintable(QString::number(timer.elapsed())));

        timer.restart();
        const QImage drawn = decoder->decodeDrawable(data, format, wanted, {}).image();
        QVERIFY2(timer.elapsed() < kSoon, qPrintable(QString::number(timer.elapsed())));
        // No file of these sizes has a claim to more.
        constexpr qint64 kMaxPixels = 100'000'000;
        QVERIFY(qint64(image.width()) * image.height() < kMaxPixels);
        QVERIFY(qint64(drawn.width()) * drawn.height() < kMaxPixels);
    }
}

QTEST_MAIN(RKBitmapDecoderSamplesTest)
#include "RKBitmapDecoderSamplesTest.moc"
