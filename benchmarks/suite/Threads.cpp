// Many files through RKAsyncLoader on some threads and on one, by turns in one process. Prints a
// line for each turn as InProcess does; "codec" is the one thread. Usage:
//   pictures THREADS TURNS FILE... WIDTH HEIGHT

#include "RKImageLoader/loading/RKImageLoader.h"
#include "RKImageLoader/video/RKVideoDecoderRegistry.h"
#include "RKImageLoaderAsync/RKAsyncLoader.h"

#include "RKCore/RKInitializer.h"

#include <QFile>
#include <QGuiApplication>

#include <sys/resource.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>

namespace {

double processorMilliseconds()
{
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    return 1e3 * double(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec)
        + 1e-3 * double(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec);
}

/// Every file is met for the first time.
void measure(
    const char* name, int threads, const QList<RKMediaDescriptor>& files, const QSize& size)
{
    RKImageLoader::instance()->clearMetaDataCache();
    RKVideoDecoderRegistry::instance()->freeResources();
    const double processor = processorMilliseconds();
    const auto start = std::chrono::steady_clock::now();
    RKAsyncLoader loader;
    loader.setThreadCount(threads);
    const QFuture<RKLoadResult> results = loader.thumbnails(files, size);
    for (int i = 0; i < files.size(); ++i) {
        if (results.resultAt(i).drawable().isNull()) {
            std::fprintf(stderr, "nothing from %s\n", qPrintable(files[i].fileName()));
            std::exit(1);
        }
    }
    const std::chrono::duration<double, std::milli> wall = std::chrono::steady_clock::now() - start;
    std::printf("%s %.3f %.3f\n", name, wall.count(), processorMilliseconds() - processor);
}

} // namespace

int main(int argc, char** argv)
{
    if (argc < 7)
        return 2;
    const QGuiApplication application(argc, argv);
    RKInitializer::instance()->setup(RKInitializerOption::Test);
    const QSize size(std::atoi(argv[argc - 2]), std::atoi(argv[argc - 1]));
    QList<RKMediaDescriptor> files;
    for (int i = 4; i < argc - 2; ++i)
        files << RKMediaDescriptor{QFileInfo(QFile::decodeName(argv[i]))};
    const int turns = std::atoi(argv[3]);
    for (int turn = 0; turn < turns; ++turn) {
        measure("ours", std::atoi(argv[2]), files, size);
        measure("codec", 1, files, size);
    }
}
