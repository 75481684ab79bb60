#include "RKImageLoader/decoders/RKBitmapDecoderRegistry.h"
#include "RKImageLoader/loading/RKImageClipper.h"
#include "RKImageLoader/loading/RKImageLoader.h"
#include "RKImageLoader/loading/RKMediaLoader.h"
#include "RKImageLoader/loading/RKVideoLoader.h"
#include "RKImageLoader/media/RKImageLoaderConfig.h"
#include "RKImageLoader/media/RKPoolThreads_p.h"
#include "RKImageLoader/metadata/RKMetaData.h"
#include "support/RKRestrictions.h"
#include "support/RKTestClips.h"
#include "support/RKTestDng.h"
#include "support/RKTestPictures.h"
#include "support/RKTestPsd.h"
#include "support/RKTestTiff.h"
#include "support/RKTimeLimit.h"

#include "RKCore/RKInitializer.h"

#include <QBuffer>
#include <QTest>
#include <QThread>
#include <QtEndian>

#include <atomic>
#include <thread>

using namespace Qt::StringLiterals;
using namespace RKRestrictions;
using namespace RKTestPictures;
using Code = RKMediaErrorCode;

/// Each way of failing has its code and a sentence that names the cause.
class RKMediaErrorTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:

    void initTestCase()
    {
        write(path("config.xml"), "<c><jpg compression='95'/></c>");
        RKImageLoaderConfig::setConfigFile(QFileInfo(path("config.xml")));
        RKInitializer::instance()->setup(RKInitializerOption::Test);
        const QImage picture = quadrants({320, 240});
        const QByteArray png = encoded(picture, "png");
        const QByteArray jpeg = encoded(picture, "jpg");
        QDir().mkdir(path("folder.jpg"));
        QCOMPARE(mkfifo(QFile::encodeName(path("pipe.jpg")).constData(), 0600), 0);
        QVERIFY(setMode(path("pipe.jpg"), 0666));
        write(path("good.jpg"), jpeg);
        write(path("good.psd"), RKTestPsd::of(picture).bytes());
        write(path("secret.jpg"), jpeg);
        QVERIFY(setMode(path("secret.jpg"), 0));
        QVERIFY(setMode(path("good.jpg"), 0444));
        write(path("empty.jpg"), {});
        write(path("png.jpg"), png);
        write(path("a.xyz"), jpeg);
        write(path("a.hdp"), "II\xbc");
        const QByteArray avif("\0\0\0\x14"
                              "ftypavif\0\0\0\0mif1\0\0\0\x8"
                              "meta",
            28);
        write(path("a.avif"), avif);
        write(path("avif.jpg"), avif + "\xff\xd9");
        write(path("small.png"), encoded(quadrants({3, 9}), "png"));
        write(path("thin.png"), encoded(quadrants({8, 1024}), "png"));
        QByteArray bomb = encoded(quadrants({16, 16}), "bmp");
        qToLittleEndian<qint32>(20000, bomb.data() + 18);
        qToLittleEndian<qint32>(20000, bomb.data() + 22);
        write(path("bomb.bmp"), bomb);
        write(path("cut.jpg"), jpeg.chopped(jpeg.size() / 3));
        write(path("cut.png"), png.chopped(png.size() / 3));
        write(path("cut.bmp"), encoded(picture, "bmp").chopped(100000));
        const QByteArray gif = QByteArray::fromHex(
            "474946383961 0800 0800 800000 000000ffffff 2c00000000 0800 0800 00"
            "02 07 84 8f a9 cb ed 0f 63 00 3b");
        // Within a block of one byte.
        write(path("cut.gif"),
            gif.first(19) + QByteArray::fromHex("21fe 01") + "a" + QByteArray(1, '\0')
                + gif.sliced(19).chopped(5));
        write(path("cut.dng"), RKTestDng{.scene = quadrants({64, 48})}.bytes().chopped(1000));
        write(path("cut.psd"), RKTestPsd::of(picture).bytes().chopped(300));
        write(path("cut.svg"), "<svg xmlns='http://www.w3.org/2000/svg' width='40' height='20'>");
        write(path("deep.svg"),
            "<svg xmlns='http://www.w3.org/2000/svg' width='40' height='20'>"
                + QByteArray("<g>").repeated(300) + QByteArray("</g>").repeated(300) + "</svg>");
        write(path("noise.jpg"), "\xff\xd8\xff noise \xff\xd9");
    }

    void loadingFails_data()
    {
        QTest::addColumn<Code>("code");
        QTest::addColumn<QString>("text");
        const auto row = [](const char* name, Code code, const char* text) {
            // Builds may leave formats out.
            const RKMediaDescriptor file{QFileInfo(QString::fromLatin1(name))};
            const bool isLeftOut = file.mediaFormat() != MEDIA_FORMAT_UNKNOWN
                && !RKMediaLoader::instance()->hasSupportedMediaFormat(file);
            if (!isLeftOut || code == Code::NoDecoder)
                QTest::newRow(name) << code << QString::fromLatin1(text);
        };
        row("missing.jpg", Code::Missing, "There is no such file.");
        row("missing.xyz", Code::Missing, "There is no such file.");
        row("secret.jpg", Code::NoPermission, "The file may not be read.");
        row("folder.jpg", Code::NotAFile, "This is a folder and not a file.");
        row("pipe.jpg", Code::NotAFile, "This is a pipe or a device and not a file.");
        row("empty.jpg", Code::Truncated, "The file is empty.");
        row("png.jpg", Code::UnknownFormat, "The content is PNG, name says JPEG.");
        row("a.xyz",
            Code::UnknownFormat,
            "The format is not supported: nothing is known of the suffix xyz.");
        row("a.hdp", Code::NoDecoder, "There is no decoder for HDP.");
        row("a.avif", Code::NoDecoder, "There is no decoder for AVIF.");
        row("avif.jpg", Code::NoDecoder, "There is no decoder for AVIF.");
        row("small.png", Code::TooSmall, "3x9 pixels are too small for a picture.");
        row("thin.png", Code::TooSmall, "8x1024 pixels are too thin for a picture.");
        row("bomb.bmp", Code::TooLarge, "The header promises more pixels than the file can hold.");
        for (const char* name :
            {"cut.jpg", "cut.png", "cut.bmp", "cut.gif", "cut.dng", "cut.psd", "cut.svg"})
            row(name, Code::Truncated, "The file ends before its picture does.");
        row("deep.svg",
            Code::TooLarge,
            "The drawing is refused: too many elements inside one another.");
        row("noise.jpg", Code::Damaged, "This is no picture of that format, or a damaged one.");
    }

    void loadingFails()
    {
        QFETCH(Code, code);
        QFETCH(QString, text);
        const char* const name = QTest::currentDataTag();
        const RKMediaDescriptor descriptor{QFileInfo(path(name))};
        const QByteArrayView file(name);
        const bool isFilledUp = file == "cut.jpg" || file == "cut.gif";
        const OrdinaryUser user;
        RKMediaError error;
        const RKDrawable drawable
            = RKMediaLoader::instance()->drawable(descriptor, {}, RKImageOption(), &error);
        QCOMPARE(error.text(), text);
        QCOMPARE(error.code(), code);
        QCOMPARE(error.filePath(), path(name));
        const bool belies = code == Code::UnknownFormat;
        QCOMPARE(error.contentFormat() != MEDIA_FORMAT_UNKNOWN, belies);
        // Qt fills up what these files lack.
        QCOMPARE(drawable.isNull(), !isFilledUp);
        const QImage clip = RKImageClipper().clipForProduction(
            descriptor, {0, 0, 40, 30}, {400, 300}, 100, false, &error);
        QCOMPARE(clip.isNull(), drawable.isNull());
        QCOMPARE(error.code(), code);

        // What can be measured may lack its pixels.
        const QSize size = RKMediaLoader::instance()->unrotatedSize(descriptor, &error);
        QCOMPARE(error.isError(), !size.isValid());
        if (error.isError() && code != Code::Truncated)
            QCOMPARE(error.code(), code);
    }

    void videosFail()
    {
        if (!RKTestClips::canEncode()
            || !RKMediaLoader::instance()->supportsMediaFormat(MEDIA_FORMAT_MP4))
            QSKIP("the ffmpeg tool or the decoder of videos is missing");
        RKTestClips::make({.name = "clip.mp4", .frames = 30}, m_folder.path());
        RKTestClips::ffmpeg(
            RKTestClips::words(u"-f lavfi -i sine=d=1 -c:a aac "_s + path("audio.mp4")));
        const auto reasonFor = [this](const char* name, int frame) {
            RKMediaDescriptor descriptor{QFileInfo(path(name))};
            descriptor.setFrame(RKVideoFrameIndex(frame));
            RKMediaError error;
            const RKDrawable drawable
                = RKMediaLoader::instance()->drawable(descriptor, {}, RKImageOption(), &error);
            return std::tuple(drawable.isNull(), error.code(), error.text());
        };
        QCOMPARE(reasonFor("clip.mp4", 29), std::tuple(false, Code::None, QString()));
        QCOMPARE(reasonFor("clip.mp4", 30),
            std::tuple(
                true, Code::FrameOutOfRange, u"The video has no frame 30; its last one is 29."_s));
        QCOMPARE(reasonFor("audio.mp4", 0),
            std::tuple(true, Code::NoDecoder, u"The file has no video, only sound or data."_s));
        write(path("half.mp4"), read(path("clip.mp4")).chopped(5000));
        QCOMPARE(std::get<1>(reasonFor("half.mp4", 0)), Code::Truncated);
        write(path("no.mp4"), read(path("good.jpg")));
        QCOMPARE(reasonFor("no.mp4", 0),
            std::tuple(true, Code::UnknownFormat, u"The content is JPEG, name says MP4."_s));
    }

    void savingFails()
    {
        const RKMediaLoader& loader = *RKMediaLoader::instance();
        const RKDrawable picture(quadrants({64, 48}));
        const auto fails = [&](const char* name, Code code, const QString& text) {
            RKMediaError error;
            const bool isSaved
                = loader.save(RKMediaDescriptor(QFileInfo(path(name))), picture, &error);
            QCOMPARE(error.text(), text);
            QCOMPARE(error.code(), code);
            QCOMPARE(error.filePath(), code == Code::None ? QString() : path(name));
            QCOMPARE(isSaved, code == Code::None);
        };
        fails("new.png", Code::None, {});
        QVERIFY(RKImageLoader::instance()
                    ->bitmapDecoders()
                    ->listOfEncoders(MEDIA_FORMAT_GIF)
                    .isEmpty());
        fails("a.gif", Code::UnsupportedForWriting, u"This format can't be written."_s);
        fails("a.xyz", Code::UnsupportedForWriting, u"This format can't be written."_s);
        if (loader.supportsMediaFormat(MEDIA_FORMAT_MP4))
            fails("a.mp4", Code::UnsupportedForWriting, u"Videos can't be written."_s);
        fails("no/a.png",
            Code::Missing,
            u"There is no folder %1 to save to."_s.arg(m_folder.filePath(u"no"_s)));
        fails("folder.jpg", Code::NotAFile, u"This is a folder and not a file."_s);
        {
            const OrdinaryUser user;
            fails(
                "good.jpg", Code::NotWritable, u"The file can't be written: Permission denied."_s);
        }
        RKMediaError error;
        QVERIFY(!loader.save(RKMediaDescriptor(QFileInfo(path("b.png"))), RKDrawable(), &error));
        QCOMPARE(error.text(), u"There is no picture to save."_s);
        QBuffer buffer;
        QVERIFY(!loader.save(&buffer, MEDIA_FORMAT_GIF, picture, &error));
        QCOMPARE(error.code(), Code::UnsupportedForWriting);
        QVERIFY(!loader.save(static_cast<QBuffer*>(nullptr), MEDIA_FORMAT_PNG, picture, &error));
        QCOMPARE(error.code(), Code::NotWritable);

        const SmallDisk disk(64);
        if (!disk.isMounted())
            QSKIP("no file system can be mounted");
        disk.fill();
        const RKMediaDescriptor full{QFileInfo(disk.filePath(u"a.png"_s))};
        QVERIFY(!loader.save(full, picture, &error));
        QCOMPARE(error.code(), Code::DiskFull);
    }

    void savingMetadataFails()
    {
        RKMetaData metaData;
        metaData.setAdobeRating(3);
        const auto reasonFor = [&](const char* name) {
            RKMediaError error;
            const bool isSaved = metaData.save(QFileInfo(path(name)), &error);
            return isSaved == error.isError() ? Code::None : error.code();
        };
        QCOMPARE(reasonFor("missing.jpg"), Code::Missing);
        QCOMPARE(reasonFor("pipe.jpg"), Code::NotAFile);
        QCOMPARE(reasonFor("bomb.bmp"), Code::UnsupportedForWriting);
        {
            const OrdinaryUser user;
            QCOMPARE(reasonFor("secret.jpg"), Code::NoPermission);
            QCOMPARE(reasonFor("good.jpg"), Code::NotWritable);
            RKMediaError error;
            const RKMetaData unread(QFileInfo(path("secret.jpg")), &error);
            QCOMPARE(error.code(), Code::NoPermission);
            QVERIFY(!unread.save(QFileInfo(path("new.png")), &error));
            QCOMPARE(error.code(), Code::NoPermission);
        }
        // Whatever is changed belongs to the pixels, too, which the proof notices.
        using namespace RKTestTiff;
        const QByteArray tiff = QByteArray("II*\0\x8\0\0", 8)
            + directory(8,
                {{256, kLong, {8}},
                    {257, kLong, {8}},
                    {258, kShort, {8}},
                    {259, kShort, {1}},
                    {262, kShort, {1}},
                    {273, kLong, {0}},
                    {278, kLong, {8}},
                    {279, kLong, {64}}});
        write(path("knot.tif"), tiff);
        QCOMPARE(reasonFor("knot.tif"), Code::WouldLose);
        QCOMPARE(read(path("knot.tif")), tiff);
    }

    void savingGivesWayToOthers()
    {
        // Takes a while to be read and copied.
        write(path("busy.jpg"), read(path("good.jpg")) + QByteArray(1 << 20, '\0'));
        std::atomic<bool> isSaving = true;
        std::thread other([&] {
            for (; isSaving; QThread::usleep(50)) {
                QFile file(path("busy.jpg"));
                if (file.open(QIODevice::Append))
                    file.write("x");
            }
        });
        // On a busy machine the other thread may not have its turn in each of the three attempts.
        constexpr int kMaxSaves = 20;
        RKMediaError error;
        int rating = 0;
        for (int i = 0; i < kMaxSaves && error.code() == Code::None; ++i) {
            rating = 1 + i % 5;
            RKMetaData metaData;
            metaData.setAdobeRating(rating);
            static_cast<void>(metaData.save(QFileInfo(path("busy.jpg")), &error));
        }
        isSaving = false;
        other.join();
        QCOMPARE(error.code(), Code::Changed);
        QVERIFY(RKMetaData(QFileInfo(path("busy.jpg"))).adobeRating() != rating);
    }

    void memoryRunsOut()
    {
        if (RKTimeLimit::kSanitizerFactor > 1)
            QSKIP("the sanitizer takes all memory for itself");
        const RKMediaLoader& loader = *RKMediaLoader::instance();
        const QImage picture = quadrants({2000, 1500});
        for (const char* format : {"bmp", "jpg", "png", "tiff"})
            write(path("large.") + QString::fromLatin1(format), encoded(picture, format));
        write(path("large.psd"), RKTestPsd::of(picture).bytes());
        const QByteArray before = read(path("large.bmp"));
        {
            const LittleMemory memory;
            if (!memory.isSet())
                QSKIP("the memory can't be limited");
            // QImage would wait for them forever.
            QVERIFY(!RKPoolThreads::areReady());
        }
        const rlimit much{rlim_t(1) << 40, RLIM_INFINITY};
        ::setrlimit(RLIMIT_AS, &much);
        QVERIFY(RKPoolThreads::areReady());
        {
            const LittleMemory memory;
            for (const char* name :
                {"large.bmp", "large.jpg", "large.png", "large.tiff", "large.psd"}) {
                RKMediaError error;
                const RKMediaDescriptor file{QFileInfo(path(name))};
                QVERIFY2(loader.drawable(file, {}, RKImageOption(), &error).isNull(), name);
                QCOMPARE(error.code(), Code::OutOfMemory);
                QCOMPARE(error.filePath(), path(name));
            }
            RKMediaError error;
            const RKMediaDescriptor file{QFileInfo(path("large.bmp"))};
            QVERIFY(!loader.save(file, RKDrawable(picture), &error));
            QCOMPARE(error.code(), Code::OutOfMemory);
        }
        QCOMPARE(read(path("large.bmp")), before);
    }

    /// FFmpeg leaves out pictures that it has no memory for: another one must not stand in.
    void memoryRunsOutInAVideo()
    {
        const RKMediaLoader& loader = *RKMediaLoader::instance();
        if (RKTimeLimit::kSanitizerFactor > 1 || !RKTestClips::canEncode()
            || !loader.supportsMediaFormat(MEDIA_FORMAT_MP4))
            QSKIP("nothing to decode, or the sanitizer takes all memory for itself");
        const RKMediaDescriptor clip{QFileInfo(RKTestClips::make(
            {.name = "large.mp4",
                .options = "-preset ultrafast -bf 3 -vf scale=3840:2160:flags=neighbor",
                .frames = 20},
            m_folder.path()))};
        QVERIFY(loader.size(clip).isValid());
        // At the first no frame can be decoded, at the last some can.
        for (const rlim_t mebibytes : {16, 28, 40, 52}) {
            const LittleMemory memory(mebibytes << 20);
            if (!memory.isSet())
                QSKIP("the memory can't be limited");
            RKMediaError error;
            const int shown
                = RKTestClips::number(loader.drawable(clip, {}, RKImageOption(), &error).image());
            QVERIFY2(shown == 10 || (shown == -1 && error.code() == Code::OutOfMemory),
                qPrintable(u"%1 MiB: frame %2, %3"_s.arg(mebibytes).arg(shown).arg(error.text())));
        }
    }

    void mostTellingReasonWins()
    {
        const RKCancellation cancellation = RKCancellation::create();
        const RKCancellation copy = cancellation;
        RKLoadContext context(cancellation);
        context.fail(Code::Damaged);
        context.fail(Code::Truncated);
        context.fail(Code::TooLarge);
        QCOMPARE(context.error().code(), Code::Truncated);
        context.succeed();
        QCOMPARE(context.error().code(), Code::Truncated);
        copy.cancel();
        QVERIFY(context.isCancelled());
        const RKMediaDescriptor missing{QFileInfo(path("missing.jpg"))};
        QVERIFY(
            RKMediaLoader::instance()->drawable(missing, {}, RKImageOption(), context).isNull());
        QCOMPARE(context.error().code(), Code::Cancelled);
        QVERIFY(!RKLoadContext().isCancelled());
    }

private:
    QString path(const char* name) const
    {
        return m_folder.filePath(QString::fromUtf8(name));
    }

    OpenDir m_folder;
};

QTEST_MAIN(RKMediaErrorTest)

#include "RKMediaErrorTest.moc"
