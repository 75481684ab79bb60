#include "RKImageLoader/media/RKMediaFormat.h"

#include "RKImageLoader/media/RKMediaFormatList.h"

#include <QMap>
#include <QTest>
#include <QUuid>

#include <type_traits>

static_assert(std::is_nothrow_move_constructible_v<RKMediaFormatList>);

namespace {

// The number of the format's bit; the keywords; a letter a trait: b(itmap), v(ideo), r(aw),
// m(etadata), f(ast copy), c(onvert), s(oft rotate), e(xiv2); the alpha rank; the description.
constexpr const char* kRows[] = {
    "1|bmp|be|1|BMP - Windows Bitmap (Bitmap)",
    "2|webp|be|4|WebP (Bitmap mit Transparenzen)",
    "3|gif|be|2|GIF - Graphics Interchange Format (Bitmap mit binärer Transparenz)",
    "4|hdp|be|4|hdp-Format (Bitmap mit Transparenzen)",
    "5|ico|be|1|ICO - Windows Icon Datei (Bitmap)",
    "6|j2k jp2|bme|4|j2k-Format (Bitmap mit Transparenzen)",
    "7|jpc|be|0|jpc-Format (Bitmap)",
    "8|jpg jpeg|bmse|1|JPEG - Joint Photographics Experts Group (Bitmap)",
    "9|mng|be|4|mng-Format (Bitmap mit Transparenzen)",
    "11|pgm|be|0|pgm-Format (Bitmap)",
    "12|png|bmse|4|PNG - Portable Network Graphics (Bitmap mit Transparenzen)",
    "19|svg svgz|e|4|SVG - Scalable Vector Graphics (Vektorformat mit Transparenzen)",
    "13|tiff tif|bm|4|TIFF - Tagged Image File Format (Bitmap mit Transparenzen)",
    "15|xbm|be|1|xbm-Format (Bitmap)",
    "16|xpm|be|2|xpm-Format (Bitmap mit binärer Transparenz)",
    "27|avi|vfce|1|avi-Format (Video)",
    "28|3gp|vfce|1|3gp-Format (Video)",
    "21|mpg mpeg|vfce|1|mpg-Format (Video)",
    "22|wmv|vfce|0|wmv-Format (Video)",
    "23|mp4|vfe|0|mp4-Format (Video)",
    "24|mov quicktime|vfe|0|mov-Format (Video)",
    "20|mod|vfce|1|mod-Format (Video)",
    "25|m4v|vfce|0|m4v-Format (Video)",
    "26|mts|vfce|0|mts-Format (Video)",
    "29|vro|vfce|1|vro-Format (Video)",
    "30|vob|vfce|1|vob-Format (Video)",
    "31|crw|brfe|0|crw-Format (Bitmap)",
    "32|cr2|brfe|0|cr2-Format (Bitmap)",
    "33|arw|brfe|0|arw-Format (Bitmap)",
    "34|nef|brfe|0|nef-Format (Bitmap)",
    "35|raf|brfe|0|raf-Format (Bitmap)",
    "36|dng|brfe|0|dng-Format (Bitmap)",
    "42|rw2|brfe|0|rw2-Format (Bitmap)",
    "43|mkv|vfce|1|mkv-Format (Video)",
    "44|ogg|vfce|1|ogg-Format (Video)",
    "38|heic heif heics heifs|bf|0|HEIC - High Efficiency Image Coding (Bitmap)",
    "45|psd|be|0|psd-Format (Bitmap)",
};

QString traitsOf(const RKMediaFormat& format)
{
    QString traits;
    const auto add = [&traits](bool has, char letter) {
        if (has)
            traits += QLatin1Char(letter);
    };
    add(format.isBitmap(), 'b');
    add(format.isVideo(), 'v');
    add(format.isRaw(), 'r');
    add(format.canHandleMetadata(), 'm');
    add(format.preferFastCopy(), 'f');
    add(format.mustConvertVideo(), 'c');
    add(format.supportsSoftRotate(), 's');
    add(format.exiv2Supported(), 'e');
    return traits;
}

} // namespace

class RKMediaFormatTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void init()
    {
        QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
    }

    void everyFormatHasItsProperties()
    {
        qint64 all = 0;
        for (const char* row : kRows) {
            const QStringList columns = QString::fromUtf8(row).split(u'|');
            const RKMediaFormat format(RKMediaFormatEnum(1LL << columns[0].toInt()));
            const QStringList keywords = columns[1].split(u' ');
            QCOMPARE(format.fileExtensions(), keywords);
            QCOMPARE(format.defaultExtension(), keywords.first());
            QCOMPARE(traitsOf(format), columns[2]);
            QCOMPARE(int(format.supportedAlphaCannel()), columns[3].toInt());
            QCOMPARE(format.description(), columns[4]);
            QCOMPARE(format.isSVG(), format == MEDIA_FORMAT_SVG);
            for (const QString& keyword : keywords)
                QVERIFY(RKMediaFormat(keyword) == format);
            all |= format.value();
        }
        QCOMPARE(traitsOf(RKMediaFormat()), QStringLiteral("e"));
        QCOMPARE(RKMediaFormat().description(), QStringLiteral("-Format"));
        // All formats, and no others, stand in the table above.
        for (int bit = 0; bit < 63; ++bit) {
            const auto value = RKMediaFormatEnum(1LL << bit);
            QCOMPARE(RKMediaFormat(value).fileExtensions().isEmpty(), (all & value) == 0);
        }
    }

    void textsDecodeToFormats()
    {
        QVERIFY(RKMediaFormat(" JPEG ") == MEDIA_FORMAT_JPG);
        QVERIFY(RKMediaFormat("*.tif") == MEDIA_FORMAT_TIFF);
        QVERIFY(RKMediaFormat(QByteArray("Png")) == MEDIA_FORMAT_PNG);
        QVERIFY(RKMediaFormat(QFileInfo(QStringLiteral("/a/b.c.JPG"))) == MEDIA_FORMAT_JPG);

        const RKMediaFormat both("jpg,,*.png");
        QCOMPARE(qint64(both.value()), qint64(0x1100));
        QCOMPARE(both.description(), QStringLiteral("jpg-Format"));
        QCOMPARE(both.fileExtensions().join(u' '), QStringLiteral("jpg jpeg png"));
        QVERIFY(both.defaultExtension().isEmpty());
        QVERIFY(!both.isBitmap());

        for (const char* unknown : {"pbm", "ppm", "xyz", "*.", "jp g"}) {
            QTest::ignoreMessage(QtWarningMsg,
                qPrintable(QStringLiteral("RKMediaFormat no RKMediaFormat for ")
                    + QLatin1String(unknown)));
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
        QCOMPARE(decoded("image/jpeg"), MEDIA_FORMAT_JPG);
        QCOMPARE(decoded("video/quicktime"), MEDIA_FORMAT_MOV);
        QCOMPARE(decoded("image/svg+xml"), MEDIA_FORMAT_GIF);
        QCOMPARE(decoded("image"), MEDIA_FORMAT_GIF);
        QCOMPARE(decoded("video/x-unknown"), MEDIA_FORMAT_MP4);
        QCOMPARE(decoded("text/plain"), MEDIA_FORMAT_UNKNOWN);
        QCOMPARE(decoded(""), MEDIA_FORMAT_UNKNOWN);
    }

    void bitOperatorsWorkWithWrappersAndEnumerators()
    {
        RKMediaFormat format(MEDIA_FORMAT_JPG);
        format |= MEDIA_FORMAT_PNG;
        format |= RKMediaFormat(MEDIA_FORMAT_GIF);
        QCOMPARE(qint64(format.value()), qint64(0x1108));
        QVERIFY(format.reducedTo(MEDIA_FORMAT_PNG) == MEDIA_FORMAT_PNG);
        format &= RKMediaFormat(MEDIA_FORMAT_JPG);
        QVERIFY(format == MEDIA_FORMAT_JPG && format != MEDIA_FORMAT_PNG);
        QCOMPARE(qint64(format | MEDIA_FORMAT_BMP), qint64(0x102));
        QVERIFY(RKMediaFormat(MEDIA_FORMAT_BMP) < format && format > RKMediaFormat());
        // A raw format's value does not fit into 32 bits; the order must not suffer from that.
        QVERIFY(RKMediaFormat(MEDIA_FORMAT_CRW) < RKMediaFormat(MEDIA_FORMAT_PSD));
        const QMap<RKMediaFormat, int> map{{MEDIA_FORMAT_PSD, 1}, {MEDIA_FORMAT_BMP, 2}};
        QCOMPARE(map.first(), 2);
    }

    void saveFormatsKeepTransparency()
    {
        const auto saved = [](RKMediaFormatEnum format) {
            return RKMediaFormat(format).preferredSaveFormat().value();
        };
        QCOMPARE(saved(MEDIA_FORMAT_GIF), MEDIA_FORMAT_PNG);
        QCOMPARE(saved(MEDIA_FORMAT_BMP), MEDIA_FORMAT_JPG);
        QCOMPARE(saved(MEDIA_FORMAT_HEIC), MEDIA_FORMAT_JPG);
        QCOMPARE(saved(MEDIA_FORMAT_NEF), MEDIA_FORMAT_JPG);
        QCOMPARE(saved(MEDIA_FORMAT_SVG), MEDIA_FORMAT_SVG);
        QCOMPARE(saved(MEDIA_FORMAT_MP4), MEDIA_FORMAT_MP4);
        QVERIFY(RKMediaFormat(MEDIA_FORMAT_PNG).isAlphaChannelAsGoodAs(MEDIA_FORMAT_GIF));
        QVERIFY(!RKMediaFormat(MEDIA_FORMAT_JPG).isAlphaChannelAsGoodAs(ALPHA_CHANNEL_BINARY));
    }

    void encodersHaveFixedSettings()
    {
        const RKMediaFormat png(MEDIA_FORMAT_PNG);
        QCOMPARE(png.preferredEncoderOptionEnum(), 2);
        QCOMPARE(png.preferredEncoderCompression(), 9);
        QCOMPARE(png.preferredEncoderQuality(), 50);
        QCOMPARE(RKMediaFormat(MEDIA_FORMAT_JPG).preferredEncoderOptionEnum(), 2);
        const RKMediaFormat bmp(MEDIA_FORMAT_BMP);
        QCOMPARE(bmp.preferredEncoderOptionEnum(), 0);
        QCOMPARE(bmp.preferredEncoderQuality(), 100);
        QCOMPARE(png.toUti(), QStringLiteral("public.png"));
        QCOMPARE(bmp.toUti(), QStringLiteral("public.image"));
    }

    void fileNamesAreCleaned()
    {
        const auto named
            = [](RKMediaFormatEnum format, const QString& base, const char* extension) {
                  return RKMediaFormat(format).createFilename(base, QString::fromLatin1(extension));
              };
        QCOMPARE(named(MEDIA_FORMAT_JPG, QStringLiteral("a:b"), "JPG"), QStringLiteral("a_b.JPG"));
        QCOMPARE(named(MEDIA_FORMAT_JPG, QStringLiteral("a"), "png"), QStringLiteral("a.jpg"));
        QCOMPARE(named(MEDIA_FORMAT_PNG, QStringLiteral("<?:~\\\"'`*|/>ü.x"), "png"),
            QStringLiteral("____________ü.x.png"));
        QCOMPARE(named(MEDIA_FORMAT_UNKNOWN, QStringLiteral("a/b"), "png"), QStringLiteral("a_b"));
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
        QCOMPARE(RKMediaFormatList({MEDIA_FORMAT_JPG, MEDIA_FORMAT_JPG}).size(), 2);
        QCOMPARE(RKMediaFormatList(QList<RKMediaFormat>(3, MEDIA_FORMAT_JPG)).size(), 1);
    }

    void listsFillFileDialogs()
    {
        const RKMediaFormatList list{MEDIA_FORMAT_JPG, MEDIA_FORMAT_SVG, MEDIA_FORMAT_JPG};
        QCOMPARE(list.fileExtensions().join(u' '),
            QStringLiteral("jpg JPG jpeg JPEG svg SVG svgz SVGZ"));
        QCOMPARE(list.fileExtensionFilters().join(u' '),
            QStringLiteral("*.jpg *.jpg.icloud *.jpeg *.jpeg.icloud *.svg *.svg.icloud *.svgz "
                           "*.svgz.icloud"));
        const QString entry
            = QStringLiteral("JPEG - Joint Photographics Experts Group (Bitmap) (*.jpg *.jpeg)");
        QCOMPARE(RKMediaFormat(MEDIA_FORMAT_JPG).fileExtensionFilterEntry(), entry);
        QCOMPARE(list.createFileFilterString().section(QStringLiteral(";;"), 0, 0), entry);
        QVERIFY(list.formatByExtensionFilter(entry) == MEDIA_FORMAT_JPG);
        QVERIFY(!list.formatByExtensionFilter(QStringLiteral("?")).isValid());
    }

    void sortingPutsThePreferredFormatFirst()
    {
        RKMediaFormatList list{MEDIA_FORMAT_BMP,
            MEDIA_FORMAT_SVG,
            MEDIA_FORMAT_TIFF,
            MEDIA_FORMAT_JPG,
            MEDIA_FORMAT_PNG};
        list.sort(MEDIA_FORMAT_TIFF);
        QCOMPARE(list.first().value(), MEDIA_FORMAT_TIFF);
        QCOMPARE(list.mid(1, 3),
            QList<RKMediaFormat>({MEDIA_FORMAT_PNG, MEDIA_FORMAT_JPG, MEDIA_FORMAT_SVG}));
        list.sort(MEDIA_FORMAT_GIF);
        QCOMPARE(list.first().value(), MEDIA_FORMAT_PNG);
    }
};

QTEST_GUILESS_MAIN(RKMediaFormatTest)

#include "RKMediaFormatTest.moc"
