#pragma once

#include "RKImageLoader/metadata/exiv2/RKExiv2Compat_p.h"

namespace RKExiv2IptcBlocks {

/// Gives an image whose file has several blocks of IPTC data sets those that count among all of
/// them (see RKIptcEditor::joined()): exiv2 takes the first or the last block, or all data sets,
/// depending on the format.
void readAll(Exiv2::Image& image);

} // namespace RKExiv2IptcBlocks
