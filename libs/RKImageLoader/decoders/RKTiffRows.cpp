#include "RKImageLoader/decoders/RKTiffFile_p.h"
#include "RKImageLoader/decoders/RKTiffRows_p.h"
#include "RKImageLoader/guards/RKImageLimits_p.h"

#include <algorithm>
#include <climits>
#include <cstring>

RKTiffRows::RKTiffRows(const RKTiffFile& file, int width, int samples, int plane)
    : m_tiff(file.get())
    , m_plane(quint16(plane))
{
    const qint64 bytesOfPixel = qint64(samples) * file.number(TIFFTAG_BITSPERSAMPLE) / CHAR_BIT;
    m_bytes = width * bytesOfPixel;
    if (m_bytes <= 0)
        return;
    quint32 height = 0;
    qint64 sizeOfTile = 0;
    if (TIFFIsTiled(m_tiff) != 0) {
        TIFFGetField(m_tiff, TIFFTAG_TILELENGTH, &height);
        sizeOfTile = TIFFTileSize(m_tiff);
        m_tileBytes = TIFFTileRowSize(m_tiff);
        m_tileWidth = m_tileBytes / bytesOfPixel;
        m_isValid = m_tileWidth > 0 && m_tileWidth * bytesOfPixel == m_tileBytes && sizeOfTile > 0
            && sizeOfTile % m_tileBytes == 0 && sizeOfTile / m_tileBytes == height;
    } else {
        TIFFGetFieldDefaulted(m_tiff, TIFFTAG_ROWSPERSTRIP, &height);
        m_isValid = height > 0 && TIFFScanlineSize(m_tiff) == m_bytes;
        // Row by row where that is much; libtiff is faster with whole strips.
        constexpr qint64 kMost = 8 * RKImageLimits::kMebibyte;
        if (height > kMost / m_bytes)
            height = 1;
    }
    m_height = height;
    m_isValid = m_isValid && m_height <= std::max<qint64>(RKImageLimits::kSmallClaim / m_bytes, 1)
        && sizeOfTile <= RKImageLimits::kSmallClaim;
    if (!m_isValid)
        return;
    m_part.resize(size_t(m_bytes * m_height));
    m_tile.resize(size_t(sizeOfTile));
}

bool RKTiffRows::isValid() const
{
    return m_isValid;
}

const uchar* RKTiffRows::next()
{
    const qint64 y = m_y++;
    const qint64 inPart = y % m_height;
    if (inPart == 0 && !read(quint32(y)))
        return nullptr;
    return m_part.data() + inPart * m_bytes;
}

// The part that begins with the row.
bool RKTiffRows::read(quint32 y)
{
    if (m_tileBytes > 0)
        return readTiles(y);
    if (m_height == 1)
        return TIFFReadScanline(m_tiff, m_part.data(), y, m_plane) >= 0;
    const quint32 strip = TIFFComputeStrip(m_tiff, y, m_plane);
    return TIFFReadEncodedStrip(m_tiff, strip, m_part.data(), tmsize_t(m_part.size())) >= 0;
}

bool RKTiffRows::readTiles(quint32 y)
{
    for (qint64 begin = 0; begin < m_bytes; begin += m_tileBytes) {
        const auto x = quint32(begin / m_tileBytes * m_tileWidth);
        if (TIFFReadTile(m_tiff, m_tile.data(), x, y, 0, m_plane) < 0)
            return false;
        const auto count = size_t(std::min(m_tileBytes, m_bytes - begin));
        for (qint64 row = 0; row < m_height; ++row) {
            std::memcpy(
                m_part.data() + row * m_bytes + begin, m_tile.data() + row * m_tileBytes, count);
        }
    }
    return true;
}
