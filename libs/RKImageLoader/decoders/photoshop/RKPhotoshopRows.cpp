#include "RKImageLoader/decoders/photoshop/RKPhotoshopRows_p.h"
#include "RKImageLoader/files/RKByteReader_p.h"

#include <zlib.h>

#include <algorithm>
#include <bit>
#include <cstring>

namespace {

using Compression = RKPhotoshopFile::Compression;
using Mode = RKPhotoshopFile::Mode;

constexpr quint16 kMaxSample = 65535;

// TIFF 6.0, section 9: two bytes stand for at most 128.
constexpr qint64 kPackBitsRatio = 64;
// RFC 1951: a match of 258 bytes takes at least two bits.
constexpr qint64 kDeflateRatio = 1032;
// Inflated rows are held, unlike others. These are 350 megapixels of RGB with 8 bits.
constexpr qint64 kMaxInflated = 1 << 30;

qint64 rowSize(const RKPhotoshopFile& file)
{
    const qint64 width = file.size.width();
    return file.depth == 1 ? (width + 7) / 8 : width * file.depth / 8;
}

// TIFF 6.0, section 9. False when the packed bytes end before the row. What they hold beyond it is
// ignored, for some programs write a byte too many.
bool unpackBits(QByteArrayView packed, char* row, qint64 size)
{
    const char* from = packed.begin();
    while (size > 0) {
        if (packed.end() - from < 2)
            return false;
        const int code = qint8(*from++);
        if (code == -128)
            continue;
        if (code < 0) {
            const qint64 count = std::min(qint64(1 - code), size);
            std::memset(row, *from++, size_t(count));
            row += count;
            size -= count;
        } else {
            const qint64 count = std::min(qint64(code + 1), size);
            if (packed.end() - from < count)
                return false;
            std::memcpy(row, from, size_t(count));
            from += count;
            row += count;
            size -= count;
        }
    }
    return true;
}

quint16 fromFloat(quint32 bits)
{
    const auto value = std::bit_cast<float>(bits);
    // Highlights beyond white are cut off. What is no number is black.
    return value > 0.0F ? quint16(std::min(value, 1.0F) * float(kMaxSample) + 0.5F) : quint16(0);
}

void toSamples(const uchar* row, int depth, std::span<quint16> samples)
{
    switch (depth) {
    case 1:
        // Set bits are black.
        for (size_t x = 0; x < samples.size(); ++x)
            samples[x] = row[x / 8] & (0x80 >> x % 8) ? 0 : kMaxSample;
        break;
    case 8:
        for (size_t x = 0; x < samples.size(); ++x)
            samples[x] = quint16(row[x] * 257);
        break;
    case 16:
        for (size_t x = 0; x < samples.size(); ++x)
            samples[x] = qFromBigEndian<quint16>(row + 2 * x);
        break;
    default:
        for (size_t x = 0; x < samples.size(); ++x)
            samples[x] = fromFloat(qFromBigEndian<quint32>(row + 4 * x));
    }
}

} // namespace

RKPhotoshopRows::RKPhotoshopRows(const RKPhotoshopFile& file)
    : m_file(file)
    , m_rowSize(rowSize(file))
{
}

std::optional<RKPhotoshopRows> RKPhotoshopRows::open(const RKPhotoshopFile& file, int channels)
{
    RKPhotoshopRows rows(file);
    const qint64 size = rows.m_rowSize * file.size.height() * channels;
    switch (file.compression) {
    case Compression::Raw:
        if (size > file.pixels.size())
            return {};
        break;
    case Compression::PackBits:
        if (size / kPackBitsRatio > file.pixels.size() || !rows.findPackedRows(channels))
            return {};
        rows.m_row.resize(rows.m_rowSize);
        break;
    case Compression::Zip:
        if (size > kMaxInflated || size / kDeflateRatio > file.pixels.size())
            return {};
        if (!rows.inflate(size))
            return {};
        break;
    default: return {};
    }
    return rows;
}

bool RKPhotoshopRows::read(int channel, int row, std::span<quint16> samples)
{
    const QByteArrayView bytes = rowBytes(qint64(channel) * m_file.size.height() + row);
    if (bytes.size() < m_rowSize)
        return false;
    toSamples(reinterpret_cast<const uchar*>(bytes.data()), m_file.depth, samples);
    return true;
}

// "Image Data Section": the rows follow the sizes of all rows of all channels, which have four
// bytes in large documents.
bool RKPhotoshopRows::findPackedRows(int channels)
{
    const qint64 all = qint64(m_file.size.height()) * m_file.channels;
    RKByteReader reader(m_file.pixels);
    RKByteReader sizes(reader.take(quint64(all * (m_file.isLarge ? 4 : 2))));
    if (!reader.isGood())
        return false;
    const qint64 count = qint64(m_file.size.height()) * channels;
    m_packedOffsets.reserve(size_t(count + 1));
    qint64 offset = m_file.pixels.size() - reader.rest().size();
    m_packedOffsets.push_back(offset);
    for (qint64 i = 0; i < count; ++i) {
        offset += m_file.isLarge ? sizes.number<quint32>() : sizes.number<quint16>();
        m_packedOffsets.push_back(offset);
    }
    return offset <= m_file.pixels.size();
}

bool RKPhotoshopRows::inflate(qint64 size)
{
    m_inflated.resize(size);
    auto length = uLongf(size);
    // An error where the file has more channels than are wanted; these are here then all the same.
    uncompress(reinterpret_cast<Bytef*>(m_inflated.data()),
        &length,
        reinterpret_cast<const Bytef*>(m_file.pixels.data()),
        uLong(m_file.pixels.size()));
    return length == uLongf(size);
}

QByteArrayView RKPhotoshopRows::rowBytes(qint64 index)
{
    switch (m_file.compression) {
    case Compression::PackBits: {
        const qint64 begin = m_packedOffsets[size_t(index)];
        const qint64 end = m_packedOffsets[size_t(index + 1)];
        const QByteArrayView packed = m_file.pixels.sliced(begin, end - begin);
        return unpackBits(packed, m_row.data(), m_rowSize) ? QByteArrayView(m_row)
                                                           : QByteArrayView();
    }
    case Compression::Raw: return m_file.pixels.sliced(index * m_rowSize, m_rowSize);
    case Compression::Zip: break;
    }
    return QByteArrayView(m_inflated).sliced(index * m_rowSize, m_rowSize);
}
