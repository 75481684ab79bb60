#include "RKImageLoader/loading/RKImageLoader.h"

#include "RKImageLoader/files/RKFileTimes.h"
#include "RKImageLoader/loading/RKContentFormat_p.h"
#include "RKImageLoader/loading/RKImageClipper.h"
#include "RKImageLoader/media/RKImageLoaderConfig.h"
#include "RKImageLoader/metadata/RKMetaData.h"
#include "support/RKTestDng.h"
#include "support/RKTestPictures.h"

#include "RKCore/RKInitializer.h"

#include <QBuffer>
#include <QColorSpace>
#include <QImageReader>
#include <QScopeGuard>
#include <QTemporaryDir>
#include <QTest>

#ifdef Q_OS_LINUX
#    include <sys/inotify.h>
#    include <unistd.h>
#endif
#include <sys/stat.h>

#include <algorithm>
#include <array>

using namespace Qt::StringLiterals;

using namespace RKTestPictures;

class RKImageLoaderTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void initTestCase()
    {
        write(path("config.xml"), "<c><jpg compression='95'/></c>");
        RKImageLoaderConfig::setConfigFile(QFileInfo(path("config.xml")));
        RKInitializer::instance()->setup(RKInitializerOption::Test);
        QCOMPARE(QImageReader::allocationLimit(), 0);
    }

    void init()
    {
        // Where files are bad on purpose, decoders warn in words of their own.
        if (QTest::currentTestFunction() != QByteArray("unreadableFilesAreReported"))
            QTest::failOnWarning(QRegularExpression(u".*"_s));
    }

    void vectorsStayVectors()
    {
        write(path("v.svg"),
            "<svg xmlns='http://www.w3.org/2000/svg' width='400' height='200' viewBox='0 0 40 20'>"
            "<rect width='40' height='20' fill='red'/></svg>");
        const RKDrawable drawable
            = loader().drawable(descriptor("v.svg"), QSize(100, 100), RKImageOption());
        QVERIFY(drawable.isVector());
        QCOMPARE(drawable.size(), QSize(100, 50));
        QCOMPARE(drawable.image().pixelColor(50, 25), QColor(Qt::red));
        // The metadata know nothing of drawings, so their size is measured.
        expectWarning(u"Groesse nicht bekannt bei "_s + path("v.svg"));
        QCOMPARE(loader().size(descriptor("v.svg")), QSize(400, 200));
    }

    void unreadableFilesAreReported()
    {
        const QByteArray png = encoded(quadrants({64, 48}), "png");
        write(path("cut.png"), png.left(png.size() / 2));
        write(path("png.jpg"), png);
        write(path("no.svg"), "<html/>");
        // A pipe that nobody writes to must not stop the host.
        QCOMPARE(mkfifo(QFile::encodeName(path("pipe.png")).constData(), 0600), 0);
        const QString missing = path("missing %1.jpg");
        expectWarning(u"Konnte Datei nicht öffnen: "_s + missing + u" No such file or directory"_s);
        for (const char* name : {"cut.png", "png.jpg", "no.svg", "pipe.png", "missing %1.jpg"}) {
            expectWarning(u"could not decode "_s + path(name));
            QVERIFY(loader().bitmap(descriptor(name), QSize()).isNull());
        }

        expectWarning(u"Größe nicht bekannt bei "_s + missing);
        QVERIFY(!loader().size(descriptor("missing %1.jpg")).isValid());
    }

    void contentTellsTheFormat()
    {
        for (const char* format : {"bmp", "ico", "jpg", "pgm", "png", "tiff", "webp", "xbm", "xpm"})
        {
            const QByteArray start = encoded(quadrants({40, 30}), format).left(500);
            QCOMPARE(RKContentFormat::of(start), RKMediaFormat(format));
        }
        const QByteArray size("\0\0\0\x18", 4);
        const std::pair<const char*, QByteArray> files[]{
            {"dng", RKTestDng{.scene = quadrants({40, 30})}.bytes()},
            {"cr2", QByteArray("II*\0\x10\0\0\0CR\2\0", 12)},
            {"svg", "\n<?xml version='1.0'?><svg/>"},
            {"heic", size + "ftypmif1"},
            {"mov", size + "ftypqt  "},
            {"avi", QByteArray("RIFF\0\0\0\0AVI ", 12)},
            {"mts", QByteArray("\0\0\0\0\x47", 5).leftJustified(196, 'x') + '\x47'}};
        for (const auto& [format, start] : files)
            QCOMPARE(RKContentFormat::of(start), RKMediaFormat(format));
        for (const char* start : {"", "II", "MM", "<html>", "ftyp", "RIFF"})
            QCOMPARE(RKContentFormat::of(start), RKMediaFormat());

        for (const char* start : {"ftypavif", "ftypavis"})
            QCOMPARE(RKContentFormat::nameOfForeign(QByteArray(size + start)), u"AVIF"_s);
        QCOMPARE(RKContentFormat::nameOfForeign(QByteArray(size + "JXL ")), u"JPEG XL"_s);

        // Readers that look at the content anyway.
        QVERIFY(RKContentFormat::isReadAs(MEDIA_FORMAT_AVI, MEDIA_FORMAT_MP4));
        QVERIFY(RKContentFormat::isReadAs(MEDIA_FORMAT_TIFF, MEDIA_FORMAT_NEF));
        QVERIFY(!RKContentFormat::isReadAs(MEDIA_FORMAT_NEF, MEDIA_FORMAT_JPG));
    }

    void picturesComeUprightInEveryOrientation()
    {
        checkOrientations("jpg", true, false);
        checkOrientations("png", true, false);
        // Kept: these two are measured as they are stored, and TIFF pictures are not turned.
        checkOrientations("webp", true, true);
        checkOrientations("tiff", false, true);
        // Unless the host asks for that.
        RKImageLoader::instance()->setFlag(RKImageLoader::kTurnTiff, true);
        checkOrientations("webp", true, false);
        checkOrientations("tif", true, false);
        RKImageLoader::instance()->setFlag(RKImageLoader::kTurnTiff, false);
    }

    void metadataThatQtKeepsAsTextTurnAPictureOnce()
    {
        // As ImageMagick writes Exif into PNG: orientation 6 and nothing else.
        QImage picture = quadrants({400, 200});
        const QByteArray exif = QByteArray::fromHex(
            "457869660000 49492a0008000000 0100 120103000100000006000000 00000000");
        picture.setText(u"Raw profile type exif"_s,
            u"\nexif\n%1\n%2\n"_s.arg(exif.size(), 8).arg(QString::fromLatin1(exif.toHex())));
        picture.setText(u"XML:com.adobe.xmp"_s, u"<x:xmpmeta xmlns:x='adobe:ns:meta/'/>"_s);
        picture.setText(u"Title"_s, u"kept"_s);
        picture.setDotsPerMeterX(3000);
        write(path("profile.png"), encoded(picture, "png"));

        const QImage upright = loader().bitmap(descriptor("profile.png"), QSize());
        QCOMPARE(upright.size(), QSize(200, 400));
        QCOMPARE(upright.textKeys(), QStringList{u"Title"_s});
        QCOMPARE(upright.dotsPerMeterX(), 3000);
        QVERIFY(loader().save(descriptor("profile again.png"), upright));
        QCOMPARE(loader().bitmap(descriptor("profile again.png"), QSize()), upright);
    }

    void embeddedThumbnailsServeSmallRequests()
    {
        const RKMediaDescriptor file = descriptor("thumb.jpg");
        QVERIFY(loader().save(file, quadrants({400, 300})));
        RKMetaData metaData = loader().copyMetaData(file);
        QImage thumbnail(160, 120, QImage::Format_RGB32);
        thumbnail.fill(Qt::yellow);
        metaData.setThumbnail(thumbnail);
        metaData.setImageOrientation(ORIENTATION_LEFT_BOTTOM);
        QVERIFY(loader().save(file, metaData));

        const QImage small = loader().bitmap(file, QSize(160, 80));
        QCOMPARE(small.size(), QSize(60, 80));
        QVERIFY(isNear(small.pixelColor(10, 10), Qt::yellow));
        const RKImageOption embedded(RKImageOption::UseEmbeddedThumbnail);
        QCOMPARE(loader().drawable(file, QSize(), embedded).size(), QSize(120, 160));
        QVERIFY(isNear(loader().bitmap(file, QSize(161, 161)).pixelColor(10, 10), Qt::green));

        // Decoders give these upright, so their thumbnails must be, too.
        QVERIFY(QFile::copy(path("thumb.jpg"), path("thumb.nef")));
        const RKMediaDescriptor raw = descriptor("thumb.nef");
        if (loader().hasSupportedMediaFormat(raw))
            QCOMPARE(loader().drawable(raw, QSize(80, 160), embedded).size(), QSize(80, 106));
    }

    void requestsOpenTheirFileOnce()
    {
#ifdef Q_OS_LINUX
        const QString file = path("once.jpg");
        write(file, encoded(quadrants({400, 200}), "jpg"));
        const int watch = inotify_init1(IN_NONBLOCK);
        const auto closeWatch = qScopeGuard([watch] { close(watch); });
        QVERIFY(inotify_add_watch(watch, qPrintable(file), IN_OPEN | IN_CLOSE) >= 0);

        QVERIFY(!loader().drawable(RKMediaDescriptor(QFileInfo(file)), {300, 200}, {}).isNull());
        std::array<inotify_event, 64> events;
        // Opened and closed; the events of a watched file have no names.
        QCOMPARE(::read(watch, events.data(), sizeof events), 2 * ssize_t(sizeof(inotify_event)));
#else
        QSKIP("only Linux tells of opened files");
#endif
    }

    void picturesComeInSrgb()
    {
        QImage image(200, 100, QImage::Format_RGB32);
        image.fill(qRgb(200, 100, 50));
        const QByteArray profile = QColorSpace(QColorSpace::AdobeRgb).iccProfile();
        for (const char* name : {"adobe.png", "adobe.jpg"}) {
            const RKMediaDescriptor file = descriptor(name);
            QVERIFY(loader().save(file, image));
            RKMetaData metaData = loader().copyMetaData(file);
            metaData.setIccData(profile);
            metaData.setImageOrientation(ORIENTATION_RIGHT_TOP);
            QVERIFY(loader().save(file, metaData));

            const QImage converted = loader().bitmap(file, QSize());
            QCOMPARE(converted.size(), QSize(100, 200));
            QVERIFY(isNear(converted.pixelColor(50, 50), QColor(227, 100, 42)));
            const RKDrawable step = loader().convertColorProfile(file, image);
            QCOMPARE(loader().autoRotate(file, step).size(), converted.size());
            QVERIFY(isNear(step.image().pixelColor(50, 50), QColor(227, 100, 42)));
            // Saved, it must not be taken for Adobe RGB again.
            QVERIFY(loader().save(descriptor("converted.png"), converted));
            QVERIFY(!loader().copyMetaData(descriptor("converted.png")).hasIccData());
        }
        // Nobody converts by gamma and primaries, so they must not come back as a profile.
        QByteArray linear = encoded(image, "png");
        constexpr qsizetype kAfterHeader = 33;
        linear.insert(kAfterHeader, QByteArray::fromHex("00000004 67414d41 000186a0 31e8965f"));
        write(path("linear.png"), linear);
        const QImage taken = loader().bitmap(descriptor("linear.png"), QSize());
        QCOMPARE(taken.pixel(9, 9), qRgb(200, 100, 50));
        QVERIFY(!taken.colorSpace().isValid());
        // TIFF pictures come with their colours multiplied with alpha.
        QImage half(200, 100, QImage::Format_ARGB32);
        half.fill(qRgba(128, 128, 128, 128));
        half.setColorSpace(QColorSpace::SRgbLinear);
        write(path("half.tiff"), encoded(half, "tiff"));
        const QColor grey = loader().bitmap(descriptor("half.tiff"), QSize()).pixelColor(9, 9);
        QVERIFY(isNear(grey, QColor(188, 188, 188)));
        QCOMPARE(grey.alpha(), 128);
    }

    void softRotationChangesTheHeldMetadataUntilSaved()
    {
        const RKMediaDescriptor file = descriptor("soft.jpg");
        QVERIFY(loader().save(file, quadrants({400, 300})));
        const QByteArray before = read(path("soft.jpg"));
        RKImageLoader::instance()->softRotate(file, true);
        QCOMPARE(loader().size(file), QSize(300, 400));
        QCOMPARE(read(path("soft.jpg")), before);

        QVERIFY(loader().save(file, loader().copyMetaData(file)));
        QCOMPARE(loader().imageOrientation(file), ORIENTATION_RIGHT_TOP);
        QVERIFY(read(path("soft.jpg")) != before);
        loader().invalidateMetaData(file);
        QCOMPARE(loader().size(file), QSize(300, 400));
    }

    void metadataAreSavedWithThePicture()
    {
        RKMetaData metaData;
        metaData.setPictureTaken(QDateTime(QDate(2021, 7, 4), QTime(12, 30)));
        RKMetaData withProfile = metaData;
        withProfile.setIccData("profile");
        const RKMediaDescriptor file = descriptor("with.jpg");
        QVERIFY(loader().save(file, quadrants({40, 30}), withProfile));
        QCOMPARE(loader().recordingDate(file), metaData.pictureTaken());
        QVERIFY(!loader().copyMetaData(file).hasIccData());

        QBuffer buffer;
        QVERIFY(buffer.open(QIODevice::WriteOnly));
        QVERIFY(loader().save(&buffer, MEDIA_FORMAT_JPG, quadrants({40, 30})));
        buffer.close();
        QVERIFY(loader().save(&buffer, MEDIA_FORMAT_JPG, quadrants({40, 30}), metaData));
        QVERIFY(!buffer.isOpen());
        QCOMPARE(RKMetaData(QFileInfo(), buffer.data()).pictureTaken(), metaData.pictureTaken());
        // BMP holds none of the metadata; the picture is saved all the same.
        QVERIFY(!loader().save(descriptor("with.bmp"), quadrants({40, 30}), metaData));
        QCOMPARE(loader().unrotatedSize(descriptor("with.bmp")), QSize(40, 30));
        // The day of its making stands in for the missing one.
        setMtimeInternal(path("with.bmp"), QDate(2011, 7, 4).startOfDay());
        QCOMPARE(loader().recordingDate(descriptor("with.bmp")),
            QFileInfo(path("with.bmp")).birthTime());
    }

    void conversionsKeepTransparency()
    {
        const auto targets = [this](RKMediaFormatEnum format) {
            QStringList names;
            for (const RKMediaFormat& target : loader().convertableFormats(format))
                names << target.defaultExtension();
            // The preferred ones come first.
            std::sort(names.begin() + std::min<qsizetype>(names.size(), 2), names.end());
            return names.join(u' ');
        };
        QCOMPARE(targets(MEDIA_FORMAT_JPG), u"jpg png bmp ico tiff"_s);
        QCOMPARE(targets(MEDIA_FORMAT_GIF), u"png tiff"_s);
        QCOMPARE(targets(MEDIA_FORMAT_SVG), QString());
        QCOMPARE(targets(MEDIA_FORMAT_MP4), u"mp4"_s);
    }

