#include "RKImageLoader/loading/RKMediaLoader.h"

#include <QGuiApplication>
#include <QTemporaryDir>

// Saves a picture and reads it again through the installed library.
int main(int argc, char** argv)
{
    const QGuiApplication application(argc, argv);
    const QTemporaryDir folder;
    const RKMediaDescriptor descriptor(QDir(folder.path()), QStringLiteral("picture.png"));
    QImage image(40, 30, QImage::Format_RGB32);
    image.fill(Qt::red);

    const RKMediaLoader& loader = *RKMediaLoader::instance();
    const bool ok = loader.save(descriptor, RKDrawable(image))
        && loader.size(descriptor) == image.size()
        && loader.bitmap(descriptor, QSize(20, 20)).size() == QSize(20, 15);
    return ok ? 0 : 1;
}
