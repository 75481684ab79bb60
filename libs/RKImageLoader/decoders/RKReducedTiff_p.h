#pragma once

#include "RKImageLoader/media/RKCancellation.h"

#include <QByteArray>
#include <QImage>
#include <QSize>

/// Makes TIFF pictures smaller while libtiff reads them, row by row, which Qt's reader can't: one
/// of 100 megapixels with 16 bits a channel takes 800 MB as a whole. Reentrant.
class RKReducedTiff
{
public:
    RKReducedTiff() = delete;

    /// The picture in the size, as it is stored: with 16 bits a channel where it has these, and
    /// with 8 bits and multiplied with its alpha where it has some. Null for other files, for other
    /// layouts than RKTiffClaim::hasPlainRows, for sizes that are not smaller, and where the file
    /// is damaged or was cancelled.
    static QImage read(
        const QByteArray& data, const QSize& size, const RKCancellation& cancellation = {});
};
