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

using namespace Qt::StringLiterals;

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

// The decoder of a file; null for formats that nobody reads.
const RKBitmapDecoder* decoderOf(const QFileInfo& file)
{
    const auto* const registry = RKBitmapDecoderRegistry::instance();
    const RKMediaFormat format(file.suffix().toLower());
    return registry->supportedMediaFormats().contains(format) ? registry->primaryDecoder(format)
                                                              : nullptr;
}

// By how much the mean colours of the quadrants differ: top left, top right, bottom left, bottom
// right.
int difference(const QImage& image, const QStringList& expected)
{
    QImage canvas(image.size(), QImage::Format_RGB32);
    canvas.fill(Qt::white);
    QPainter(&canvas).drawImage(0, 0, image);
    // Made smaller, pixels are the means of areas.
    const QImage means = canvas.scaled(2, 2, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    QImage others(2, 2, QImage::Format_RGB32);
    for (int i = 0; i < 4; ++i)
        others.setPixelColor(i % 2, i / 2, QColor(QLatin1Char('#') + expected[i]));
    return RKTestPictures::difference(means, others);
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
        QLoggingCategory::setFilterRules(u"*=false"_s);
        QImageReader::setAllocationLimit(0);
    }

    void filesAreDecodedOrLeftSoon_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QStringList>("colors");

        const QJsonObject all
            = QJsonDocument::fromJson(RKTestPictures::read(m_samples.filePath(u"expected.json"_s)))
                  .object();
        const QStringList folders
            = u"broken bmp gif misc-formats jpeg-exif png psd svg tiff webp orientation"_s.split(
                u' ');
        for (const QString& name : folders) {
            const QStringList files = QDir(m_samples.filePath(name)).entryList(QDir::Files);
            for (const QString& file : files) {
                const QString path = name + u'/' + file;
                const QJsonObject entry = all.value(path).toObject();
                if (decoderOf(QFileInfo(file)))
                    QTest::newRow(qPrintable(path))
                        << path
                        << (entry.contains(u"icc") ? QString() : entry[u"quad"].toString())
                               .split(u' ', Qt::SkipEmptyParts);
            }
        }
    }

    void filesAreDecodedOrLeftSoon()
    {
        QFETCH(QString, path);
        QFETCH(QStringList, colors);

        const QFileInfo file(m_samples.filePath(path));
        const RKBitmapDecoder* const decoder = decoderOf(file);
        const QByteArray format = file.suffix().toLower().toLatin1();
        const QByteArray data = RKTestPictures::read(file.filePath());
        const qint64 start = RKTimeLimit::worked();
        const QSize measured = decoder->size(file, format);
        const QImage image = decoder->decode(data, format, {}, {});
        const QImage small = decoder->decodeDrawable(data, format, {200, 200}, {}).image();
        QVERIFY(RKTimeLimit::worked(start) < 2 * kSoon);

        if (path.startsWith(QLatin1String("broken/"))) {
            // No file of these sizes has a claim to more.
            constexpr qint64 kMaxPixels = 100'000'000;
            QVERIFY(qint64(image.width()) * image.height() < kMaxPixels);
            QVERIFY(std::max(small.width(), small.height()) <= 200);
            return;
        }
        if (kUndecodable.contains(file.fileName().toUtf8())) {
            QVERIFY(image.isNull());
            return;
        }
        const bool hasAnySize = format.startsWith("svg") || format == "psd";
        const bool isDecoded = hasAnySize || RKDrawable::isAcceptableSize(measured);
        QCOMPARE(image.size(), isDecoded ? measured : QSize(0, 0));

        // Of all others the colours are those of the readers of Qt.
        if (colors.size() == 4 && (format == "psd" || path.startsWith(QLatin1String("svg/")))
            && !path.contains(QLatin1String("-lab."))
            && std::min(image.width(), image.height()) > 16)
            QVERIFY(difference(image, colors) <= kTolerance);
    }

private:
    QDir m_samples{QLatin1String(RK_SAMPLES)};
};

QTEST_MAIN(RKBitmapDecoderSamplesTest)
#include "RKBitmapDecoderSamplesTest.moc"
