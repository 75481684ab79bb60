#pragma once

#include "RKImageLoader/files/RKByteSource_p.h"

#include <QByteArray>

/// Previews that a camera has put after the picture of a JPEG. Its maker note says where, counted
/// from the beginning of the Exif block, which is wrong as soon as metadata before them grow.
namespace RKTrailingPreviews {

/// A file before it was changed.
struct File
{
    const RKByteSource& source;
    /// Where its Exif block begins, and where its segments with metadata end.
    qint64 block = 0;
    qint64 end = 0;
};

/// The Exif block with something added to each number in its maker note that is the place of a
/// preview after those segments.
QByteArray moved(const QByteArray& block, const File& file, qint64 by);

} // namespace RKTrailingPreviews
