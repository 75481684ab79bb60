// Cuts out a part of a picture with the pixels that its print needs.
// Usage: production_clip FILE RESULT.jpg X Y WIDTH HEIGHT MM_WIDE MM_HIGH [DPI]
#include "RKImageLoader/loading/RKImageClipper.h"
#include "RKImageLoader/loading/RKMediaLoader.h"
#include "RKImageLoader/media/RKImageLoaderConfig.h"
#include "RKImageLoader/media/RKMediaError.h"

#include "RKCore/RKInitializer.h"

#include <QGuiApplication>
#include <QTextStream>

int main(int argc, char** argv)
{
    const QGuiApplication application(argc, argv);
    RKImageLoaderConfig::useDefaults();
    RKInitializer::instance()->setup(RKInitializerOption::Application);
    const QStringList arguments = application.arguments();
    if (arguments.size() < 9)
        return 2;
    const auto number = [&arguments](int i) { return arguments[i].toDouble(); };
    const QRectF part(number(3), number(4), number(5), number(6)); // in pixels, upright
    const QSizeF print = QSizeF(number(7), number(8)) * 10; // in tenths of a millimetre
    const int dpi = arguments.value(9, QStringLiteral("300")).toInt();

    // Never more pixels than the picture has in that part.
    const bool allowUpscaling = false;
    RKMediaError error;
    const QImage clip = RKImageClipper().clipForProduction(
        QFileInfo(arguments[1]), part, print, dpi, allowUpscaling, &error);
    if (clip.isNull()) {
        QTextStream(stderr) << arguments[1] << ": " << error.text() << '\n';
        return 1;
    }
    if (!RKMediaLoader::instance()->save(QFileInfo(arguments[2]), clip, &error)) {
        QTextStream(stderr) << arguments[2] << ": " << error.text() << '\n';
        return 1;
    }
    QTextStream(stdout) << clip.width() << 'x' << clip.height() << ", "
                        << qRound(clip.dotsPerMeterX() * 0.0254) << " dpi\n";
    return 0;
}
