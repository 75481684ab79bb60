#include "RKImageLoader/decoders/RKBitmapDecoder.h"
#include "RKImageLoader/decoders/RKBitmapDecoderRegistry.h"
#include "support/RKTestPictures.h"
#include "support/RKTimeLimit.h"

#include <QDir>
#include <QImageReader>
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
constexpr QByteArrayView kUndecodable
    = "bmpsuite_q_pal1huff.bmp bmpsuite_q_pal2.bmp bmpsuite_q_pal2color.bmp "
      "bmpsuite_q_pal8os2v2-16.bmp bmpsuite_q_pal8oversizepal.bmp bmpsuite_q_rgb24jpeg.bmp "
      "bmpsuite_q_rgb24png.bmp bmpsuite_q_rgb32h52.bmp bmpsuite_q_rgba32abf.bmp "
      "bmpsuite_q_rgba32h56.bmp bmpsuite_x_ba-bm.bmp gd_img-ref.xbm "
      "Fuji_Z33WP_metadata_only.jpg 12bit.cropped.tif input_gray_4bit_matte.tiff "
      "tiger-rgb-strip-contig-02.tif";

// Their colours can't be compared: transparency that Qt's reader leaves out, YCbCr that the other
// tool takes for RGB, another frame, Lab of another white; and planes, white as zero and 32 bits,
// which Qt's TIFF reader gets wrong.
constexpr QByteArrayView kOtherColors
    = "cmyka.tif palette_8bit_alpha.tiff dscf0013.tif ycbcr-cat.tif zackthecat.tif hopper.Lab.tif "
      "mngexample.mng high-color.gif pattern2-8-lab.psd gray16.tif flower-rgb-planar-32.tif "
      "tiff_strip_planar_16bit_RGB.tiff";

// The decoder of a file; null for formats that nobody reads.
const RKBitmapDecoder* decoderOf(const QFileInfo& file)
{
    const auto* const registry = RKBitmapDecoderRegistry::instance();
    const RKMediaFormat format(file.suffix().toLower());
    return registry->supportedMediaFormats().contains(format) ? registry->primaryDecoder(format)
                                                              : nullptr;
}

QSize sizeOf(const QJsonObject& entry, const QString& folder)
{
    // The second tool looks at the first frame of an animation instead of the canvas, and rounds
    // the size of a drawing up. The first one misses the height of some bitmaps.
    const QJsonValue second = entry[u"im"][u"size"];
    const bool isSecondBetter
        = second.isArray() && folder != QLatin1String("gif") && folder != QLatin1String("svg");
    const QJsonValue sides = isSecondBetter ? second : entry[u"size"];
    const QSize size(sides[0].toInt(), sides[1].toInt());
    return size.isEmpty() ? QSize() : size;
}

// Empty where the decoder's colours still have to be turned or converted.
QStringList colorsOf(const QJsonObject& entry)
{
    const bool isTurned
        = entry[u"orientation"].toInt(1) != 1 || entry[u"xmp"][u"orientation"].toInt(1) != 1;
    return isTurned || entry.contains(u"icc")
        ? QStringList()
        : entry[u"quad"].toString().split(u' ', Qt::SkipEmptyParts);
}

// By how much the mean colours of the quadrants differ: top left, top right, bottom left, bottom
// right.
int difference(const QImage& image, const QStringList& expected)
{
    QImage canvas(image.size(), QImage::Format_RGB32);
    canvas.fill(Qt::white);
    QPainter(&canvas).drawImage(0, 0, image);
    int largest = 0;
    for (int i = 0; i < 4; ++i) {
        const QPoint begin(i % 2 * (image.width() / 2), i / 2 * (image.height() / 2));
        const QPoint end(
            i % 2 ? image.width() : image.width() / 2, i / 2 ? image.height() : image.height() / 2);
        std::array<qint64, 3> sums{};
        for (int y = begin.y(); y < end.y(); ++y) {
            for (int x = begin.x(); x < end.x(); ++x) {
                for (size_t c = 0; c < 3; ++c)
                    sums[c] += canvas.pixel(x, y) >> (16 - 8 * c) & 0xff;
            }
        }
        const qint64 count = qint64(end.x() - begin.x()) * (end.y() - begin.y());
        const QRgb other = QColor(QLatin1Char('#') + expected[i]).rgb();
        for (size_t c = 0; c < 3; ++c)
            largest = std::max(
                largest, std::abs(int(sums[c] / count) - int(other >> (16 - 8 * c) & 0xff)));
    }
    return largest;
}

} // namespace

