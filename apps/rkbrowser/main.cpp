#include "MainWindow.h"
#include "RKImageLoader/drawables/RKDrawable.h"
#include "RKImageLoader/loading/RKImageLoader.h"
#include "RKImageLoader/loading/RKImageLoaderInitializer.h"
#include "RKImageLoader/media/RKImageLoaderConfig.h"

#include "RKCore/RKInitializer.h"

#include <QApplication>
#include <QFile>
#include <QIcon>
#include <QLibraryInfo>
#include <QLoggingCategory>
#include <QPixmap>
#include <QTranslator>

#include <utility>

using namespace Qt::StringLiterals;

namespace {

/// Qt's texts, the library's and our own.
void translate(QApplication& application)
{
    // The languages of a locale that nobody has translated fall back to English.
    for (const QLocale& locale : {QLocale(QLocale::English), QLocale()}) {
        for (const auto& [name, folder] :
            {std::pair{u"qtbase"_s, QLibraryInfo::path(QLibraryInfo::TranslationsPath)},
                {u"rkbrowser"_s, u":/translations"_s}})
        {
            auto* translator = new QTranslator(&application);
            if (translator->load(locale, name, u"_"_s, folder))
                QApplication::installTranslator(translator);
        }
    }
    if (!RKImageLoaderInitializer::installTranslation())
        RKImageLoaderInitializer::installTranslation(QLocale::English);
}

/// Drawn by the library: Qt's reader of drawings need not be there.
QIcon icon()
{
    QFile file(u":/rkbrowser.svg"_s);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    constexpr int kHeight = 256;
    return QPixmap::fromImage(RKDrawable(file.readAll()).imageScaledToHeight(kHeight));
}

} // namespace

int main(int argc, char** argv)
{
    // QT_LOGGING_RULES brings them back.
    QLoggingCategory::setFilterRules(u"rk.*.debug=false"_s);
    QApplication application(argc, argv);
    QApplication::setApplicationName(u"rkbrowser"_s);
    QApplication::setApplicationVersion(QStringLiteral(RK_VERSION));
    QApplication::setOrganizationName(u"RKImageLoader"_s);
    QApplication::setDesktopFileName(u"rkbrowser"_s);
    RKImageLoaderConfig::useDefaults();
    RKInitializer::instance()->setup(RKInitializerOption::Application);
    RKImageLoader::instance()->setFlag(RKImageLoader::kTurnTiff, true);
    translate(application);
    QApplication::setWindowIcon(icon());

    MainWindow window;
    const QStringList arguments = QApplication::arguments();
    window.open(arguments.size() > 1 ? arguments[1] : MainWindow::lastFolder());
    window.show();
    return QApplication::exec();
}
