#include "RKImageLoader/media/RKMediaFormat.h"

#include "RKImageLoader/loading/RKImageLoaderInitializer.h"
#include "RKImageLoader/media/RKMediaError.h"
#include "RKImageLoader/media/RKMediaFormatList.h"
#include "support/RKQuietTest.h"

#include <QUuid>

using namespace Qt::StringLiterals;

class RKMediaFormatTest : public RKQuietTest
{
    Q_OBJECT

private Q_SLOTS:

    void everyKeywordLeadsToItsFormat()
    {
        QStringList all;
        for (int bit = 0; bit < 63; ++bit) {
            const RKMediaFormat format(RKMediaFormatEnum(1LL << bit));
            const QStringList keywords = format.fileExtensions();
            for (const QString& keyword : keywords)
                QVERIFY(RKMediaFormat(keyword) == format);
            all += keywords;
        }
        QCOMPARE(all.size(), 46);
        QCOMPARE(all.removeDuplicates(), 0);
        // The first one is the default.
        QCOMPARE(RKMediaFormat("mpeg").defaultExtension(), u"mpg"_s);
        QCOMPARE(RKMediaFormat("jp2").defaultExtension(), u"j2k"_s);
    }

    void textsDecodeToFormats()
    {
        QVERIFY(RKMediaFormat(" JPEG ") == MEDIA_FORMAT_JPG);
        QVERIFY(RKMediaFormat("*.tif") == MEDIA_FORMAT_TIFF);
        QVERIFY(RKMediaFormat(QFileInfo(u"/a/b.c.JPG"_s)) == MEDIA_FORMAT_JPG);

        const RKMediaFormat both("jpg,,*.png");
        QCOMPARE(both.fileExtensions().join(u' '), u"jpg jpeg png"_s);
        QVERIFY(!both.isBitmap());

        for (const char* unknown : {"pbm", "*.", "jp g"}) {
            QTest::ignoreMessage(QtWarningMsg,
                qPrintable(u"RKMediaFormat no RKMediaFormat for "_s + QLatin1String(unknown)));
            QVERIFY(!RKMediaFormat(unknown).isValid());
        }
    }

    void mimeTypesFallBackOnTheirKind()
    {
        const auto decoded = [](const char* mime) {
            return RKMediaFormat::fromMimeType(
                QString::fromLatin1(mime), MEDIA_FORMAT_GIF, MEDIA_FORMAT_MP4)
                .value();
        };
        QCOMPARE(decoded("video/quicktime"), MEDIA_FORMAT_MOV);
        QCOMPARE(decoded("image/svg+xml"), MEDIA_FORMAT_GIF);
        QCOMPARE(decoded("video/x-unknown"), MEDIA_FORMAT_MP4);
        QCOMPARE(decoded("text/plain"), MEDIA_FORMAT_UNKNOWN);
    }

    void hostsSortFormatsAndNameThemToTheSystem()
    {
        QString told;
        for (const auto format : {MEDIA_FORMAT_PNG,
                 MEDIA_FORMAT_JPG,
                 MEDIA_FORMAT_SVG,
                 MEDIA_FORMAT_GIF,
                 MEDIA_FORMAT_TIFF})
        {
            told += QString::number(RKMediaFormat(format).priority())
                + RKMediaFormat(format).toUti()
                + (RKMediaFormat(format).canHandleMetadata() ? u"+ " : u" ");
        }
        QCOMPARE(
            told, u"1public.png+ 2public.jpeg+ 3public.image 4com.compuserve.gif 4public.tiff+ "_s);
    }

    void fileNamesAreCleaned()
    {
        const auto named
            = [](RKMediaFormatEnum format, const QString& base, const char* extension) {
                  return RKMediaFormat(format).createFilename(base, QString::fromLatin1(extension));
              };
        QCOMPARE(named(MEDIA_FORMAT_JPG, u"a:b"_s, "JPG"), u"a_b.JPG"_s);
        QCOMPARE(named(MEDIA_FORMAT_JPG, u"a"_s, "png"), u"a.jpg"_s);
        QCOMPARE(named(MEDIA_FORMAT_PNG, u"<?:~\\\"'`*|/>ü.x"_s, "png"), u"____________ü.x.png"_s);
        QCOMPARE(named(MEDIA_FORMAT_UNKNOWN, u"a/b"_s, "png"), u"a_b"_s);
        QCOMPARE(named(MEDIA_FORMAT_PNG, QString(200, u'?'), "png").left(200), QString(200, u'_'));
        const QString random = named(MEDIA_FORMAT_PNG, QString(201, u'a'), "png");
        QVERIFY(!QUuid::fromString(random.chopped(4)).isNull());
        QCOMPARE(random.size(), 36 + 4);
    }

    void listsKeepFormatsOnce()
    {
        QTest::ignoreMessage(QtWarningMsg, "RKMediaFormat no RKMediaFormat for xcf");
        QTest::ignoreMessage(QtWarningMsg, "RKMediaFormat no RKMediaFormat for kra");
        const RKMediaFormatList list(QList<QByteArray>{"jpg", "xcf", "jpeg", "kra", "png"});
        QCOMPARE(
            list, RKMediaFormatList({MEDIA_FORMAT_JPG, MEDIA_FORMAT_UNKNOWN, MEDIA_FORMAT_PNG}));
    }

    void listsFillFileDialogs()
    {
        const RKMediaFormatList list{MEDIA_FORMAT_JPG, MEDIA_FORMAT_SVG, MEDIA_FORMAT_JPG};
        QCOMPARE(list.fileExtensions().join(u' '), u"jpg JPG jpeg JPEG svg SVG svgz SVGZ"_s);
        QCOMPARE(list.fileExtensionFilters().join(u' '),
            u"*.jpg *.jpg.icloud *.jpeg *.jpeg.icloud *.svg *.svg.icloud *.svgz "
            "*.svgz.icloud"_s);
        const QString entry = u"JPEG - Joint Photographics Experts Group (Bitmap) (*.jpg *.jpeg)"_s;
        QCOMPARE(RKMediaFormat(MEDIA_FORMAT_JPG).fileExtensionFilterEntry(), entry);
        QCOMPARE(list.createFileFilterString().section(u";;"_s, 0, 1),
            entry
                + u";;SVG - Scalable Vector Graphics (Vektorformat mit Transparenzen) (*.svg *.svgz)"_s);
        QVERIFY(list.formatByExtensionFilter(entry) == MEDIA_FORMAT_JPG);
    }

    // Last, because the texts stay translated.
    void hostsMayHaveTextsInOneLanguage()
    {
        QVERIFY(!RKImageLoaderInitializer::installTranslation(QLocale::French));
        QVERIFY(RKImageLoaderInitializer::installTranslation(QLocale::German));
        QCOMPARE(RKMediaError(RKMediaErrorCode::DiskFull).text(), u"Der Datenträger ist voll."_s);
        QVERIFY(RKImageLoaderInitializer::installTranslation(QLocale::English));
        QCOMPARE(RKMediaFormat(MEDIA_FORMAT_GIF).description(),
            u"GIF - Graphics Interchange Format (bitmap with binary transparency)"_s);
    }
};

QTEST_GUILESS_MAIN(RKMediaFormatTest)

#include "RKMediaFormatTest.moc"
