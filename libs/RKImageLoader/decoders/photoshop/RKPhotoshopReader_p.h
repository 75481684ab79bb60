#pragma once

#include "RKImageLoader/media/RKLoadContext.h"

#include <QByteArray>
#include <QImage>
#include <QSize>

/// Reads the merged picture of Photoshop files, of every mode and depth, in sRGB. Stateless and
/// thread-safe.
///
/// Layers are not drawn. A file that was saved without the merged picture, or with a blank one in
/// its place, gives its thumbnail, with a warning. A smaller picture is made while the file is read
/// and takes no more memory than a few rows of the large one.
class RKPhotoshopReader
{
public:
    RKPhotoshopReader() = delete;

    /// The size of the document; invalid when the header can't be read. The first 26 bytes of a
    /// file are enough.
    static QSize size(const QByteArray& data);

    /// In RGB32 or, if the picture has an opacity, in ARGB32, fitted into the wanted size with its
    /// proportions kept; an invalid size means full size, and for a thumbnail its own. Null if the
    /// data is damaged or cut off, or the request was cancelled.
    static QImage read(const QByteArray& data, const QSize& wantedSize);
    static QImage read(const QByteArray& data, const QSize& wantedSize, RKLoadContext& context);
};
