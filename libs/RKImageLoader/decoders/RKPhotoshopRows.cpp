#include "RKImageLoader/decoders/RKByteReader_p.h"
#include "RKImageLoader/decoders/RKPhotoshopRows_p.h"

#include <zlib.h>

#include <algorithm>
#include <bit>
#include <cstring>
#include <memory>

namespace {

using Compression = RKPhotoshopFile::Compression;
using Mode = RKPhotoshopFile::Mode;

constexpr quint16 kMaxSample = 65535;

// TIFF 6.0, section 9: two bytes stand for at most 128.
constexpr qint64 kPackBitsRatio = 64;
// RFC 1951: a match of 258 bytes takes at least two bits.
constexpr qint64 kDeflateRatio = 1032;

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

struct InflateEnd
{
    void operator()(z_stream* stream) const
    {
        inflateEnd(stream);
    }
};

// False when the data are damaged or end too early. What follows, the channels that nobody wants,
// is left where it is.
bool inflateInto(QByteArrayView packed, QByteArray& target)
{
    // Counted in 32 bits.
    constexpr qint64 kMostAtOnce = 1 << 30;
    z_stream state{};
    if (inflateInit(&state) != Z_OK)
        return false;
    const std::unique_ptr<z_stream, InflateEnd> stream(&state);
    qint64 read = 0;
    qint64 written = 0;
    int result = Z_OK;
    while (result == Z_OK && written < target.size()) {
        const auto input = uInt(std::min(packed.size() - read, kMostAtOnce));
        const auto output = uInt(std::min(target.size() - written, kMostAtOnce));
        stream->next_in = reinterpret_cast<Bytef*>(const_cast<char*>(packed.data() + read));
        stream->avail_in = input;
        stream->next_out = reinterpret_cast<Bytef*>(target.data() + written);
        stream->avail_out = output;
        result = ::inflate(stream.get(), Z_NO_FLUSH);
        read += input - stream->avail_in;
        written += output - stream->avail_out;
    }
    return written == target.size();
}

// Undoes the prediction of a row of zip data: every sample holds the difference to the one before
// it (TIFF 6.0, section 14). Floating-point samples are split into planes of their bytes before,
// most significant first (TIFF Technical Note 3).
void undoPrediction(uchar* row, int width, int depth)
{
    if (depth == 16) {
        quint16 value = 0;
        for (int x = 0; x < width; ++x) {
            value = quint16(value + qFromBigEndian<quint16>(row + 2 * qint64(x)));
            qToBigEndian(value, row + 2 * qint64(x));
        }
        return;
    }
    const qint64 size = qint64(width) * depth / 8;
    for (qint64 i = 1; i < size; ++i)
        row[i] = uchar(row[i] + row[i - 1]);
    if (depth != 32)
        return;
    const std::vector<uchar> planes(row, row + size);
    for (qint64 x = 0; x < width; ++x) {
        for (qint64 byte = 0; byte < 4; ++byte)
            row[4 * x + byte] = planes[size_t(byte * width + x)];
    }
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
    case Compression::ZipWithPrediction:
        if (size / kDeflateRatio > file.pixels.size() || !rows.inflate(channels))
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

bool RKPhotoshopRows::inflate(int channels)
{
    const qint64 rows = qint64(m_file.size.height()) * channels;
    m_inflated.resize(rows * m_rowSize);
    if (!inflateInto(m_file.pixels, m_inflated))
        return false;
    if (m_file.compression == Compression::ZipWithPrediction) {
        auto* const bytes = reinterpret_cast<uchar*>(m_inflated.data());
        for (qint64 row = 0; row < rows; ++row)
            undoPrediction(bytes + row * m_rowSize, m_file.size.width(), m_file.depth);
    }
    return true;
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
    case Compression::Zip:
    case Compression::ZipWithPrediction: break;
    }
    return QByteArrayView(m_inflated).sliced(index * m_rowSize, m_rowSize);
}
