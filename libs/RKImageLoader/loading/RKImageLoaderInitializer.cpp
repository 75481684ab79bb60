#include "RKImageLoader/loading/RKImageLoaderInitializer.h"

#include "RKImageLoader/files/RKLibraryFolder_p.h"

#include "RKCore/RKInitializer.h"

#include <QCoreApplication>
#include <QImageReader>

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
    // Qt looks into its own folder only, which is another one under most prefixes.
    QCoreApplication::addLibraryPath(RKLibraryFolder::path() + QStringLiteral("/" RK_QT_PLUGINS));
}

void RKImageLoaderInitializer::teardown()
{
}
