// In place of RKSvgContent.cpp in builds without Qt SVG.
#include "RKImageLoader/drawables/RKDrawableInterfaceQImage.h"
#include "RKImageLoader/drawables/RKSvgContent_p.h"

std::unique_ptr<RKDrawableInterface> RKSvgContent::read(const QByteArray&)
{
    return std::make_unique<RKDrawableInterfaceQImage>(QImage());
}

QByteArray RKSvgContent::write(const QImage&)
{
    return {};
}
