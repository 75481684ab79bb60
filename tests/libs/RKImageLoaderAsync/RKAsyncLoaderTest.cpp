#include "RKImageLoaderAsync/RKAsyncLoader.h"

#include "RKImageLoader/loading/RKMediaLoader.h"
#include "RKImageLoader/media/RKLoadContext.h"
#include "RKImageLoader/video/RKVideoDecoderRegistry.h"
#include "support/RKQuietTest.h"
#include "support/RKTestPictures.h"

#include <QFile>
#include <QTemporaryDir>
#include <QThreadPool>

#include <atomic>
#include <condition_variable>
#include <mutex>

using namespace Qt::StringLiterals;

namespace {

constexpr QSize kSize(8, 8);

/// Loads nothing, as slowly as a test wants, and notes what it was asked for.
class TestLoader : public RKMediaLoader
{
public:
    using RKMediaLoader::drawable;
    using RKMediaLoader::unrotatedSize;

    RKDrawable drawable(const RKMediaDescriptor& descriptor,
        const QSize& wanted,
        const RKImageOption&,
        RKLoadContext& context) const override
    {
        std::unique_lock lock(m_mutex);
        m_names << descriptor.fileInfo().completeBaseName();
        m_mostAtOnce = std::max(m_mostAtOnce, ++m_atOnce);
        m_changed.notify_all();
        while (m_isHeld && !context.isCancelled())
            m_changed.wait_for(lock, std::chrono::milliseconds(1));
        --m_atOnce;
        return context.isCancelled() ? QImage() : QImage(wanted, QImage::Format_RGB32);
    }

    QSize unrotatedSize(const RKMediaDescriptor&) const override
    {
        return {1000, 1000};
    }

    void hold()
    {
        const std::lock_guard lock(m_mutex);
        m_isHeld = true;
    }

    void release()
    {
        const std::lock_guard lock(m_mutex);
        m_isHeld = false;
        m_changed.notify_all();
    }

    /// Waits until so many loads have begun since the start.
    void waitFor(qsizetype begun)
    {
        std::unique_lock lock(m_mutex);
        m_changed.wait(lock, [&] { return m_names.size() >= begun; });
    }

    QStringList names() const
    {
        const std::lock_guard lock(m_mutex);
        return m_names;
    }

    int mostAtOnce() const
    {
        const std::lock_guard lock(m_mutex);
        return m_mostAtOnce;
    }

private:
    mutable std::mutex m_mutex;
    mutable std::condition_variable m_changed;
    bool m_isHeld = false;
    mutable QStringList m_names;
    mutable int m_atOnce = 0;
    mutable int m_mostAtOnce = 0;
};

RKMediaDescriptor medium(const QString& name)
{
    return {QFileInfo(u"/nowhere/%1.jpg"_s.arg(name))};
}

QList<RKMediaDescriptor> media(const QStringList& names)
{
    QList<RKMediaDescriptor> list;
    for (const QString& name : names)
        list << medium(name);
    return list;
}

/// Waits for the end. Results are asked for, since the thread sanitizer sees only then that they
/// were made before.
void finish(QFuture<RKLoadResult>& future)
{
    future.waitForFinished();
    for (int i = 0; i < future.resultCount(); ++i)
        future.resultAt(i);
}

bool hasPicture(const QFuture<RKLoadResult>& future)
{
    return !future.isCanceled() && future.resultCount() == 1
        && future.result().drawable().size() == kSize && !future.result().error().isError();
}

} // namespace

class RKAsyncLoaderTest : public RKQuietTest
{
    Q_OBJECT

private Q_SLOTS:

