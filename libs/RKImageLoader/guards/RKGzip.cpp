#include "RKImageLoader/guards/RKGzip_p.h"

#include <zlib.h>

#include <algorithm>
#include <limits>

namespace {

// Owns zlib's state.
class InflateStream
{
public:
    InflateStream()
    {
        // 16 more than the window's size asks for gzip's header.
        m_isUsable = inflateInit2(&m_stream, MAX_WBITS + 16) == Z_OK;
    }

    ~InflateStream()
    {
        inflateEnd(&m_stream);
    }

    InflateStream(const InflateStream&) = delete;
    InflateStream& operator=(const InflateStream&) = delete;

    bool isUsable() const
    {
        return m_isUsable;
    }

    z_stream* operator->()
    {
        return &m_stream;
    }

    z_stream* get()
    {
        return &m_stream;
    }

private:
    z_stream m_stream{};
    bool m_isUsable = false;
};

} // namespace

bool RKGzip::isGzip(const QByteArray& data)
{
    return data.startsWith("\x1f\x8b");
}

std::optional<QByteArray> RKGzip::inflated(const QByteArray& data, qint64 limit)
{
    constexpr qint64 kChunk = 1 << 16;
    InflateStream stream;
    if (!stream.isUsable() || data.size() > std::numeric_limits<uInt>::max())
        return {};

    // zlib doesn't write to its input, but its interface lacks the const.
    stream->next_in = reinterpret_cast<Bytef*>(const_cast<char*>(data.data()));
    stream->avail_in = uInt(data.size());

    QByteArray result;
    for (;;) {
        const qsizetype used = result.size();
        // One byte more than the limit tells a file that ends at the limit from a longer one.
        const qint64 room = std::min(kChunk, limit + 1 - used);
        result.resize(used + room);
        stream->next_out = reinterpret_cast<Bytef*>(result.data() + used);
        stream->avail_out = uInt(room);
        const int status = inflate(stream.get(), Z_NO_FLUSH);
        result.resize(used + room - stream->avail_out);

        if (result.size() > limit || (status != Z_OK && status != Z_STREAM_END))
            return {};
        if (status == Z_OK)
            continue;

        const QByteArray rest = QByteArray::fromRawData(
            reinterpret_cast<const char*>(stream->next_in), qsizetype(stream->avail_in));
        if (!isGzip(rest))
            return result;
        if (inflateReset(stream.get()) != Z_OK)
            return {};
    }
}
