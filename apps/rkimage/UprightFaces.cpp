#include "UprightFaces.h"

RKFacePositions UprightFaces::of(const RKFacePositions& faces, RKImageOrientation orientation)
{
    // RKFacePosition::rotated() has these two the other way round.
    switch (orientation) {
    case ORIENTATION_LEFT_TOP: return faces.rotated(ORIENTATION_RIGHT_BOTTOM);
    case ORIENTATION_RIGHT_BOTTOM: return faces.rotated(ORIENTATION_LEFT_TOP);
    default: return faces.rotated(orientation);
    }
}
