#include "RKImageLoader/decoders/photoshop/RKPhotoshopRows_p.h"
#include "RKImageLoader/files/RKByteReader_p.h"
#include "RKImageLoader/guards/RKImageLimits_p.h"
#include "RKImageLoader/guards/RKTruncation_p.h"
#include "RKImageLoader/media/RKLogCategories_p.h"

#include <QDebug>

#include <zlib.h>

#include <algorithm>
#include <bit>
#include <cstring>
#include <limits>

namespace {

using Compression = RKPhotoshopFile::Compression;
using Mode = RKPhotoshopFile::Mode;

constexpr quint16 kMaxSample = 65535;

// TIFF 6.0, section 9: two bytes stand for at most 128.
constexpr qint64 kPackBitsRatio = 64;

qint64 rowSize(const RKPhotoshopFile& file)
{
    const qint64 width = file.size.width();
    return file.depth == 1 ? (width + 7) / 8 : width * file.depth / 8;
}

// More than the compression can make of the bytes that are there.
bool isClaim(qint64 size, qint64 ratio, const RKPhotoshopFile& file, RKLoadContext& context)
{
    if (size / ratio <= file.pixels.size())
        return false;
    qCWarning(rkLoad, "Picture refused: its header promises more than its data can hold");
    context.fail(RKTruncation::reasonForClaim(file.pixels, file.size));
    return true;
}

// TIFF 6.0, section 9. False when the packed bytes end before the row. What they hold beyond it is
// ignored, for some programs write a byte too many.
bool unpackBits(QByteArrayView packed, char* row, qint64 size)
{
    const char* from = packed.begin();
    while (size > 0) {
        if (packed.end() - from < 2)
            return false;
        const auto code = qint8(*from++);
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
    return value > 0.0F ? quint16(qRound(std::min(value, 1.0F) * float(kMaxSample))) : quint16(0);
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

/// One channel of a zip stream. On the heap, for zlib keeps its address.
class RKPhotoshopRows::Inflater
{
public:
    explicit Inflater(QByteArrayView zip)
    {
        m_isGood = inflateInit(&m_stream) == Z_OK && zip.size() <= std::numeric_limits<uInt>::max();
        m_stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(zip.data()));
        m_stream.avail_in = uInt(zip.size());
    }

    // Goes on where the other one is.
    Inflater(const Inflater& other)
        : m_isGood(other.m_isGood)
    {
        auto* const from = const_cast<z_stream*>(&other.m_stream);
        m_isGood = m_isGood && inflateCopy(&m_stream, from) == Z_OK;
    }

    ~Inflater()
    {
        inflateEnd(&m_stream);
    }

    Inflater& operator=(const Inflater&) = delete;

    /// All bytes were taken, and more are missing.
    bool isAtEnd() const
    {
        return m_stream.avail_in == 0;
    }

    bool read(QByteArray& row)
    {
        m_stream.next_out = reinterpret_cast<Bytef*>(row.data());
        m_stream.avail_out = uInt(row.size());
        const int status = m_isGood ? inflate(&m_stream, Z_SYNC_FLUSH) : Z_STREAM_ERROR;
        m_isGood = (status == Z_OK || status == Z_STREAM_END) && m_stream.avail_out == 0;
        return m_isGood;
    }

private:
    z_stream m_stream{};
    bool m_isGood = false;
};

RKPhotoshopRows::RKPhotoshopRows(const RKPhotoshopFile& file)
    : m_file(file)
    , m_rowSize(rowSize(file))
{
}

RKPhotoshopRows::RKPhotoshopRows(RKPhotoshopRows&&) noexcept = default;

RKPhotoshopRows::~RKPhotoshopRows() = default;

std::optional<RKPhotoshopRows> RKPhotoshopRows::open(
    const RKPhotoshopFile& file, int channels, RKLoadContext& context)
{
    RKPhotoshopRows rows(file);
    const qint64 size = rows.m_rowSize * file.size.height() * channels;
    switch (file.compression) {
    case Compression::Raw:
        if (size > file.pixels.size()) {
            context.fail(RKMediaErrorCode::Truncated);
            return {};
        }
        break;
    case Compression::PackBits:
        if (isClaim(size, kPackBitsRatio, file, context))
            return {};
        // The sizes of the rows come first: the rows themselves are missing.
        if (!rows.findPackedRows(channels)) {
            context.fail(RKMediaErrorCode::Truncated);
            return {};
        }
        rows.m_row.resize(rows.m_rowSize);
        break;
    case Compression::Zip:
        rows.m_row.resize(rows.m_rowSize);
        if (isClaim(size, RKImageLimits::kDeflateRatio, file, context))
            return {};
        if (!rows.findInflatedChannels(channels)) {
            context.fail(rows.readError());
            return {};
        }
        break;
    default: context.fail(RKMediaErrorCode::Damaged); return {};
    }
    return rows;
}

bool RKPhotoshopRows::read(int channel, int row, std::span<quint16> samples)
{
    const QByteArrayView bytes = rowBytes(channel, row);
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

// The stream has one channel after the other, but their rows are wanted side by side.
bool RKPhotoshopRows::findInflatedChannels(int channels)
{
    Inflater stream(m_file.pixels);
    for (int channel = 0; channel < channels; ++channel) {
        m_inflaters.push_back(std::make_unique<Inflater>(stream));
        for (int y = 0; channel + 1 < channels && y < m_file.size.height(); ++y) {
            if (!stream.read(m_row)) {
                m_hasEnded = stream.isAtEnd();
                return false;
            }
        }
    }
    return true;
}

RKMediaErrorCode RKPhotoshopRows::readError() const
{
    return m_hasEnded ? RKMediaErrorCode::Truncated : RKMediaErrorCode::Damaged;
}

QByteArrayView RKPhotoshopRows::rowBytes(int channel, int row)
{
    const qint64 index = qint64(channel) * m_file.size.height() + row;
    switch (m_file.compression) {
    case Compression::Raw: return m_file.pixels.sliced(index * m_rowSize, m_rowSize);
    case Compression::Zip: {
        Inflater& stream = *m_inflaters[size_t(channel)];
        if (stream.read(m_row))
            return m_row;
        m_hasEnded = stream.isAtEnd();
        return {};
    }
    case Compression::PackBits: break;
    }
    const qint64 begin = m_packedOffsets[size_t(index)];
    const qint64 end = m_packedOffsets[size_t(index + 1)];
    const QByteArrayView packed = m_file.pixels.sliced(begin, end - begin);
    return unpackBits(packed, m_row.data(), m_rowSize) ? QByteArrayView(m_row) : QByteArrayView();
}
