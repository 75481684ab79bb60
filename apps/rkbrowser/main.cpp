#include "MainWindow.h"
#include "RKImageLoader/loading/RKImageLoader.h"
#include "RKImageLoader/loading/RKImageLoaderInitializer.h"
#include "RKImageLoader/media/RKImageLoaderConfig.h"

#include "RKCore/RKInitializer.h"

#include <QApplication>

int main(int argc, char** argv)
{
    const QApplication application(argc, argv);
    QApplication::setApplicationName(QStringLiteral("rkbrowser"));
    QApplication::setApplicationVersion(QStringLiteral(RK_VERSION));
    RKImageLoaderConfig::useDefaults();
    RKInitializer::instance()->setup(RKInitializerOption::Application);
    RKImageLoaderInitializer::installTranslation();
    RKImageLoader::instance()->setFlag(RKImageLoader::kTurnTiff, true);
    MainWindow window;
    const QStringList arguments = QApplication::arguments();
    window.open(arguments.size() > 1 ? arguments[1] : MainWindow::lastFolder());
    window.show();
    return QApplication::exec();
}
