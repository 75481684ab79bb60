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

/// Pages in memory, and open files.
struct Usage
{
    qint64 mebibytes = 0;
    qint64 handles = 0;

    static Usage now()
    {
        constexpr qint64 kPageSize = 4096;
        const QByteArrayList numbers = RKTestPictures::read(u"/proc/self/statm"_s).split(' ');
        return {numbers.value(1).toLongLong() * kPageSize / (1024 * 1024),
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
                QThread::msleep(1000);
                usage << Usage::now();
            }
        });

        for (const QString& file : files) {
            for (int request = 0; request < int(Request::Count); ++request)
                answers.check(file, Request(request));
        }
        std::printf("%d answers\n", answers.count());
        for (const Usage& second : std::as_const(usage))
            std::printf("%lld MiB, %lld handles\n", second.mebibytes, second.handles);
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

    /// Neither grows after the first half.
    static void checkUsage(const QList<Usage>& usage)
    {
        const qsizetype half = usage.size() / 2;
        const auto most = [](auto begin, auto end, qint64 Usage::*value) {
            qint64 found = 0;
            for (auto i = begin; i != end; ++i)
                found = qMax(found, (*i).*value);
            return found;
        };
        const auto grown = [&](qint64 Usage::*value) {
            return most(usage.begin() + half, usage.end(), value)
                - most(usage.begin(), usage.begin() + half, value);
        };
        // Sanitizers keep what was freed for a while.
        constexpr qint64 kMaxGrowth = 64;
        if (RKTimeLimit::kSanitizerFactor == 1)
            QCOMPARE_LE(grown(&Usage::mebibytes), kMaxGrowth);
        QCOMPARE_LE(grown(&Usage::handles), 2 * kThreads);
    }
};

QTEST_MAIN(RKStressTest)

#include "RKStressTest.moc"
