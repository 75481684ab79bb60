#pragma once

#include <QByteArrayView>
#include <QList>
#include <QSize>

/// A picture of one or several coded tiles, and where they are in the file.
struct RKHeifTiles
{
    struct Tile
    {
        QByteArrayView configuration; ///< The content of its hvcC box.
        QList<QByteArrayView> data;
        QByteArrayView colors; ///< The content of its colr box of the kind nclx; may be empty.
    };

    struct Turning
    {
        bool isMirroring;
        int value; ///< Quarter turns to the left, or 0 for exchanging top and bottom, 1 for sides.

        friend bool operator==(const Turning&, const Turning&) = default;
    };

    /// Before it is turned.
    QSize size;
    QSize tileSize;
    int columns = 0;
    QList<Tile> tiles; ///< Row by row.
    QList<Turning> turning; ///< In the order in which it is done.
};
