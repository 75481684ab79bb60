#include "RKImageLoader/loading/RKImageLoader.h"
#include "RKImageLoader/loading/RKMediaLoader.h"
#include "RKImageLoader/media/RKImageLoaderConfig.h"
#include "RKImageLoader/media/RKImageLoadingReporter.h"
#include "RKImageLoader/media/RKLoadContext.h"
#include "RKImageLoader/video/RKVideoDecoderRegistry.h"
#include "support/RKQuietTest.h"
#include "support/RKTestDng.h"
#include "support/RKTestPictures.h"
#include "support/RKTestPsd.h"

#include "RKCore/RKInitializer.h"

#include <QColorSpace>
#include <QLoggingCategory>
#include <QSignalSpy>
#include <QTemporaryDir>

#include <atomic>
#include <thread>

using namespace Qt::StringLiterals;
using namespace RKTestPictures;

namespace {

// Large enough for every reader to come back for more.
QImage photograph()
{
    QImage image(900, 600, QImage::Format_RGB32);
    quint32 noise = 1;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            noise = noise * 1664525 + 1013904223;
            const int n = int(noise >> 26);
            image.setPixel(x, y, qRgb(x / 8 + n, y / 6 + n, 128 + n));
        }
    }
    return image;
}

struct Loaded
{
    QImage image;
    RKMediaErrorCode code;
    int questions;
};

/// So that the file is met for the first time.
void forget(const RKMediaDescriptor& descriptor)
{
    RKImageLoader::instance()->invalidateMetaData(descriptor);
    RKVideoDecoderRegistry::instance()->freeResource(descriptor);
}

/// The question whether the request is still wanted gets the answer no at that number.
Loaded load(const RKMediaDescriptor& descriptor, const QSize& wanted, int lastQuestion)
{
    std::atomic<int> questions = 0;
    RKLoadContext context(RKCancellation::create([&] { return ++questions >= lastQuestion; }));
    const RKDrawable drawable
        = RKMediaLoader::instance()->drawable(descriptor, wanted, RKImageOption(), context);
    return {drawable.image(), context.error().code(), questions};
}

constexpr int kNever = std::numeric_limits<int>::max();

} // namespace

class RKCancelledLoadTest : public RKQuietTest
{
    Q_OBJECT

private Q_SLOTS:

    void initTestCase()
    {
        write(m_folder.filePath(u"config.xml"_s), "<c><jpg compression='95'/></c>");
        RKImageLoaderConfig::setConfigFile(QFileInfo(m_folder.filePath(u"config.xml"_s)));
        RKInitializer::instance()->setup(RKInitializerOption::Test);
        QLoggingCategory::setFilterRules(u"rk.video.debug=false"_s);
        const QImage image = photograph();
        QImage profiled = image;
        profiled.setColorSpace(QColorSpace::AdobeRgb);
        const auto make = [&](const QString& name, const QByteArray& bytes) {
            write(m_folder.filePath(name), bytes);
        };
        make(u"a.jpg"_s, encoded(image, "jpg", 95));
        make(u"profile.png"_s, encoded(profiled, "png"));
        make(u"a.png"_s, encoded(image, "png"));
        make(u"a.tif"_s, encoded(image, "tif"));
        make(u"a.bmp"_s, encoded(image, "bmp"));
        make(u"a.webp"_s, encoded(image, "webp", 90));
        make(u"lossless.webp"_s, encoded(image, "webp", 100));
        make(u"a.psd"_s, RKTestPsd::of(image).bytes());
        make(u"a.dng"_s, RKTestDng{.scene = image.scaled(300, 200)}.bytes());
        QVERIFY(
            QFile::copy(u"" RK_TEST_DATA "/jp2/rgb-tiles.jp2"_s, m_folder.filePath(u"a.jp2"_s)));
        for (const QString& suffix : {u"mp4"_s, u"mts"_s})
            QVERIFY(QFile::copy(
                u"" RK_TEST_DATA "/mp4/numbered.mp4"_s, m_folder.filePath(u"a."_s + suffix)));
    }

