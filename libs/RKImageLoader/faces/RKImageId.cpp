#include "RKImageLoader/faces/RKImageId.h"

RKImageId::RKImageId(int id)
    : RKIdentifier(id)
{
}

bool RKImageId::isValid() const
{
    return id() >= 0;
}
