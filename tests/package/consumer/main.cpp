#include "RKImageLoader/loading/RKMediaLoader.h"
#include "RKImageLoader/media/RKImageLoaderConfig.h"

#include "RKCore/RKInitializer.h"

#include <QGuiApplication>
#include <QTemporaryDir>

// Saves a picture and reads it and those of the arguments through the installed library.
int main(int argc, char** argv)
{
    const QGuiApplication application(argc, argv);
    RKImageLoaderConfig::useDefaults();
    RKInitializer::instance()->setup(RKInitializerOption::CommandLine);
    const QTemporaryDir folder;
    const RKMediaDescriptor descriptor(QDir(folder.path()), QStringLiteral("picture.png"));
    QImage image(40, 30, QImage::Format_RGB32);
    image.fill(Qt::red);

    const RKMediaLoader& loader = *RKMediaLoader::instance();
    bool ok = loader.save(descriptor, RKDrawable(image)) && loader.size(descriptor) == image.size()
        && loader.bitmap(descriptor, QSize(20, 20)).size() == QSize(20, 15)
        && loader.canSave(MEDIA_FORMAT_PNG) && !loader.canSave(MEDIA_FORMAT_PSD)
        && loader.drawable(descriptor, QSize(20, 20)).size() == QSize(20, 15);
    for (int i = 1; i < argc; ++i) {
        const QFileInfo file(QString::fromLocal8Bit(argv[i]));
        const bool isRead = !loader.bitmap(RKMediaDescriptor(file), QSize()).isNull();
        if (!isRead)
            qWarning() << "not read:" << file.fileName();
        ok = ok && isRead;
    }
    return ok ? 0 : 1;
}
