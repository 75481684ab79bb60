#include "RKImageLoader/media/RKMediaFormat.h"

#include "RKImageLoader/media/RKMediaFormatList.h"

#include <QMap>
#include <QTest>
#include <QUuid>

#include <array>
#include <type_traits>

static_assert(std::is_nothrow_move_constructible_v<RKMediaFormatList>);

namespace {

// One letter a trait: b(itmap), v(ideo), r(aw), m(etadata), f(ast copy), c(onvert), s(oft rotate).
struct Row
{
    RKMediaFormatEnum format;
    const char* extensions;
    const char* traits;
    int alpha;
    bool exiv2;
    const char* description;
};

constexpr std::array kRows{
    Row{MEDIA_FORMAT_BMP, "bmp", "b", 1, true, "BMP - Windows Bitmap (Bitmap)"},
    Row{MEDIA_FORMAT_WEBP, "webp", "b", 4, true, "WebP (Bitmap mit Transparenzen)"},
    Row{MEDIA_FORMAT_GIF,
        "gif",
        "b",
        2,
        true,
        "GIF - Graphics Interchange Format (Bitmap mit binärer Transparenz)"},
    Row{MEDIA_FORMAT_HDP, "hdp", "b", 4, true, "hdp-Format (Bitmap mit Transparenzen)"},
    Row{MEDIA_FORMAT_ICO, "ico", "b", 1, true, "ICO - Windows Icon Datei (Bitmap)"},
    Row{MEDIA_FORMAT_JP2, "j2k jp2", "bm", 4, true, "j2k-Format (Bitmap mit Transparenzen)"},
    Row{MEDIA_FORMAT_JPC, "jpc", "b", 0, true, "jpc-Format (Bitmap)"},
    Row{MEDIA_FORMAT_JPG,
        "jpg jpeg",
        "bms",
        1,
        true,
        "JPEG - Joint Photographics Experts Group (Bitmap)"},
    Row{MEDIA_FORMAT_MNG, "mng", "b", 4, true, "mng-Format (Bitmap mit Transparenzen)"},
    Row{MEDIA_FORMAT_PGM, "pgm", "b", 0, true, "pgm-Format (Bitmap)"},
    Row{MEDIA_FORMAT_PNG,
        "png",
        "bms",
        4,
        true,
        "PNG - Portable Network Graphics (Bitmap mit Transparenzen)"},
    Row{MEDIA_FORMAT_SVG,
        "svg svgz",
        "",
        4,
        true,
        "SVG - Scalable Vector Graphics (Vektorformat mit Transparenzen)"},
    Row{MEDIA_FORMAT_TIFF,
        "tiff tif",
        "bm",
        4,
        false,
        "TIFF - Tagged Image File Format (Bitmap mit Transparenzen)"},
    Row{MEDIA_FORMAT_XBM, "xbm", "b", 1, true, "xbm-Format (Bitmap)"},
    Row{MEDIA_FORMAT_XPM, "xpm", "b", 2, true, "xpm-Format (Bitmap mit binärer Transparenz)"},
    Row{MEDIA_FORMAT_AVI, "avi", "vfc", 1, true, "avi-Format (Video)"},
    Row{MEDIA_FORMAT_3GP, "3gp", "vfc", 1, true, "3gp-Format (Video)"},
    Row{MEDIA_FORMAT_MPG, "mpg mpeg", "vfc", 1, true, "mpg-Format (Video)"},
    Row{MEDIA_FORMAT_WMV, "wmv", "vfc", 0, true, "wmv-Format (Video)"},
    Row{MEDIA_FORMAT_MP4, "mp4", "vf", 0, true, "mp4-Format (Video)"},
    Row{MEDIA_FORMAT_MOV, "mov quicktime", "vf", 0, true, "mov-Format (Video)"},
    Row{MEDIA_FORMAT_MOD, "mod", "vfc", 1, true, "mod-Format (Video)"},
    Row{MEDIA_FORMAT_M4V, "m4v", "vfc", 0, true, "m4v-Format (Video)"},
    Row{MEDIA_FORMAT_MTS, "mts", "vfc", 0, true, "mts-Format (Video)"},
    Row{MEDIA_FORMAT_VRO, "vro", "vfc", 1, true, "vro-Format (Video)"},
    Row{MEDIA_FORMAT_VOB, "vob", "vfc", 1, true, "vob-Format (Video)"},
    Row{MEDIA_FORMAT_CRW, "crw", "brf", 0, true, "crw-Format (Bitmap)"},
    Row{MEDIA_FORMAT_CR2, "cr2", "brf", 0, true, "cr2-Format (Bitmap)"},
    Row{MEDIA_FORMAT_ARW, "arw", "brf", 0, true, "arw-Format (Bitmap)"},
    Row{MEDIA_FORMAT_NEF, "nef", "brf", 0, true, "nef-Format (Bitmap)"},
    Row{MEDIA_FORMAT_RAF, "raf", "brf", 0, true, "raf-Format (Bitmap)"},
    Row{MEDIA_FORMAT_DNG, "dng", "brf", 0, true, "dng-Format (Bitmap)"},
    Row{MEDIA_FORMAT_RW2, "rw2", "brf", 0, true, "rw2-Format (Bitmap)"},
    Row{MEDIA_FORMAT_MKV, "mkv", "vfc", 1, true, "mkv-Format (Video)"},
    Row{MEDIA_FORMAT_OGG, "ogg", "vfc", 1, true, "ogg-Format (Video)"},
    Row{MEDIA_FORMAT_HEIC,
        "heic heif heics heifs",
        "bf",
        0,
        false,
        "HEIC - High Efficiency Image Coding (Bitmap)"},
    Row{MEDIA_FORMAT_PSD, "psd", "b", 0, true, "psd-Format (Bitmap)"},
    Row{MEDIA_FORMAT_UNKNOWN, "", "", 0, true, "-Format"},
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
        for (const Row& row : kRows) {
            const RKMediaFormat format(row.format);
            const auto extensions = QString::fromLatin1(row.extensions);
            QCOMPARE(format.fileExtensions().join(u' '), extensions);
            QCOMPARE(format.defaultExtension(), extensions.section(u' ', 0, 0));
            QCOMPARE(traitsOf(format), QString::fromLatin1(row.traits));
            QCOMPARE(int(format.supportedAlphaCannel()), row.alpha);
            QCOMPARE(format.exiv2Supported(), row.exiv2);
            QCOMPARE(format.isSVG(), row.format == MEDIA_FORMAT_SVG);
            QCOMPARE(format.description(), QString::fromUtf8(row.description));
            const QStringList keywords = format.fileExtensions();
            for (const QString& keyword : keywords)
                QVERIFY(RKMediaFormat(keyword) == row.format);
            all |= row.format;
        }
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
