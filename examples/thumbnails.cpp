// Loads thumbnails of a folder in the background, as a window would while it stays alive.
// Usage: thumbnails FOLDER [MILLISECONDS]    gives up after that time
#include "RKImageLoader/loading/RKMediaLoader.h"
#include "RKImageLoader/media/RKImageLoaderConfig.h"
#include "RKImageLoaderAsync/RKAsyncLoader.h"

#include "RKCore/RKInitializer.h"

#include <QDir>
#include <QFutureWatcher>
#include <QGuiApplication>
#include <QTextStream>
#include <QTimer>

int main(int argc, char** argv)
{
    QGuiApplication application(argc, argv);
    RKImageLoaderConfig::useDefaults();
    RKInitializer::instance()->setup(RKInitializerOption::Application);
    const QStringList arguments = application.arguments();
    if (arguments.size() < 2)
        return 2;

    QList<RKMediaDescriptor> media;
    const QFileInfoList files = QDir(arguments[1]).entryInfoList(QDir::Files, QDir::Name);
    for (const QFileInfo& file : files) {
        const RKMediaDescriptor medium(file);
        if (RKMediaLoader::instance()->hasSupportedMediaFormat(medium))
            media << medium;
    }

    RKAsyncLoader loader;
    QFutureWatcher<RKLoadResult> watcher;
    int failures = 0;
    // On this thread, with each picture as soon as it is there.
    QObject::connect(&watcher, &QFutureWatcherBase::resultReadyAt, &watcher, [&](int i) {
        const RKLoadResult result = watcher.resultAt(i);
        QTextStream out(stdout);
        out << watcher.progressValue() << '/' << media.size() << ' '
            << result.descriptor().fileName() << ": ";
        if (result.drawable().isNull()) {
            ++failures;
            out << result.error().text() << '\n';
        } else {
            out << result.drawable().width() << 'x' << result.drawable().height() << '\n';
        }
    });
    QObject::connect(
        &watcher, &QFutureWatcherBase::finished, &application, [] { QCoreApplication::quit(); });
    watcher.setFuture(loader.thumbnails(media, QSize(160, 160)));
    // Stops within a moment, also in the middle of a picture.
    if (arguments.size() > 2)
        QTimer::singleShot(arguments[2].toInt(), &watcher, [&watcher] { watcher.cancel(); });
    application.exec();

    QTextStream(stdout) << (watcher.isCanceled() ? "given up, " : "done, ") << failures
                        << " failed\n";
    return failures == 0 ? 0 : 1;
}