    void newestAndVisibleComeFirst()
    {
        TestLoader loader;
        loader.hold();
        RKAsyncLoader async(&loader);
        async.setThreadCount(1);
        async.load(medium(u"first"_s), kSize);
        loader.waitFor(1);
        QList<QFuture<RKLoadResult>> futures;
        const auto request = [&](const QString& name, RKLoadPriority priority) {
            futures << async.load(medium(name), kSize, RKImageOption(), priority);
        };
        request(u"background"_s, RKLoadPriority::Background);
        request(u"scrolledAway"_s, RKLoadPriority::Visible);
        request(u"seen2"_s, RKLoadPriority::Background);
        request(u"seen1"_s, RKLoadPriority::Nearby);
        request(u"raised"_s, RKLoadPriority::Background);
        futures << async.thumbnails(media({u"near1"_s, u"near2"_s}), kSize);
        async.setVisible(media({u"seen1"_s, u"seen2"_s}));
        async.setPriority(medium(u"raised"_s), RKLoadPriority::Nearby);
        request(u"newest"_s, RKLoadPriority::Visible);
        // Asked for once more, and so as new as the newest.
        request(u"background"_s, RKLoadPriority::Background);
        loader.release();
        for (auto& future : futures)
            finish(future);
        QCOMPARE(loader.names().join(u' '),
            u"first newest seen1 seen2 raised near1 near2 scrolledAway background"_s);
    }

    void equalRequestsAreLoadedOnce()
    {
        TestLoader loader;
        loader.hold();
        RKAsyncLoader async(&loader);
        async.setThreadCount(1);
        auto running = async.load(medium(u"a"_s), kSize);
        loader.waitFor(1);
        auto joined = async.load(medium(u"a"_s), kSize);
        auto waiting = async.load(medium(u"b"_s), kSize);
        auto joinedWaiting = async.load(medium(u"b"_s), kSize);
        auto otherSize = async.load(medium(u"b"_s), {9, 9});
        auto full = async.load(medium(u"b"_s), {-1, 7});
        running.cancel();
        waiting.cancel();
        loader.release();
        for (auto* future : {&running, &joined, &waiting, &joinedWaiting, &otherSize, &full})
            finish(*future);
        QVERIFY(hasPicture(joined) && hasPicture(joinedWaiting));
        QVERIFY(running.isCanceled() && waiting.isCanceled());
        QCOMPARE(loader.names().count(u"a"_s), 1);
        QCOMPARE(loader.names().count(u"b"_s), 3);
        QCOMPARE(joined.result().descriptor(), medium(u"a"_s));
        QCOMPARE(otherSize.result().wantedSize(), QSize(9, 9));
        QVERIFY(!full.result().wantedSize().isValid());
    }

    void cancellingStopsTheLoad()
    {
        TestLoader loader;
        loader.hold();
        RKAsyncLoader async(&loader);
        async.setThreadCount(1);
        auto cancelled = async.load(medium(u"a"_s), kSize);
        loader.waitFor(1);
        auto waiting = async.load(medium(u"b"_s), kSize);
        waiting.cancel();
        cancelled.cancel();
        finish(cancelled);
        finish(waiting);
        QCOMPARE(cancelled.resultCount(), 0);
        loader.release();
        auto again = async.load(medium(u"a"_s), kSize);
        finish(again);
        QVERIFY(hasPicture(again));
        QCOMPARE(loader.names().join(u' '), u"a a"_s);
    }

    void whoAsksAfterAChangeGetsTheNewFile()
    {
        const QTemporaryDir folder;
        const RKMediaDescriptor file{QFileInfo(folder.filePath(u"a.jpg"_s))};
        TestLoader loader;
        loader.hold();
        RKAsyncLoader async(&loader);
        auto before = async.load(file, kSize);
        loader.waitFor(1);
        QFile changed(file.absoluteFilePath());
        QVERIFY(changed.open(QIODevice::WriteOnly) && changed.write("x") == 1);
        changed.close();
        auto after = async.load(file, kSize);
        loader.release();
        finish(before);
        finish(after);
        QVERIFY(hasPicture(before) && hasPicture(after));
        QCOMPARE(loader.names().size(), 2);
    }

    void thumbnailsComeOneByOne()
    {
        TestLoader loader;
        RKAsyncLoader async(&loader);
        const QStringList names{u"a"_s, u"b"_s, u"c"_s, u"a"_s};
        auto future = async.thumbnails(media(names), kSize);
        finish(future);
        QCOMPARE(future.resultCount(), 4);
        for (int i = 0; i < 4; ++i)
            QCOMPARE(future.resultAt(i).descriptor(), medium(names[i]));
        QCOMPARE(future.progressMaximum(), 4);
        QCOMPARE(future.progressValue(), 4);
        QVERIFY(async.thumbnails({}, kSize).isFinished());
    }