/// Real files of every format, whole and broken.
class RKBitmapDecoderSamplesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void initTestCase()
    {
        if (!m_samples.exists())
            QSKIP("The samples are missing.");
        QLoggingCategory::setFilterRules(QStringLiteral("*=false"));
        QImageReader::setAllocationLimit(0);
    }

    void realFilesHaveTheirSizeAndColors_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QSize>("size");
        QTest::addColumn<QStringList>("colors");

        const QJsonObject all = QJsonDocument::fromJson(
            RKTestPictures::read(m_samples.filePath(QStringLiteral("expected.json"))))
                                    .object();
        const QStringList folders
            = QStringLiteral("bmp gif misc-formats jpeg-exif png psd svg tiff webp orientation")
                  .split(u' ');
        for (const QString& name : folders) {
            const QStringList files = QDir(m_samples.filePath(name)).entryList(QDir::Files);
            for (const QString& file : files) {
                const QString path = name + u'/' + file;
                const QJsonObject entry = all.value(path).toObject();
                if (decoderOf(QFileInfo(file)))
                    QTest::newRow(qPrintable(path))
                        << path << sizeOf(entry, name) << colorsOf(entry);
            }
        }
    }

    void realFilesHaveTheirSizeAndColors()
    {
        QFETCH(QString, path);
        QFETCH(QSize, size);
        QFETCH(QStringList, colors);

        const QFileInfo file(m_samples.filePath(path));
        const RKBitmapDecoder* const decoder = decoderOf(file);
        const QByteArray format = file.suffix().toLower().toLatin1();
        const QByteArray data = RKTestPictures::read(file.filePath());
        const qint64 start = RKTimeLimit::worked();
        const QSize measured = decoder->size(file, format);
        const QImage image = decoder->decode(data, format, {}, {});
        QVERIFY(RKTimeLimit::worked(start) < kSoon);

        if (kUndecodable.contains(file.fileName().toUtf8())) {
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
        const bool isComparable = isDecoded && !kOtherColors.contains(file.fileName().toUtf8())
            && !path.startsWith(QLatin1String("bmp/bmpsuite_q")) && !data.contains("gAMA")
            && std::min(size.width(), size.height()) > 16;
        if (isComparable && colors.size() == 4)
            QVERIFY(difference(image, colors) <= kTolerance);
    }

    void brokenFilesAreLeftSoon_data()
    {
        QTest::addColumn<QString>("path");
        const QDir folder(m_samples.filePath(QStringLiteral("broken")));
        const QStringList files = folder.entryList(QDir::Files);
        for (const QString& file : files) {
            if (decoderOf(QFileInfo(file)))
                QTest::newRow(qPrintable(file)) << folder.filePath(file);
        }
    }

    void brokenFilesAreLeftSoon()
    {
        QFETCH(QString, path);

        const QFileInfo file(path);
        const RKBitmapDecoder* const decoder = decoderOf(file);
        const QByteArray format = file.suffix().toLower().toLatin1();
        const QByteArray data = RKTestPictures::read(path);
        for (const QSize& wanted : {QSize(), QSize(200, 200)}) {
            const qint64 start = RKTimeLimit::worked();
            decoder->size(file, format);
            for (const QImage& image : {decoder->decode(data, format, wanted, {}),
                     decoder->decodeDrawable(data, format, wanted, {}).image()})
            {
                // No file of these sizes has a claim to more.
                constexpr qint64 kMaxPixels = 100'000'000;
                QVERIFY(qint64(image.width()) * image.height() < kMaxPixels);
            }
            QVERIFY(RKTimeLimit::worked(start) < 2 * kSoon);
        }
    }

private:
    QDir m_samples{QStringLiteral(RK_SAMPLES)};
};

QTEST_MAIN(RKBitmapDecoderSamplesTest)
#include "RKBitmapDecoderSamplesTest.moc"