    void stopsInsideTheDecode_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QSize>("wanted");
        QTest::addColumn<int>("leastQuestions");
        const auto row = [](const char* name, const QString& file, const QSize& wanted, int least) {
            QTest::newRow(name) << file << wanted << least;
        };
        row("JPEG", u"a.jpg"_s, {}, 50);
        row("JPEG, smaller", u"a.jpg"_s, {300, 300}, 50);
        row("PNG", u"a.png"_s, {}, 100);
        row("PNG with a profile, mostly in its conversion", u"profile.png"_s, {}, 500);
        row("TIFF", u"a.tif"_s, {}, 10);
        row("BMP", u"a.bmp"_s, {}, 500);
        row("WebP, smaller", u"a.webp"_s, {300, 300}, 5);
        row("WebP without loss, smaller", u"lossless.webp"_s, {300, 300}, 10);
        row("Photoshop", u"a.psd"_s, {}, 500);
        row("raw", u"a.dng"_s, {}, 20);
        row("JPEG 2000 in tiles", u"a.jp2"_s, {}, 5);
        row("video", u"a.mp4"_s, {}, 10);
        row("video that is only read forwards", u"a.mts"_s, {}, 20);
    }

    void stopsInsideTheDecode()
    {
        QFETCH(QString, name);
        QFETCH(QSize, wanted);
        QFETCH(int, leastQuestions);
        RKMediaDescriptor descriptor{QFileInfo(m_folder.filePath(name))};
        if (descriptor.mediaFormat().isVideo())
            descriptor.setFrame(25);
        if (!RKMediaLoader::instance()->hasSupportedMediaFormat(descriptor))
            QSKIP("no plug-in");
        const bool isJpeg = name.endsWith(u"jpg");
        const RKMediaLoader* const loader = RKMediaLoader::instance();
        const QImage expected = loader->drawable(descriptor, wanted).image();
        forget(descriptor);
        const Loaded whole = load(descriptor, wanted, kNever);
        QCOMPARE(whole.image, expected);
        QCOMPARE(whole.code, RKMediaErrorCode::None);
        QVERIFY2(whole.questions >= leastQuestions, qPrintable(QString::number(whole.questions)));
        for (const int eighths : {3, 5, 7}) {
            // Qt's own reader can't know why the file ends.
            if (isJpeg)
                QTest::ignoreMessage(
                    QtWarningMsg, "Corrupt JPEG data: premature end of data segment");
            forget(descriptor);
            const Loaded stopped = load(descriptor, wanted, whole.questions * eighths / 8);
            QVERIFY(stopped.image.isNull());
            QCOMPARE(stopped.code, RKMediaErrorCode::Cancelled);
            // What has been decoded before is of no influence.
            QCOMPARE(loader->drawable(descriptor, wanted).image(), expected);
        }
    }

    void heicIsNotReported()
    {
        const RKMediaDescriptor file{QFileInfo(u"" RK_TEST_DATA "/heif/quadrants.heic"_s)};
        const QSignalSpy spy(
            RKImageLoadingReporter::instance(), &RKImageLoadingReporter::heicErrorReported);
        const Loaded whole = load(file, {16, 16}, kNever);
        if (whole.image.isNull())
            QSKIP("no plug-in");
        for (int i = 1; i < whole.questions; ++i)
            QCOMPARE(load(file, {16, 16}, i).code, RKMediaErrorCode::Cancelled);
        QCOMPARE(spy.count(), 0);
    }

    void doesNotWaitForTheVideoOfAnother()
    {
        const RKMediaDescriptor video(QFileInfo(m_folder.filePath(u"a.mts"_s)), 29);
        forget(video);
        std::atomic<bool> isDecoding = false;
        std::atomic<bool> mayEnd = false;
        std::thread other([&] {
            // Asked while it holds the video.
            RKLoadContext context(RKCancellation::create([&] {
                isDecoding = true;
                while (!mayEnd)
                    std::this_thread::yield();
                return false;
            }));
            RKMediaLoader::instance()->drawable(video, {}, RKImageOption(), context);
        });
        while (!isDecoding)
            std::this_thread::yield();
        const Loaded stopped = load(video, {}, 5);
        mayEnd = true;
        other.join();
        QCOMPARE(stopped.code, RKMediaErrorCode::Cancelled);
    }

private:
    const QTemporaryDir m_folder;
};

QTEST_MAIN(RKCancelledLoadTest)

#include "RKCancelledLoadTest.moc"
