#pragma once

#include "imageformats/common/RKOpenPicture.h"

#include <QImage>

struct RKHeifTiles;

/// Decodes pictures straight to a smaller size: their planes of luma and chroma are made smaller,
/// and only the result becomes RGB.
namespace RKHeifReducer {

/// The turned picture in the size, which is smaller than the picture's, as RGB32. Null where
/// anything is unusual or damaged; libheif may still read the picture. Null, too, if it has to
/// stop, which only the calling thread asks, before each of its tiles.
QImage reduced(const RKHeifTiles& tiles, const QSize& size, const RKStopQuestion& mustStop);

} // namespace RKHeifReducer
