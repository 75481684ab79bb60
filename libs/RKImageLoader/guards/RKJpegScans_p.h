#pragma once

#include <QByteArrayView>

/// What follows the headers of a JPEG file (ITU-T T.81, B.1.1).
struct RKJpegScans
{
    qint64 count = 0;
    /// Whether the picture's end is marked. Bytes may follow.
    bool hasEnd = false;

    /// Walks over the marker segments.
    static RKJpegScans of(QByteArrayView data);
};