private:
    void checkOrientations(const QByteArray& format, bool isTurned, bool isMeasured)
    {
        constexpr QSize kStored(400, 200);
        // The quadrants as displayed: top left, top right, bottom left, bottom right (Exif 2.32,
        // 4.6.4).
        constexpr std::array kDisplayed{
            "rgbw", "grwb", "wbgr", "bwrg", "rbgw", "brwg", "wgbr", "gwrb"};

        const RKMediaDescriptor file = descriptor(QByteArray("turned." + format).constData());
        const RKMediaDescriptor copy = descriptor("again.png");
        for (int orientation = 1; orientation <= 8; ++orientation) {
            write(file.absoluteFilePath(), encoded(quadrants(kStored), format, 95));
            loader().invalidateMetaData(file);
            RKMetaData metaData = loader().copyMetaData(file);
            metaData.setImageOrientation(RKImageOrientation(orientation));
            QVERIFY(loader().save(file, metaData));

            const bool isTilted = orientation >= 5;
            QCOMPARE(int(loader().imageOrientation(file)), orientation);
            QCOMPARE(loader().imageIsTiltedByMetadata(file), isTilted);
            QCOMPARE(loader().unrotatedSize(file), kStored);
            QCOMPARE(loader().size(file), isTilted && !isMeasured ? kStored.transposed() : kStored);

            const QImage upright = loader().bitmap(file, QSize());
            const QSize displayedSize = isTilted && isTurned ? kStored.transposed() : kStored;
            QCOMPARE(upright.size(), displayedSize);
            const QSize wanted(500, 900);
            QCOMPARE(loader().bitmap(file, wanted).size(),
                displayedSize.scaled(wanted, Qt::KeepAspectRatio));
            const QByteArray displayed = kDisplayed[isTurned ? size_t(orientation - 1) : 0];
            QCOMPARE(quadrantColors(upright), displayed);
            const QImage clip = RKImageClipper().clipForProduction(
                file, QRectF({}, displayedSize), displayedSize, 254, false);
            QCOMPARE(clip.size(), displayedSize);
            QCOMPARE(quadrantColors(clip), displayed);
            QVERIFY(loader().save(copy, upright));
            QCOMPARE(quadrantColors(loader().bitmap(copy, {200, 300})), displayed);
            QCOMPARE(loader().unrotatedDrawable(file, {300, 100}, RKImageOption()).size(),
                QSize(200, 100));
        }
    }

    const RKImageLoader& loader() const
    {
        return *RKImageLoader::instance();
    }

    QString path(const char* name) const
    {
        return m_folder.filePath(QString::fromUtf8(name));
    }

    RKMediaDescriptor descriptor(const char* name) const
    {
        return QFileInfo(path(name));
    }

    static bool isNear(const QColor& a, const QColor& b)
    {
        // JPEG at quality 95 stays this close in the middle of an area of one colour.
        constexpr int kTolerance = 4;
        return std::abs(a.red() - b.red()) <= kTolerance
            && std::abs(a.green() - b.green()) <= kTolerance
            && std::abs(a.blue() - b.blue()) <= kTolerance;
    }

    static void expectWarning(const QString& text)
    {
        QTest::ignoreMessage(QtWarningMsg, qPrintable(text));
    }

    QTemporaryDir m_folder;
};

QTEST_MAIN(RKImageLoaderTest)

#include "RKImageLoaderTest.moc"
