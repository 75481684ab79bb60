#include "RKImageLoader/faces/RKImageIds.h"

RKImageIds::RKImageIds(const RKImageId& id)
    : RKIdentifierList(QList<RKImageId>{id})
{
}
