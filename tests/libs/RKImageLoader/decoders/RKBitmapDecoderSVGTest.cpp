#include "RKImageLoader/decoders/RKBitmapDecoderSVG.h"

#include "support/RKDecoderChecks.h"
#include "support/RKQuietTest.h"
#include "support/RKTestPictures.h"

#include <QBuffer>

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

class RKBitmapDecoderSVGTest : public RKQuietTest
{
    Q_OBJECT

private Q_SLOTS:

    void documentsAreRenderedToFit()
    {
        for (const auto& [wanted, expected] : {std::pair(QSize(200, 200), QSize(200, 50)),
                 std::pair(QSize(4000, 1000), QSize(4000, 1000)),
                 std::pair(QSize(2, 2), QSize(2, 1)),
                 std::pair(QSize(-1, 50), QSize(400, 100))})
        {
            const QImage image = m_decoder.decode(kWide, "svg", wanted, {});
            QCOMPARE(image.size(), expected);
            QCOMPARE(image.format(), QImage::Format_ARGB32_Premultiplied);
            QCOMPARE(image.pixel(0, 0), 0xffff0000);
            QCOMPARE(image.pixel(expected.width() - 1, 0), 0U);
        }
    }

    void ownSizeIsMeasured()
    {
        RKDecoderChecks::measuring(m_decoder, "svg", kWide, {400, 100});
        QCOMPARE(m_decoder.size(sized("width='40mm' height='20mm'"), "svg"), QSize(141, 70));
        QCOMPARE(m_decoder.size(sized("viewBox='0 0 30 20'"), "svg"), QSize(30, 20));
    }

    void garbageGivesNothing()
    {
        QVERIFY(m_decoder.decode("<svg", "svg", {10, 10}, {}).isNull());

        // What no renderer may see is refused before one does.
        const QByteArray refused = sized(QByteArray("a='\0'", 5));
        QTest::ignoreMessage(QtWarningMsg, "SVG document refused: a null character");
        QVERIFY(m_decoder.decode(refused, "svg", {10, 10}, {}).isNull());
        QTest::ignoreMessage(QtWarningMsg, "SVG document refused: a null character");
        QVERIFY(!m_decoder.size(refused, "svg").isValid());

        QTest::ignoreMessage(QtWarningMsg, "SVG document refused: it wants to be too large");
        const QByteArray huge = sized("width='16385' height='16384'");
        QVERIFY(m_decoder.decode(huge, "svg", {}, {}).isNull());
        QCOMPARE(m_decoder.decode(huge, "svg", {10, 10}, {}).size(), QSize(10, 10));
        QVERIFY(m_decoder.decode(sized("width='1e12' height='1e12'"), "svg", {}, {}).isNull());
    }

    void nothingIsMadeOfDocumentsWithoutSize()
    {
        const auto warn
            = [] { QTest::ignoreMessage(QtWarningMsg, "SVG document refused: it has no size"); };
        for (const char* attributes : {"", "viewBox='0 0 100 0'"}) {
            const QByteArray empty = sized(attributes);
            warn();
            QVERIFY(!m_decoder.size(empty, "svg").isValid());
            warn();
            QVERIFY(m_decoder.decode(empty, "svg", {10, 10}, {}).isNull());
            warn();
            QVERIFY(m_decoder.decodeDrawable(empty, "svg", {10, 10}, {}).isNull());
        }
    }

    void drawingsAreSavedAsTheyAreAndBitmapsWrapped()
    {
        QBuffer buffer;
        RKDecoderChecks::saving(m_decoder, MEDIA_FORMAT_SVG, RKDrawable(kWide));

        const QImage image = RKTestPictures::quadrants({40, 30});
        QVERIFY(m_decoder.save(&buffer, MEDIA_FORMAT_SVG, image));
        QVERIFY(buffer.data().contains("<title>converted QImage of RKBitmapDecoderSVG</title>"));
        const RKDrawable drawable = m_decoder.decodeDrawable(buffer.data(), "svg", {}, {});
        QCOMPARE(drawable.size(), image.size());
        QCOMPARE(RKTestPictures::quadrantColors(drawable.image()), QByteArray("rgbw"));
        QVERIFY(!m_decoder.save(&buffer, MEDIA_FORMAT_SVG, QImage()));
    }

private:
    const RKBitmapDecoderSVG m_decoder{};
};

QTEST_MAIN(RKBitmapDecoderSVGTest)
#include "RKBitmapDecoderSVGTest.moc"
