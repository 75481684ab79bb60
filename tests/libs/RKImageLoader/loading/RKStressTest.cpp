#include "RKImageLoader/color/RKColorProfileConverter.h"
#include "RKImageLoader/loading/RKImageLoader.h"
#include "RKImageLoader/loading/RKMediaLoader.h"
#include "RKImageLoader/media/RKImageLoaderConfig.h"
#include "RKImageLoader/media/RKMediaError.h"
#include "RKImageLoader/metadata/RKMetaData.h"
#include "RKImageLoader/video/RKVideoDecoderRegistry.h"
#include "support/RKQuietTest.h"
#include "support/RKTestPictures.h"
#include "support/RKTestThreads.h"
#include "support/RKTimeLimit.h"

#include <QCryptographicHash>
#include <QDeadlineTimer>
#include <QDirIterator>
#include <QLoggingCategory>
#include <QMutex>
#include <QRandomGenerator>
#include <QTemporaryDir>

#include <malloc.h>

#include <algorithm>
#include <cstdio>

using namespace Qt::StringLiterals;

namespace {

constexpr int kThreads = 8;
constexpr int kMaxStars = 5;

QByteArray hashed(const QByteArray& bytes)
{
    return QCryptographicHash::hash(bytes, QCryptographicHash::Md5);
}

/// What a picture says to each request, so that the same request can be made again.
enum class Request
{
    Thumbnail,
    Picture,
    Size,
    MetaData,
    Count
};

QByteArray answer(const QString& path, Request request)
{
    const RKMediaDescriptor descriptor{QFileInfo(path)};
    const RKMediaLoader& loader = *RKMediaLoader::instance();
    switch (request) {
    case Request::Thumbnail:
    case Request::Picture: {
        const QSize wanted = request == Request::Thumbnail ? QSize(64, 64) : QSize(900, 700);
        const QImage image
            = loader.drawable(descriptor, wanted).image().convertToFormat(QImage::Format_ARGB32);
        return hashed(QByteArray::fromRawData(
                   reinterpret_cast<const char*>(image.constBits()), image.sizeInBytes()))
            + QByteArray::number(image.width());
    }
    case Request::Size: {
        const QSize size = loader.size(descriptor);
        return QByteArray::number(size.width()) + 'x' + QByteArray::number(size.height());
    }
    default: {
        const QHash<QString, QString> data
            = RKImageLoader::instance()->copyMetaData(descriptor).allData();
        QStringList lines;
        for (auto i = data.cbegin(); i != data.cend(); ++i)
            lines << i.key() + u'=' + i.value();
        lines.sort();
        return hashed(lines.join(u'\n').toUtf8());
    }
    }
}

/// The first answer to each request, which all others have to equal.
class Answers
{
public:
    void check(const QString& path, Request request)
    {
        const QByteArray found = answer(path, request);
        const QMutexLocker lock(&m_mutex);
        QByteArray& first = m_first[{path, int(request)}];
        if (first.isEmpty())
            first = found;
        else if (first != found)
            m_differences << u"%1, request %2"_s.arg(path).arg(int(request));
        ++m_count;
    }

    int count() const
    {
        return m_count;
    }

    QStringList differences() const
    {
        return m_differences;
    }

private:
    QMutex m_mutex;
    QHash<std::pair<QString, int>, QByteArray> m_first;
    QStringList m_differences;
    int m_count = 0;
};

/// Pages in memory, bytes allocated, both in MiB, and open files.
struct Usage
{
    qint64 resident = 0;
    qint64 allocated = 0;
    qint64 handles = 0;

    static Usage now()
    {
        constexpr qint64 kPageSize = 4096;
        constexpr qint64 kMebibyte = 1024 * 1024;
        const QByteArrayList numbers = RKTestPictures::read(u"/proc/self/statm"_s).split(' ');
        const struct mallinfo2 heap = ::mallinfo2();
        return {numbers.value(1).toLongLong() * kPageSize / kMebibyte,
            qint64(heap.uordblks + heap.hblkhd) / kMebibyte,
            QDir(u"/proc/self/fd"_s).entryList(QDir::NoDotAndDotDot | QDir::AllEntries).size()};
    }
};

} // namespace

/// Mixed requests of several threads. RK_STRESS_SECONDS makes it longer, and RK_STRESS_FOLDERS,
/// separated by colons, gives it other files.
class RKStressTest : public RKQuietTest
{
    Q_OBJECT

public:
    static void initMain()
    {
        // Its end is RK_STRESS_SECONDS, and what one thread takes after that.
        qputenv("QTEST_FUNCTION_TIMEOUT", "3600000");
    }

private Q_SLOTS:

