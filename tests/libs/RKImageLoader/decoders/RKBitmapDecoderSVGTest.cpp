#include "RKImageLoader/decoders/RKBitmapDecoderSVG.h"

#include "support/RKTestPictures.h"

#include <QBuffer>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QLoggingCategory>
#include <QSvgRenderer>
#include <QTemporaryDir>
#include <QTest>

#include <sys/stat.h>

#include <thread>
#include <vector>

namespace {

// Its own size differs from its view box, and its right half stays empty.
const QByteArray kWide
    = "<svg xmlns='http://www.w3.org/2000/svg' width='400' height='100' viewBox='0 0 200 50'>"
      "<rect width='100' height='50' fill='#ff0000'/></svg>";

QByteArray sized(const QByteArray& size)
{
    return "<svg xmlns='http://www.w3.org/2000/svg' " + size + "/>";
}

} // namespace

class RKBitmapDecoderSVGTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();

    void readsSvgAndWritesNothingByItself();
    void documentsAreRenderedToFit_data();
    void documentsAreRenderedToFit();
    void drawableKeepsTheViewBox();
    void ownSizeIsMeasured_data();
    void ownSizeIsMeasured();
    void garbageGivesNothing();
    void outsideFilesAreNotOpened();
    void severalThreadsRender();

    void documentsAreSavedAsTheyAre();
    void failedSaveKeepsTheOldFile();
    void bitmapsAreWrapped();

private:
    const RKBitmapDecoderSVG m_decoder;
};

void RKBitmapDecoderSVGTest::initTestCase()
{
    // Qt's renderer tells of pictures that are missing.
    QLoggingCategory::setFilterRules(QStringLiteral("qt.svg.warning=false"));
}

void RKBitmapDecoderSVGTest::init()
{
    QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
}

void RKBitmapDecoderSVGTest::readsSvgAndWritesNothingByItself()
{
    QCOMPARE(m_decoder.readableImageFileFormats(), RKMediaFormatList({MEDIA_FORMAT_SVG}));
    QVERIFY(m_decoder.writableImageFileFormats().isEmpty());
    QCOMPARE(m_decoder.name(), QStringLiteral("SVG"));
}

void RKBitmapDecoderSVGTest::documentsAreRenderedToFit_data()
{
    QTest::addColumn<QSize>("wanted");
    QTest::addColumn<QSize>("expected");

    QTest::newRow("fitted") << QSize(200, 200) << QSize(200, 50);
    QTest::newRow("enlarged") << QSize(4000, 1000) << QSize(4000, 1000);
    QTest::newRow("tiny") << QSize(2, 2) << QSize(2, 1);
    QTest::newRow("own size") << QSize() << QSize(400, 100);
    QTest::newRow("one side missing") << QSize(-1, 50) << QSize(400, 100);
}

void RKBitmapDecoderSVGTest::documentsAreRenderedToFit()
{
    QFETCH(QSize, wanted);
    QFETCH(QSize, expected);

    const QImage image = m_decoder.decode(kWide, "svg", wanted, {});
    QCOMPARE(image.size(), expected);
    QCOMPARE(image.format(), QImage::Format_ARGB32_Premultiplied);
    QCOMPARE(image.pixel(0, 0), 0xffff0000);
    QCOMPARE(image.pixel(expected.width() - 1, 0), 0U);
}

void RKBitmapDecoderSVGTest::drawableKeepsTheViewBox()
{
    const RKDrawable drawable = m_decoder.decodeDrawable(kWide, "svg", {}, {});
    QVERIFY(drawable.isVector());
    QCOMPARE(drawable.size(), QSize(200, 50));
    QCOMPARE(drawable.svg(), kWide);
    QCOMPARE(m_decoder.decodeDrawable(kWide, "svg", {100, 100}, {}).size(), QSize(100, 25));
    QCOMPARE(m_decoder.decodeDrawable(kWide, "svg", {100, -1}, {}).size(), QSize(200, 50));
}

void RKBitmapDecoderSVGTest::ownSizeIsMeasured_data()
{
    QTest::addColumn<QByteArray>("svg");
    QTest::addColumn<QSize>("expected");

    QTest::newRow("pixels") << kWide << QSize(400, 100);
    QTest::newRow("millimetres") << sized("width='40mm' height='20mm'") << QSize(141, 70);
    QTest::newRow("view box") << sized("viewBox='0 0 30 20'") << QSize(30, 20);
    QTest::newRow("nothing") << QByteArray() << QSize(-1, -1);
    QTest::newRow("garbage") << QByteArray("GIF89a") << QSize(-1, -1);
}

void RKBitmapDecoderSVGTest::ownSizeIsMeasured()
{
    QFETCH(QByteArray, svg);
    QFETCH(QSize, expected);

    QCOMPARE(m_decoder.size(svg, "svg"), expected);

    QBuffer closed(&svg);
    QCOMPARE(m_decoder.size(&closed, "svg"), expected);
    QVERIFY(!closed.isOpen());
    QBuffer open(&svg);
    QVERIFY(open.open(QIODevice::ReadOnly));
    QCOMPARE(m_decoder.size(&open, "svg"), expected);
    QVERIFY(open.isOpen());

    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("ä.svg"));
    RKTestPictures::write(path, svg);
    QCOMPARE(m_decoder.size(QFileInfo(path), "svg"), expected);
}

