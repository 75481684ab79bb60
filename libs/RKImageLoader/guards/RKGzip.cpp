#include "RKImageLoader/guards/RKGzip_p.h"

#include <zlib.h>

#include <algorithm>
#include <limits>

namespace {

// Owns zlib's state.
class InflateStream
{
public:
    InflateStream(QByteArrayView data, int windowBits)
    {
        m_isUsable = data.size() <= std::numeric_limits<uInt>::max()
            && inflateInit2(&m_stream, windowBits) == Z_OK;
        // zlib doesn't write to its input, but its interface lacks the const.
        m_stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(data.data()));
        m_stream.avail_in = uInt(data.size());
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

constexpr qint64 kChunk = 1 << 16;

} // namespace

bool RKGzip::isGzip(const QByteArray& data)
{
    return data.startsWith("\x1f\x8b");
}

std::optional<QByteArray> RKGzip::inflated(const QByteArray& data, qint64 limit)
{
    // 16 more than the window's size asks for gzip's header.
    InflateStream stream(data, MAX_WBITS + 16);
    if (!stream.isUsable())
        return {};

    QByteArray result;
    for (;;) {
        const qsizetype used = result.size();
        // One byte more than the limit distinguishes a file that ends there from a longer one.
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

qint64 RKGzip::inflatedSize(QByteArrayView zlibData, qint64 limit)
{
    InflateStream stream(zlibData, MAX_WBITS);
    QByteArray chunk(kChunk, Qt::Uninitialized);
    qint64 size = 0;
    int status = stream.isUsable() ? Z_OK : Z_STREAM_ERROR;
    while (status == Z_OK && size <= limit) {
        stream->next_out = reinterpret_cast<Bytef*>(chunk.data());
        stream->avail_out = uInt(kChunk);
        status = inflate(stream.get(), Z_NO_FLUSH);
        size += kChunk - stream->avail_out;
    }
    return size;
}

QString RKGzip::zlibVersion()
{
    return QString::fromLatin1(::zlibVersion());
}
