#pragma once

#include "RKImageLoaderAsync/RKLoadRequest_p.h"

class RKMediaLoaderAbstract;

namespace RKLoadCost {

/// About how many bytes a load takes at its height: the file, and its pixels in the decoder and as
/// a picture. Measures the picture, without decoding it.
qint64 estimate(const RKMediaLoaderAbstract& loader, const RKLoadRequest& request);

} // namespace RKLoadCost
