#pragma once

#include <QImage>

/// What a QImage holds beside its pixels, and pixels that it borrows.
namespace RKImageAttributes {

/// Copies what QImage::transformed() takes over: resolution, device pixel ratio, colour space and
/// texts. The colour table belongs to the pixels.
void copy(const QImage& from, QImage& to);

/// Frees a QImage on the heap: what an image is given to whose pixels are those of another one.
void deleteImage(void* image);

/// The image without those of its texts that are packets of a file's metadata. Qt reads them from
/// PNG files and would write them again: an orientation among them would turn a picture that is
/// upright already. No pixel is copied.
QImage withoutMetaDataTexts(QImage image);

} // namespace RKImageAttributes
