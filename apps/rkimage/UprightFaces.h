#pragma once

#include "RKImageLoader/faces/RKFacePositions.h"
#include "RKImageLoader/media/RKImageOrientation.h"

namespace UprightFaces {

/// Faces of a stored picture as those of the picture when it is upright.
RKFacePositions of(const RKFacePositions& faces, RKImageOrientation orientation);

} // namespace UprightFaces
