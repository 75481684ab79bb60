// The library's work and the bare codec's in one process and by turns. Prints a line for each:
// its name, milliseconds by the clock and on the processors. Usage:
//   picture CODEC REPETITIONS FILE [WIDTH HEIGHT]
//   sizes CODEC REPETITIONS FILE...
//   metadata CODEC REPETITIONS FILE...
// CODEC is a function of BareCodec, or "-" for none. What is asked for once only shows what a
// process needs for its first request.

#include "BareCodec.h"
#include "RKImageLoader/loading/RKImageLoader.h"
#include "RKImageLoader/loading/RKMediaLoader.h"
#include "RKImageLoader/metadata/RKMetaData.h"

#include "RKCore/RKInitializer.h"

#include <QCoreApplication>
#include <QFile>
#include <QGuiApplication>
#include <QImageReader>

#include <sys/resource.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>

namespace {

/// Returns something that depends on the result, so that nothing can be left out.
using Work = std::function<size_t()>;
using Arguments = std::vector<std::string>;
using Decode = BareCodec::Picture (*)(const std::string&, int, int);

const std::map<std::string, Decode> kCodecs{
#ifdef BARE_JPEG
    {"jpeg", BareCodec::jpeg},
#endif
#ifdef BARE_PNG
    {"png", BareCodec::png},
#endif
#ifdef BARE_WEBP
    {"webp", BareCodec::webp},
#endif
#ifdef BARE_HEIC
    {"heic", BareCodec::heic},
#endif
#ifdef BARE_JPEG2000
    {"jpeg2000", BareCodec::jpeg2000},
#endif
#ifdef BARE_RAW
    {"raw", BareCodec::raw},
#endif
};

QString toPath(const std::string& path)
{
    return QFile::decodeName(path.c_str());
}

double processorMilliseconds()
{
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    return 1e3 * double(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec)
        + 1e-3 * double(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec);
}

void measure(const char* name, const Work& work)
{
    if (!work)
        return;
    const double processor = processorMilliseconds();
    const auto start = std::chrono::steady_clock::now();
    if (work() == 0) {
        std::fprintf(stderr, "%s gives nothing\n", name);
        std::exit(1);
    }
    const std::chrono::duration<double, std::milli> wall = std::chrono::steady_clock::now() - start;
    std::printf("%s %.3f %.3f\n", name, wall.count(), processorMilliseconds() - processor);
}

/// Every file is met for the first time.
void forget()
{
    RKImageLoader::instance()->clearMetaDataCache();
}

struct Contest
{
    Work ours;
    Work codec;
};

Contest pictures(const std::string& codec, const Arguments& files)
{
    const std::string path = files.front();
    const int width = files.size() > 2 ? std::atoi(files[1].c_str()) : 0;
    const int height = files.size() > 2 ? std::atoi(files[2].c_str()) : 0;
    const QSize wanted = width > 0 ? QSize(width, height) : QSize();
    Contest contest;
    contest.ours = [=] {
        return size_t(
            RKMediaLoader::instance()
                ->drawable(RKMediaDescriptor{QFileInfo(toPath(path))}, wanted, RKImageOption())
                .image()
                .sizeInBytes());
    };
    if (const auto found = kCodecs.find(codec); found != kCodecs.end())
        contest.codec = [=] { return found->second(path, width, height).size(); };
    return contest;
}

/// How many of the files have it; zero if one has not.
template <typename Has>
size_t inAll(const Arguments& files, const Has& has)
{
    for (const std::string& path : files) {
        if (!has(path))
            return 0;
    }
    return files.size();
}

Contest sizes(const std::string& codec, const Arguments& files)
{
    Contest contest;
    contest.ours = [=] {
        return inAll(files, [](const std::string& path) {
            const RKMediaDescriptor file{QFileInfo(toPath(path))};
            return RKMediaLoader::instance()->size(file).isValid();
        });
    };
    if (codec == "qt") {
        contest.codec = [=] {
            return inAll(files, [](const std::string& path) {
                return QImageReader(toPath(path)).size().isValid();
            });
        };
    }
    return contest;
}

Contest metadata(const std::string& codec, const Arguments& files)
{
    Contest contest;
    contest.ours = [=] {
        return inAll(files, [](const std::string& path) {
            const RKMediaDescriptor file{QFileInfo(toPath(path))};
            return RKImageLoader::instance()->copyMetaData(file).unrotatedSize().isValid();
        });
    };
    if (codec == "metadata")
        contest.codec = [=] { return BareCodec::metadata(files); };
    return contest;
}

} // namespace

int main(int argc, char** argv)
{
    const Arguments arguments(argv + 1, argv + argc);
    static const std::map<std::string, Contest (*)(const std::string&, const Arguments&)> kinds{
        {"picture", pictures}, {"sizes", sizes}, {"metadata", metadata}};
    const auto kind = arguments.size() > 3 ? kinds.find(arguments[0]) : kinds.end();
    if (kind == kinds.end())
        return 2;
    const int repetitions = std::atoi(arguments[2].c_str());

    const QCoreApplication application(argc, argv);
    QImageReader::setAllocationLimit(0);
    const Contest contest = kind->second(arguments[1], {arguments.begin() + 3, arguments.end()});
    for (int i = 0; i < repetitions; ++i) {
        if (i == 0) {
            // A host's start counts with its first request.
            measure("ours", [&contest] {
                RKInitializer::instance()->setup(RKInitializerOption::Test);
                RKImageLoader::instance()->setFlag(RKImageLoader::kTurnTiff, true);
                return contest.ours();
            });
        } else {
            forget();
            measure("ours", contest.ours);
        }
        measure("codec", contest.codec);
    }
}
