// Draws frames of a video, equally far apart, into one picture.
// Usage: storyboard VIDEO RESULT.jpg [COUNT]
#include "RKImageLoader/loading/RKMediaLoader.h"
#include "RKImageLoader/loading/RKVideoLoader.h"
#include "RKImageLoader/media/RKImageLoaderConfig.h"
#include "RKImageLoader/media/RKMediaError.h"
#include "RKImageLoader/video/RKVideoDecoderRegistry.h"

#include "RKCore/RKInitializer.h"

#include <QGuiApplication>
#include <QPainter>
#include <QTextStream>

int main(int argc, char** argv)
{
    const QGuiApplication application(argc, argv);
    RKImageLoaderConfig::useDefaults();
    RKInitializer::instance()->setup(RKInitializerOption::Application);
    const QStringList arguments = application.arguments();
    if (arguments.size() < 3)
        return 2;
    const int count = qBound(1, arguments.value(3, QStringLiteral("6")).toInt(), 100);

    const RKMediaLoader& loader = *RKMediaLoader::instance();
    const RKVideoLoader& videos = *RKVideoLoader::instance();
    RKMediaDescriptor video{QFileInfo(arguments[1])};
    if (!videos.hasSupportedMediaFormat(video)) {
        QTextStream(stderr) << arguments[1] << ": this is no video\n";
        return 1;
    }
    constexpr QSize kTile(160, 120);
    QImage board(kTile.width() * count, kTile.height(), QImage::Format_RGB32);
    board.fill(Qt::black);
    QPainter painter(&board);
    // What the file says of its length may be more than there is.
    const int last = videos.lastFrameIndex(video).frame();
    RKMediaError error;
    for (int i = 0; i < count; ++i) {
        video.setFrame(
            RKVideoFrameIndex(count > 1 ? int(qint64(qMax(last, 0)) * i / (count - 1)) : 0));
        const QImage frame = loader.bitmap(video, kTile, &error);
        if (frame.isNull()) {
            QTextStream(stderr) << arguments[1] << ": " << error.text() << '\n';
            return 1;
        }
        const QPoint middle = QPoint(kTile.width() * i, 0) + QRect(QPoint(), kTile).center();
        painter.drawImage(middle - frame.rect().center(), frame);
    }
    painter.end();
    // The file stays open otherwise, for the next frame.
    RKVideoDecoderRegistry::instance()->freeResource(video);

    if (!loader.save(QFileInfo(arguments[2]), board, &error)) {
        QTextStream(stderr) << arguments[2] << ": " << error.text() << '\n';
        return 1;
    }
    QTextStream(stdout) << last + 1 << " frames, " << videos.framesPerSecond(video).fps()
                        << " per second\n";
    return 0;
}
