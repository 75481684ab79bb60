#include "RKImageLoader/loading/RKImageLoaderInitializer.h"

#include "RKImageLoader/decoders/RKTiffLog_p.h"
#include "RKImageLoader/files/RKLibraryFolder_p.h"

#include "RKCore/RKInitializer.h"

#include <QCoreApplication>
#include <QImageReader>
#include <QTranslator>

#include <memory>

namespace {

const RKImageLoaderInitializer kInitializer;

} // namespace

RKImageLoaderInitializer::RKImageLoaderInitializer()
{
    RKInitializer::instance()->registerInitializer(this);
}

RKImageLoaderInitializer::~RKImageLoaderInitializer()
{
    RKInitializer::instance()->removeInitializer(this);
}

void RKImageLoaderInitializer::setup(RKInitializerOption)
{
    QImageReader::setAllocationLimit(0);
    RKTiffLog::redirect();
    // Qt looks into its own folder only, which is another one under most prefixes.
    QCoreApplication::addLibraryPath(RKLibraryFolder::path() + QStringLiteral("/" RK_QT_PLUGINS));
}

void RKImageLoaderInitializer::teardown()
{
}

bool RKImageLoaderInitializer::installTranslation(const QLocale& locale)
{
    // Resources register themselves in shared libraries only.
    Q_INIT_RESOURCE(translations);
    QCoreApplication* application = QCoreApplication::instance();
    auto translator = std::make_unique<QTranslator>();
    if (!application
        || !translator->load(locale,
            QStringLiteral("rkimageloader"),
            QStringLiteral("_"),
            QStringLiteral(":/translations")))
        return false;
    translator->setParent(application);
    return QCoreApplication::installTranslator(translator.release());
}
