#include "RKImageLoader/drawables/RKDrawableInterface.h"

RKDrawableInterface::RKDrawableInterface() = default;

RKDrawableInterface::RKDrawableInterface(const RKDrawableInterface&) = default;

RKDrawableInterface::~RKDrawableInterface() = default;

bool RKDrawableInterface::draw(
    QPainter* painter, const QRectF& target, const RKScalingOption& option) const
{
    return draw(painter, target, rectF(), option);
}

bool RKDrawableInterface::isVector() const
{
    return false;
}
