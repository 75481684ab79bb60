#include "RKImageLoader/loading/RKImageLoaderInitializer.h"

#include "RKCore/RKInitializer.h"

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
}

void RKImageLoaderInitializer::teardown()
{
}