    void answersAreThoseOfOneThread()
    {
        // Broken files are among them.
        QLoggingCategory::setFilterRules(u"*=false"_s);
        RKImageLoaderConfig::useDefaults();
        const QTemporaryDir folder;
        const QStringList files = copies(folder.path());
        const QStringList edited = pictures(folder.path());
        Answers answers;
        std::atomic_int badEdits = 0;
        QList<Usage> usage;
        const qint64 seconds = qEnvironmentVariable("RK_STRESS_SECONDS", u"20"_s).toLongLong();
        const QDeadlineTimer end(seconds * 1000);

        // The first uses of everything are among the requests.
        RKTestThreads::run(kThreads + 1, [&](int thread) {
            QRandomGenerator random{quint32(thread)};
            while (thread < kThreads && !end.hasExpired()) {
                answers.check(files[random.bounded(files.size())],
                    Request(random.bounded(int(Request::Count))));
                const int kind = random.bounded(100);
                if (kind < 20 && !edit(edited[random.bounded(edited.size())], random))
                    ++badEdits;
                else if (kind == 20)
                    RKImageLoader::instance()->clearMetaDataCache();
                else if (kind == 21)
                    RKImageLoader::instance()->colorProfileConverter()->resetCache();
                else if (kind == 22)
                    RKVideoDecoderRegistry::instance()->freeResources();
            }
            while (thread == kThreads && !end.hasExpired()) {
                Usage second = Usage::now();
                for (const QDeadlineTimer next(1000); !next.hasExpired(); QThread::msleep(100)) {
                    const Usage now = Usage::now();
                    // All the rest belongs to requests that are being answered.
                    second.allocated = qMin(second.allocated, now.allocated);
                    second.resident = qMax(second.resident, now.resident);
                    second.handles = qMax(second.handles, now.handles);
                }
                usage << second;
            }
        });

        for (const QString& file : files) {
            for (int request = 0; request < int(Request::Count); ++request)
                answers.check(file, Request(request));
        }
        std::printf("%d answers\n", answers.count());
        for (const Usage& second : std::as_const(usage)) {
            std::printf("%lld MiB, %lld MiB allocated, %lld handles\n",
                second.resident,
                second.allocated,
                second.handles);
        }
        QCOMPARE(answers.differences(), QStringList());
        QCOMPARE(badEdits, 0);
        checkUsage(usage);
    }

private:
    /// Files of the folders, numbered, since names may repeat.
    static QStringList copies(const QString& folder)
    {
        const QString folders
            = qEnvironmentVariable("RK_STRESS_FOLDERS", QStringLiteral(RK_TEST_DATA));
        QStringList copied;
        for (const QString& source : folders.split(u':')) {
            QDirIterator files(source, QDir::Files, QDirIterator::Subdirectories);
            while (files.hasNext()) {
                const QString path = files.next();
                // Several of those at once are a test of memory.
                if (path.contains("/hostile/"_L1))
                    continue;
                copied << u"%1/%2-%3"_s.arg(folder).arg(copied.size()).arg(files.fileName());
                QFile::copy(path, copied.last());
            }
        }
        return copied;
    }

    /// Pictures that all threads edit at once.
    static QStringList pictures(const QString& folder)
    {
        QStringList paths;
        for (const char* format : {"jpg", "png", "tif", "webp"}) {
            paths << u"%1/edited.%2"_s.arg(folder, QLatin1StringView(format));
            RKTestPictures::write(paths.last(),
                RKTestPictures::encoded(RKTestPictures::quadrants({64, 48}), format, 100));
        }
        return paths;
    }

    /// Another rating, or none because another thread was faster; never another picture.
    static bool edit(const QString& path, QRandomGenerator& random)
    {
        const RKMediaDescriptor descriptor{QFileInfo(path)};
        RKMetaData data = RKImageLoader::instance()->copyMetaData(descriptor);
        data.setAdobeRating(random.bounded(kMaxStars + 1));
        RKMediaError error;
        if (!RKImageLoader::instance()->save(descriptor, data, &error)
            && error.code() != RKMediaErrorCode::Changed)
        {
            qWarning("%s: %s", qPrintable(path), qPrintable(error.text()));
            return false;
        }
        const QImage image = RKMediaLoader::instance()->drawable(descriptor, {}).image();
        return RKTestPictures::quadrantColors(image) == "rgbw";
    }

    /// What stays allocated, and the open files, don't grow after the first half. Pages in memory
    /// may: malloc() keeps what was freed, in an arena for each thread and in pieces.
    static void checkUsage(const QList<Usage>& usage)
    {
        if (usage.size() < 4)
            QSKIP("the machine is too busy for measurements");
        const auto half = usage.begin() + usage.size() / 2;
        const auto byAllocated
            = [](const Usage& a, const Usage& b) { return a.allocated < b.allocated; };
        const auto byHandles = [](const Usage& a, const Usage& b) { return a.handles < b.handles; };
        // Before, not everything has been used once.
        const auto warm = usage.begin() + usage.size() / 10;
        const qint64 leaked = std::min_element(half, usage.end(), byAllocated)->allocated
            - std::min_element(warm, half, byAllocated)->allocated;
        const qint64 opened = std::max_element(half, usage.end(), byHandles)->handles
            - std::max_element(usage.begin(), half, byHandles)->handles;
        constexpr qint64 kMaxLeaked = 16;
        QCOMPARE_LE(leaked, kMaxLeaked);
        QCOMPARE_LE(opened, 2 * kThreads);
    }
};

QTEST_MAIN(RKStressTest)

#include "RKStressTest.moc"
