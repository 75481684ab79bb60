// Loads a picture or the default frame of a video, 800x600 at most, and saves it.
// Usage: load_picture FILE RESULT.png
#include "RKImageLoader/loading/RKMediaLoader.h"
#include "RKImageLoader/media/RKImageLoaderConfig.h"
#include "RKImageLoader/media/RKMediaError.h"

#include "RKCore/RKInitializer.h"

#include <QGuiApplication>
#include <QTextStream>

int main(int argc, char** argv)
{
    const QGuiApplication application(argc, argv);
    RKImageLoaderConfig::useDefaults(); // or setConfigFile()
    RKInitializer::instance()->setup(RKInitializerOption::Application);
    const QStringList arguments = application.arguments();
    if (arguments.size() != 3)
        return 2;

    const RKMediaLoader& loader = *RKMediaLoader::instance();
    const RKMediaDescriptor photo{QFileInfo(arguments[1])};
    RKMediaError error;
    // Upright, in sRGB. A drawable is cheap to copy and may hold a vector drawing.
    const RKDrawable drawable = loader.drawable(photo, QSize(800, 600), RKImageOption(), &error);
    if (drawable.isNull()) {
        QTextStream(stderr) << arguments[1] << ": " << error.text() << '\n';
        return 1;
    }
    if (error.code() == RKMediaErrorCode::Truncated)
        QTextStream(stderr) << arguments[1] << ": only a part could be read\n";

    const RKMediaDescriptor result{QFileInfo(arguments[2])};
    if (!loader.save(result, drawable, &error)) {
        QTextStream(stderr) << arguments[2] << ": " << error.text() << '\n';
        return 1;
    }
    QTextStream(stdout) << drawable.width() << 'x' << drawable.height() << '\n';
    return 0;
}