    void picturesInFlightAreBounded()
    {
        const QTemporaryDir folder;
        TestLoader loader;
        loader.hold();
        RKAsyncLoader async(&loader);
        async.setThreadCount(6);
        // A picture of the loader takes 8 MB and a byte.
        async.setMaxBytesInFlight(3 * 8'000'001);
        QList<RKMediaDescriptor> files;
        for (int i = 0; i < 12; ++i) {
            QFile file(folder.filePath(u"%1.jpg"_s.arg(i)));
            QVERIFY(file.open(QIODevice::WriteOnly) && file.write("x") == 1);
            files << RKMediaDescriptor{QFileInfo(file.fileName())};
        }
        auto future = async.thumbnails(files, kSize);
        loader.waitFor(3);
        QTest::qWait(20);
        loader.release();
        finish(future);
        QCOMPARE(loader.mostAtOnce(), 3);
        // A picture that is too large by itself is loaded all the same.
        async.setMaxBytesInFlight(1);
        auto large = async.load(files[0], kSize);
        finish(large);
        QVERIFY(hasPicture(large));
    }

    void picturesAreThoseOfTheSynchronousCall()
    {
        QList<RKMediaDescriptor> files;
        for (const QString& name :
            {u"mp4/numbered.mp4"_s, u"jp2/rgb.jp2"_s, u"heif/quadrants.heic"_s})
            files << RKMediaDescriptor{QFileInfo(u"" RK_TEST_DATA "/"_s + name)};
        const QTemporaryDir folder;
        const QImage image = RKTestPictures::numbered(500, 300);
        for (const char* const format : {"jpg", "png", "tif", "webp", "bmp"}) {
            const QString path = folder.filePath(u"a."_s + QLatin1StringView(format));
            RKTestPictures::write(path, RKTestPictures::encoded(image, format));
            files << RKMediaDescriptor{QFileInfo(path)};
        }
        const RKMediaLoader* const loader = RKMediaLoader::instance();
        RKAsyncLoader async;
        async.setThreadCount(4);
        for (int round = 0; round < 4; ++round) {
            RKVideoDecoderRegistry::instance()->freeResources();
            QList<QFuture<RKLoadResult>> cancelled;
            for (const RKMediaDescriptor& file : std::as_const(files))
                cancelled << async.load(file);
            auto whole = async.thumbnails(files, QSize());
            auto small = async.thumbnails(files, {100, 100});
            for (auto& future : cancelled)
                future.cancel();
            finish(whole);
            finish(small);
            for (int i = 0; i < files.size(); ++i) {
                QCOMPARE(whole.resultAt(i).drawable().image(), loader->bitmap(files[i], QSize()));
                QCOMPARE(
                    small.resultAt(i).drawable().image(), loader->bitmap(files[i], {100, 100}));
            }
        }
    }

    void destructionEndsAllFutures()
    {
        TestLoader loader;
        loader.hold();
        QList<QFuture<RKLoadResult>> futures;
        QFuture<RKLoadResult> list;
        {
            RKAsyncLoader async(&loader);
            for (int i = 0; i < 100; ++i)
                futures << async.load(medium(QString::number(i)), kSize);
            list = async.thumbnails(media({u"1"_s, u"x"_s}), kSize);
            loader.waitFor(1);
        }
        for (const auto& future : std::as_const(futures)) {
            QVERIFY(future.isFinished() && future.isCanceled());
            QCOMPARE(future.result().error().code(), RKMediaErrorCode::Cancelled);
        }
        QVERIFY(list.isFinished() && list.isCanceled());
    }

    void hostsPoolMayBeBusy()
    {
        // All of its threads wait for something.
        std::mutex busy;
        busy.lock();
        QThreadPool* const pool = QThreadPool::globalInstance();
        for (int i = 0; i < pool->maxThreadCount(); ++i)
            pool->start([&busy] { const std::lock_guard lock(busy); });
        TestLoader loader;
        RKAsyncLoader async(&loader);
        auto future = async.load(medium(u"a"_s), kSize);
        finish(future);
        QVERIFY(hasPicture(future));
        busy.unlock();
        pool->waitForDone();
    }
};

QTEST_MAIN(RKAsyncLoaderTest)

#include "RKAsyncLoaderTest.moc"
