#pragma once

#include <QtGlobal>

#include <vector>

class RKTiffFile;
using TIFF = struct tiff;

/// The rows of a TIFF picture of 8 or 16 bits a sample, or of one of its planes, from the top, out
/// of its strips or tiles. Reentrant.
class RKTiffRows
{
public:
    /// As many samples for each pixel, all those of the plane. The file must outlive the object.
    RKTiffRows(const RKTiffFile& file, int width, int samples, int plane = 0);

    /// False where the layout is another one, or a row of tiles takes more than 64 MiB.
    bool isValid() const;

    /// The bytes of the next row, in the order of the machine, until the next call; null where it
    /// is damaged.
    const uchar* next();

private:
    bool read(quint32 y);
    bool readTiles(quint32 y);

    TIFF* m_tiff;
    quint16 m_plane;
    qint64 m_bytes;
    qint64 m_y = 0;
    /// A strip, a row of tiles, or a row of a large strip.
    std::vector<uchar> m_part;
    qint64 m_height = 0;
    /// Of a tile's rows; 0 where there are strips.
    qint64 m_tileBytes = 0;
    qint64 m_tileWidth = 0;
    std::vector<uchar> m_tile;
    bool m_isValid = false;
};
