#pragma once

#include "RKImageLoader/metadata/exiv2/RKExiv2Compat_p.h"

/// The date when a picture was taken, in a sidecar: one text has the offset from UTC, too (ISO
/// 16684-1, 8.2.1.2). exiv2 turns it into the Exif date in the machine's time zone, and writes it
/// without an offset.
namespace RKSidecarDate {

/// Makes the Exif date of a sidecar what the clock on the wall showed, with the offset beside it.
void read(Exiv2::Image& sidecar);

/// Keeps the dates as XMP is to have them where these differ from before: what is made of Exif
/// dates lacks fractions of a second and, of digitisation, the offset.
void keepChanged(const Exiv2::XmpData& before, const Exiv2::XmpData& wanted, Exiv2::XmpData& xmp);

/// Makes XMP of an Exif date that is another one than before, or has another offset.
void write(const Exiv2::ExifData& before, Exiv2::Image& sidecar);

} // namespace RKSidecarDate
