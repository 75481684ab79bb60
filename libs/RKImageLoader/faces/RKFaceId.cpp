#include "RKImageLoader/faces/RKFaceId.h"

RKFaceId::RKFaceId(int id)
    : RKIdentifier(id)
{
}

bool RKFaceId::isValid() const
{
    return id() >= 0;
}
