#include "RKImageLoader/loading/RKImageLoader.h"

#include "RKImageLoader/color/RKColorProfileConverter.h"
#include "RKImageLoader/media/RKImageLoaderConfig.h"
#include "RKImageLoader/metadata/RKMetaData.h"
#include "support/RKChildProcess.h"
#include "support/RKTestPictures.h"

#include "RKCore/RKInitializer.h"

#include <QBuffer>
#include <QColorSpace>
#include <QGuiApplication>
#include <QImageReader>
#include <QTemporaryDir>
#include <QTest>

#include <sys/stat.h>

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
    }

    void init()
    {
        // Where files are bad on purpose, decoders warn in words of their own.
        const QByteArray test = QTest::currentTestFunction();
        if (!test.startsWith("bad") && !test.startsWith("unreadable"))
            QTest::failOnWarning(QRegularExpression(QStringLiteral(".*")));
    }

    void setupSwitchesQtsLimitOff()
    {
        QCOMPARE(QImageReader::allocationLimit(), 0);
    }

    void drawablesFitTheWantedSize_data()
    {
        QTest::addColumn<QString>("name");
        for (const char* format : {"jpg", "png", "bmp", "tiff"}) {
            const QString name = QStringLiteral("bild ä.") + QLatin1String(format);
            write(path(name), encoded(quadrants({400, 300}), format, 95));
            QTest::newRow(format) << name;
        }
    }

    void drawablesFitTheWantedSize()
    {
        QFETCH(QString, name);
        const RKMediaDescriptor file = descriptor(name);
        QCOMPARE(loader().size(file), QSize(400, 300));
        QCOMPARE(loader().unrotatedSize(file), QSize(400, 300));
        QCOMPARE(loader().bitmap(file, QSize(200, 200)).size(), QSize(200, 150));
        QCOMPARE(loader().bitmap(file, QSize(800, 800)).size(), QSize(800, 600));

        const QImage full = loader().bitmap(file, QSize());
        QCOMPARE(full.size(), QSize(400, 300));
        QVERIFY(isNear(full.pixelColor(20, 20), Qt::red));
        QVERIFY(isNear(full.pixelColor(380, 20), Qt::green));
        QVERIFY(isNear(full.pixelColor(20, 280), Qt::blue));
        QVERIFY(isNear(full.pixelColor(380, 280), Qt::white));
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
        expectWarning(QStringLiteral("Groesse nicht bekannt bei ") + path("v.svg"));
        QCOMPARE(loader().size(descriptor("v.svg")), QSize(400, 200));
    }

    void badFilesGiveTheNullDrawableAndAReason_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QByteArray>("bytes");
        const QByteArray png = encoded(quadrants({64, 48}), "png");
        QTest::newRow("empty") << QStringLiteral("empty.jpg") << QByteArray("");
        QTest::newRow("text") << QStringLiteral("text.png") << QByteArray("no picture");
        QTest::newRow("truncated") << QStringLiteral("cut.png") << png.left(png.size() / 2);
        QTest::newRow("wrong name") << QStringLiteral("png.jpg") << png;
        QTest::newRow("no svg") << QStringLiteral("no.svg") << QByteArray("<html/>");
    }

    void badFilesGiveTheNullDrawableAndAReason()
    {
        QFETCH(QString, name);
        QFETCH(QByteArray, bytes);
        write(path(name), bytes);
        expectWarning(QStringLiteral("could not decode ") + path(name));
        QVERIFY(decoded(name).isNull());
    }

    void unreadableFilesAreReported()
    {
        const QString missing = path("missing %1.jpg");
        expectWarning(QStringLiteral("Konnte Datei nicht öffnen: ") + missing
            + QStringLiteral(" No such file or directory"));
        expectWarning(QStringLiteral("could not decode ") + missing);
        QVERIFY(decoded(QStringLiteral("missing %1.jpg")).isNull());

        expectWarning(QStringLiteral("Größe nicht bekannt bei ") + missing);
        QVERIFY(!loader().size(descriptor(QStringLiteral("missing %1.jpg"))).isValid());

        // A pipe that nobody writes to must not stop the host.
        QCOMPARE(mkfifo(QFile::encodeName(path("pipe.png")).constData(), 0600), 0);
        expectWarning(QStringLiteral("could not decode ") + path("pipe.png"));
        QVERIFY(decoded(QStringLiteral("pipe.png")).isNull());
    }

    void unsupportedFormatsAreRefusedSilently()
    {
        write(path("video.mp4"), "no video");
        QVERIFY(loader().drawable(descriptor("video.mp4"), QSize(), RKImageOption()).isNull());
        QVERIFY(!loader().supportsMediaFormat(MEDIA_FORMAT_MP4));
        QVERIFY(!loader().supportsMediaFormat(MEDIA_FORMAT_UNKNOWN));
        QVERIFY(loader().supportsMediaFormat(MEDIA_FORMAT_JPG));
    }

    void smallRequestsOfJpegsMayTakeTheThumbnail()
    {
        RKImageLoader own;
        const RKMediaDescriptor jpg(QFileInfo(QStringLiteral("/a.jpg")));
        const RKMediaDescriptor png(QFileInfo(QStringLiteral("/a.png")));
        QVERIFY(own.shouldIUseTheExifThumbnail({160, 160}, jpg));
        QVERIFY(own.shouldIUseTheExifThumbnail({0, 0}, jpg));
        QVERIFY(!own.shouldIUseTheExifThumbnail({161, 100}, jpg));
        QVERIFY(!own.shouldIUseTheExifThumbnail({100, 161}, jpg));
        QVERIFY(!own.shouldIUseTheExifThumbnail({-1, 100}, jpg));
        QVERIFY(!own.shouldIUseTheExifThumbnail({100, 100}, png));

        QCOMPARE(own.setFlag(RKImageLoader::kUseExifThumbnail, false), ImageLoaderFlags(1));
        QVERIFY(!own.shouldIUseTheExifThumbnail({100, 100}, jpg));
        own.setFlags(6);
        QCOMPARE(own.setFlag(1, true), ImageLoaderFlags(6));
        QCOMPARE(own.flags(), ImageLoaderFlags(7));
    }

    void aSmallRequestWithoutThumbnailDecodesTheFile()
    {
        write(path("small.jpg"), encoded(quadrants({400, 300}), "jpg", 95));
        QCOMPARE(loader().bitmap(descriptor("small.jpg"), {100, 100}).size(), QSize(100, 75));
    }

    void picturesComeUprightAndTheirSizeIsTheDisplayedOne()
    {
        for (const char* name : {"turned.jpg", "turned.png"}) {
            const RKMediaDescriptor file = descriptor(name);
            QVERIFY(loader().save(file, quadrants({400, 200})));
            RKMetaData metaData = loader().copyMetaData(file);
            metaData.setImageOrientation(ORIENTATION_RIGHT_TOP);
            QVERIFY(loader().save(file, metaData));

            QCOMPARE(loader().imageOrientation(file), ORIENTATION_RIGHT_TOP);
            QVERIFY(loader().imageIsTiltedByMetadata(file));
            QCOMPARE(loader().size(file), QSize(200, 400));
            QCOMPARE(loader().unrotatedSize(file), QSize(400, 200));
            const QImage upright = loader().bitmap(file, QSize(100, 300));
            QCOMPARE(upright.size(), QSize(100, 200));
            QVERIFY(isNear(upright.pixelColor(10, 10), Qt::blue));
            QVERIFY(isNear(upright.pixelColor(90, 10), Qt::red));
            QVERIFY(isNear(upright.pixelColor(90, 190), Qt::green));
            const RKDrawable stored = loader().unrotatedDrawable(file, {300, 100}, RKImageOption());
            QCOMPARE(stored.size(), QSize(200, 100));
        }
    }

    void tiffPicturesStayAsTheyAreStored()
    {
        const RKMediaDescriptor file = descriptor("turned.tiff");
        QVERIFY(loader().save(file, quadrants({400, 200})));
        RKMetaData metaData = loader().copyMetaData(file);
        metaData.setImageOrientation(ORIENTATION_RIGHT_TOP);
        QVERIFY(loader().save(file, metaData));
        QCOMPARE(loader().imageOrientation(file), ORIENTATION_RIGHT_TOP);
        QCOMPARE(loader().size(file), QSize(400, 200));
        QCOMPARE(loader().bitmap(file, QSize(100, 300)).size(), QSize(100, 50));
    }

    void embeddedThumbnailsServeSmallRequests()
    {
        const RKMediaDescriptor file = descriptor("thumb.jpg");
        QVERIFY(loader().save(file, quadrants({400, 300})));
        RKMetaData metaData = loader().copyMetaData(file);
        QImage thumbnail(160, 120, QImage::Format_RGB32);
        thumbnail.fill(Qt::yellow);
        metaData.setThumbnail(thumbnail);
        QVERIFY(loader().save(file, metaData));

        const QImage small = loader().bitmap(file, QSize(80, 80));
        QCOMPARE(small.size(), QSize(80, 60));
        QVERIFY(isNear(small.pixelColor(10, 10), Qt::yellow));
        QVERIFY(isNear(loader().bitmap(file, QSize(161, 161)).pixelColor(10, 10), Qt::red));
        const RKImageOption embedded(RKImageOption::UseEmbeddedThumbnail);
        QCOMPARE(loader().drawable(file, QSize(), embedded).size(), QSize(160, 120));
    }

    void picturesComeInSrgb()
    {
        QImage image(200, 100, QImage::Format_RGB32);
        image.fill(qRgb(200, 100, 50));
        write(path("plain.png"), encoded(image, "png"));
        QCOMPARE(loader().bitmap(descriptor("plain.png"), QSize()).pixel(0, 0), image.pixel(0, 0));

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
            // Saved, it must not be taken for Adobe RGB again.
            QVERIFY(loader().save(descriptor("converted.png"), converted));
            QVERIFY(!loader().copyMetaData(descriptor("converted.png")).hasIccData());
        }
        const RKMediaDescriptor adobe = descriptor("adobe.png");
        QVERIFY(loader().convertColorProfile(adobe, RKDrawable()).isNull());
        QCOMPARE(loader().colorProfileConverter(), RKColorProfileConverter::instance());
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
        QVERIFY(loader().save(&buffer, MEDIA_FORMAT_JPG, quadrants({40, 30}), metaData));
        QVERIFY(!buffer.isOpen());
        QCOMPARE(RKMetaData(QFileInfo(), buffer.data()).pictureTaken(), metaData.pictureTaken());
        // BMP holds none of the metadata; the picture is saved all the same.
        QVERIFY(!loader().save(descriptor("with.bmp"), quadrants({40, 30}), metaData));
        QCOMPARE(loader().unrotatedSize(descriptor("with.bmp")), QSize(40, 30));
    }

    void savedPicturesReplaceTheOldFileOnlyWhenComplete()
    {
        const RKMediaDescriptor file = descriptor("saved.png");
        const QImage picture = quadrants({40, 30}, QImage::Format_ARGB32);
        QVERIFY(loader().save(file, picture));
        QCOMPARE(loader().bitmap(file, QSize()).convertToFormat(picture.format()), picture);
        const QByteArray before = read(path("saved.png"));

        expectWarning(QStringLiteral("failed to save ") + path("saved.png"));
        QVERIFY(!loader().save(file, RKDrawable()));
        QCOMPARE(read(path("saved.png")), before);

        const RKMediaDescriptor nowhere = descriptor("no folder/saved.png");
        expectWarning(QStringLiteral("failed to save ") + path("no folder/saved.png"));
        QVERIFY(!loader().save(nowhere, picture));

        const RKMediaDescriptor folder{QFileInfo(m_folder.path())};
        const QStringList files = QDir(m_folder.path()).entryList({QStringLiteral("saved*")});
        QCOMPARE(files, QStringList{QStringLiteral("saved.png")});
    }

    void buffersAreOpenedForSaving()
    {
        QBuffer buffer;
        QVERIFY(loader().save(&buffer, MEDIA_FORMAT_PNG, quadrants({40, 30})));
        QCOMPARE(QImage::fromData(buffer.data(), "png").size(), QSize(40, 30));
        QVERIFY(!loader().save(nullptr, MEDIA_FORMAT_PNG, quadrants({40, 30})));
        QBuffer readOnly;
        QVERIFY(readOnly.open(QIODevice::ReadOnly));
        QVERIFY(!loader().save(&readOnly, MEDIA_FORMAT_PNG, quadrants({40, 30})));
    }

    void savingAFormatWithoutEncoderEndsTheProcess()
    {
        const auto child = RKChildProcess::run(QStringLiteral("save gif"));
        QVERIFY(child.crashed);
        QVERIFY(child.messages.contains(QStringLiteral("Kein BitmapEncoder für Format")));
        QVERIFY(child.messages.contains(QLatin1String("Programmende")));
    }

    void conversionsKeepTransparency()
    {
        const auto names = [](const RKMediaFormatList& formats) {
            QStringList texts;
            for (const RKMediaFormat& format : formats)
                texts << format.defaultExtension();
            return texts;
        };
        const QStringList jpg = names(loader().convertableFormats(MEDIA_FORMAT_JPG));
        QCOMPARE(jpg.mid(0, 2), QStringList({QStringLiteral("jpg"), QStringLiteral("png")}));
        const QSet<QString> rest(jpg.cbegin() + 2, jpg.cend());
        QCOMPARE(rest,
            QSet<QString>({QStringLiteral("bmp"), QStringLiteral("ico"), QStringLiteral("tiff")}));

        const QStringList png{QStringLiteral("png"), QStringLiteral("tiff")};
        QCOMPARE(names(loader().convertableFormats(MEDIA_FORMAT_PNG)), png);
        QCOMPARE(names(loader().convertableFormats(MEDIA_FORMAT_GIF)), png);
        QCOMPARE(names(loader().convertableFormats(MEDIA_FORMAT_NEF)).first(), png.first());
        QVERIFY(loader().convertableFormats(MEDIA_FORMAT_SVG).isEmpty());
        QVERIFY(loader().convertableFormats(MEDIA_FORMAT_UNKNOWN).isEmpty());
        QCOMPARE(names(loader().convertableFormats(MEDIA_FORMAT_MP4)),
            QStringList{QStringLiteral("mp4")});

        QCOMPARE(names(loader().compatibleWritableMediaFormats(MEDIA_FORMAT_PNG, false)),
            QStringList{QStringLiteral("tiff")});
        QCOMPARE(names(loader().compatibleWritableMediaFormats(MEDIA_FORMAT_PNG, true)), png);
    }

    void namesOfPicturesAreRecognised()
    {
        const QFileInfoList files{QFileInfo(QStringLiteral("/a/1.JPG")),
            QFileInfo(QStringLiteral("/a/2.mp4")),
            QFileInfo(QStringLiteral("/a/3.svgz"))};
        QCOMPARE(loader().extractSupportedImageFiles(files), QFileInfoList({files[0], files[2]}));
        const auto stripped = [this](const char* path) {
            return loader().removeImageSuffixFromPath(QString::fromLatin1(path));
        };
        QCOMPARE(stripped("/a.b/c.d.JPG"), QStringLiteral("/a.b/c.d"));
        QCOMPARE(stripped("/a.jpg/c"), QStringLiteral("/a.jpg/c"));
        QCOMPARE(stripped("/a/c.txt"), QStringLiteral("/a/c.txt"));
    }

private:
    const RKImageLoader& loader() const
    {
        return *RKImageLoader::instance();
    }

    QString path(const QString& name) const
    {
        return m_folder.filePath(name);
    }

    QString path(const char* name) const
    {
        return path(QString::fromUtf8(name));
    }

    RKMediaDescriptor descriptor(const QString& name) const
    {
        return QFileInfo(path(name));
    }

    RKMediaDescriptor descriptor(const char* name) const
    {
        return descriptor(QString::fromUtf8(name));
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

    RKDrawable decoded(const QString& name) const
    {
        return loader().drawable(descriptor(name), QSize(), RKImageOption());
    }

    QTemporaryDir m_folder;
};

int main(int argc, char** argv)
{
    const QGuiApplication application(argc, argv);
    if (!RKChildProcess::role().isEmpty()) {
        RKImageLoader::instance()->save(RKMediaDescriptor(QFileInfo(QStringLiteral("a.gif"))),
            QImage(9, 9, QImage::Format_RGB32));
        return 0;
    }
    RKImageLoaderTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "RKImageLoaderTest.moc"