void RKBitmapDecoderSVGTest::garbageGivesNothing()
{
    QVERIFY(m_decoder.decode("<svg", "svg", {10, 10}, {}).isNull());
    QVERIFY(m_decoder.decodeDrawable("<svg", "svg", {10, 10}, {}).isNull());

    const QByteArray huge = sized("width='20000' height='20000'");
    QTest::ignoreMessage(QtWarningMsg, "SVG document refused: it wants to be too large");
    QVERIFY(m_decoder.decode(huge, "svg", {}, {}).isNull());
    QCOMPARE(m_decoder.decode(huge, "svg", {10, 10}, {}).size(), QSize(10, 10));
    QVERIFY(m_decoder.decode(sized("width='1e12' height='1e12'"), "svg", {}, {}).isNull());

    QTemporaryDir folder;
    QFile missing(folder.filePath(QStringLiteral("missing.svg")));
    QTest::ignoreMessage(QtWarningMsg,
        QRegularExpression(QStringLiteral("^could not open theIODevice No such file")));
    QVERIFY(!m_decoder.size(&missing, "svg").isValid());
}

void RKBitmapDecoderSVGTest::outsideFilesAreNotOpened()
{
    const QTemporaryDir folder;
    const QString pipe = folder.filePath(QStringLiteral("pipe"));
    QCOMPARE(mkfifo(qPrintable(pipe), 0600), 0);
    const QByteArray reference = pipe.toUtf8();
    const QByteArray image = "<image width='9' height='9' href='" + reference + "' xlink:href='"
        + reference + "'/><rect";
    QByteArray svg = kWide;
    svg.replace("<rect", image);

    QElapsedTimer timer;
    timer.start();
    QCOMPARE(m_decoder.decode(svg, "svg", {}, {}).pixel(0, 0), 0xffff0000);
    QCOMPARE(m_decoder.size(svg, "svg"), QSize(400, 100));
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("Not a regular file$")));
    QVERIFY(!m_decoder.size(QFileInfo(pipe), "svg").isValid());
    QVERIFY2(timer.elapsed() < 1000, qPrintable(QString::number(timer.elapsed())));
}

void RKBitmapDecoderSVGTest::severalThreadsRender()
{
    const QImage expected = m_decoder.decode(kWide, "svg", {}, {});
    std::vector<QImage> images(4);
    std::vector<std::thread> threads;
    for (QImage& image : images) {
        threads.emplace_back([&] {
            for (int i = 0; i < 20; ++i)
                image = m_decoder.decode(kWide, "svg", {}, {});
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    for (const QImage& image : images)
        QCOMPARE(image, expected);
}

void RKBitmapDecoderSVGTest::documentsAreSavedAsTheyAre()
{
    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("ä.svg"));
    QVERIFY(m_decoder.save(QFileInfo(path), RKDrawable(kWide)));
    QCOMPARE(RKTestPictures::read(path), kWide);

    QBuffer buffer;
    QVERIFY(m_decoder.save(&buffer, MEDIA_FORMAT_SVG, RKDrawable(kWide)));
    QCOMPARE(buffer.data(), kWide);
    QVERIFY(!buffer.isOpen());
}

void RKBitmapDecoderSVGTest::failedSaveKeepsTheOldFile()
{
    const QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("a.svg"));
    RKTestPictures::write(path, "old");

    const QByteArray warning = "failed to save " + path.toUtf8();
    QTest::ignoreMessage(QtWarningMsg, warning.constData());
    QVERIFY(!m_decoder.save(QFileInfo(path), RKDrawable()));
    QCOMPARE(RKTestPictures::read(path), "old");

    QFile full(QStringLiteral("/dev/full"));
    if (full.exists())
        QVERIFY(!m_decoder.save(&full, MEDIA_FORMAT_SVG, RKDrawable(kWide)));
    QBuffer readOnly;
    QVERIFY(readOnly.open(QIODevice::ReadOnly));
    QVERIFY(!m_decoder.save(&readOnly, MEDIA_FORMAT_SVG, RKDrawable(kWide)));
}

void RKBitmapDecoderSVGTest::bitmapsAreWrapped()
{
    const QImage image = RKTestPictures::quadrants({40, 30});
    QBuffer buffer;
    QVERIFY(m_decoder.save(&buffer, MEDIA_FORMAT_SVG, image));
    QVERIFY(buffer.data().contains("<title>converted QImage of RKBitmapDecoderSVG</title>"));
    QVERIFY(buffer.data().contains("viewBox=\"0 0 40 30\""));

    const RKDrawable drawable = m_decoder.decodeDrawable(buffer.data(), "svg", {}, {});
    QCOMPARE(drawable.size(), image.size());
    QCOMPARE(drawable.image().pixel(35, 2), image.pixel(35, 2));
    QCOMPARE(drawable.image().pixel(2, 25), image.pixel(2, 25));

    QVERIFY(!m_decoder.save(&buffer, MEDIA_FORMAT_SVG, QImage()));
}

QTEST_MAIN(RKBitmapDecoderSVGTest)
#include "RKBitmapDecoderSVGTest.moc"
