#include "RKImageLoader/files/RKByteReader_p.h"
#include "RKImageLoader/guards/RKGzip_p.h"
#include "RKImageLoader/guards/RKImageLimits_p.h"
#include "RKImageLoader/guards/RKPngChunks_p.h"

#include <QIODevice>
#include <QList>

#include <algorithm>
#include <optional>

namespace {

constexpr QByteArrayView kSignature("\x89PNG\r\n\x1a\n");
constexpr qint64 kHeadSize = 8; // length and type
constexpr qint64 kFrameSize = 12; // and checksum
constexpr QByteArrayView kEnd("\0\0\0\0IEND\xae\x42\x60\x82", 12);

struct Chunk
{
    QByteArrayView bytes; // with head and checksum, as far as they are there
    QByteArrayView type;
    QByteArrayView content;
    bool isComplete = false;
};

// The chunk at the begin of the data; absent where not even its head is there.
std::optional<Chunk> firstChunk(QByteArrayView data)
{
    const auto length = RKByteReader(data).numberAt<quint32>(0);
    if (!length || data.size() < kHeadSize)
        return {};
    const qint64 size = std::min<qint64>(kFrameSize + *length, data.size());
    // A missing checksum is forgiven.
    const bool isComplete = kHeadSize + *length <= data.size();
    return Chunk{data.first(size),
        data.sliced(4, 4),
        data.sliced(kHeadSize, std::min<qint64>(*length, data.size() - kHeadSize)),
        isComplete};
}

// The part of a chunk that decoders inflate (11.3.3.3, 11.3.4.3 and 11.3.4.4); empty if none is.
QByteArrayView compressedPart(const Chunk& chunk)
{
    const bool isInternational = chunk.type == "iTXt";
    if (!isInternational && chunk.type != "zTXt" && chunk.type != "iCCP")
        return {};
    const qsizetype keyword = chunk.content.indexOf('\0');
    if (keyword < 0)
        return {};
    const QByteArrayView afterKeyword = chunk.content.sliced(keyword + 1);
    if (!isInternational)
        return afterKeyword.isEmpty() ? afterKeyword : afterKeyword.sliced(1);
    if (afterKeyword.size() < 2 || afterKeyword.front() == 0)
        return {};
    const qsizetype language = afterKeyword.indexOf('\0', 2);
    const qsizetype translated = language < 0 ? -1 : afterKeyword.indexOf('\0', language + 1);
    return translated < 0 ? QByteArrayView() : afterKeyword.sliced(translated + 1);
}

bool isDeepTruecolor(const Chunk& header)
{
    constexpr qsizetype kDepth = 8;
    constexpr qsizetype kColorType = 9;
    return header.type == "IHDR" && header.content.size() > kColorType
        && header.content[kDepth] == 16 && header.content[kColorType] == 2;
}

// Copies the chunks that a decoder may see.
class Repair
{
public:
    explicit Repair(QByteArrayView file)
    {
        QByteArrayView rest = file.sliced(std::min(kSignature.size(), file.size()));
        while (const auto chunk = firstChunk(rest)) {
            rest = rest.sliced(chunk->bytes.size());
            const bool arePixels = chunk->type == "IDAT";
            if (!chunk->isComplete && !arePixels) {
                end();
                return;
            }
            m_hasPixels = m_hasPixels || arePixels;
            m_isDeepTruecolor = m_isDeepTruecolor || isDeepTruecolor(*chunk);
            m_keepsAll = add(*chunk) && m_keepsAll;
            // In icons the next picture follows.
            if (chunk->type == "IEND")
                return;
        }
    }

    bool keepsAll() const
    {
        return m_keepsAll;
    }

    QByteArray result() const
    {
        if (m_isHopeless)
            return {};
        QByteArray bytes = kSignature.toByteArray();
        for (const QByteArrayView chunk : m_chunks)
            bytes.append(chunk.data(), chunk.size());
        return bytes;
    }

private:
    bool add(const Chunk& chunk)
    {
        if (m_isDeepTruecolor && chunk.type == "tRNS")
            return false;
        const QByteArrayView compressed = compressedPart(chunk);
        if (!compressed.isEmpty()) {
            if (m_room >= 0)
                m_room -= RKGzip::inflatedSize(compressed, m_room);
            // Texts after one that is too long are not even measured.
            if (m_room < 0)
                return false;
        }
        m_chunks.append(chunk.bytes);
        return true;
    }

    void end()
    {
        m_keepsAll = false;
        m_isHopeless = !m_hasPixels;
        m_chunks.append(kEnd);
    }

    QList<QByteArrayView> m_chunks;
    qint64 m_room = RKImageLimits::kMaxInflatedTexts;
    bool m_isDeepTruecolor = false;
    bool m_hasPixels = false;
    bool m_keepsAll = true;
    bool m_isHopeless = false;
};

} // namespace

bool RKPngChunks::isPng(QByteArrayView data)
{
    return data.startsWith(kSignature.first(4));
}

bool RKPngChunks::isCutOff(QByteArrayView data)
{
    QByteArrayView rest = data.sliced(std::min(kSignature.size(), data.size()));
    while (const auto chunk = firstChunk(rest)) {
        if (!chunk->isComplete)
            return true;
        if (chunk->type == "IEND")
            return false;
        rest = rest.sliced(chunk->bytes.size());
    }
    return true;
}

bool RKPngChunks::areHarmless(QByteArrayView data)
{
    return Repair(data).keepsAll();
}

QByteArray RKPngChunks::repaired(const QByteArray& data)
{
    if (!isPng(data))
        return data;
    const Repair repair(data);
    return repair.keepsAll() ? data : repair.result();
}

std::optional<QRgba64> RKPngChunks::transparentColor(QByteArrayView data)
{
    if (!isPng(data))
        return {};
    QByteArrayView rest = data.sliced(std::min(kSignature.size(), data.size()));
    auto chunk = firstChunk(rest);
    if (!chunk || !isDeepTruecolor(*chunk))
        return {};
    while (chunk && chunk->type != "tRNS" && chunk->type != "IDAT") {
        rest = rest.sliced(chunk->bytes.size());
        chunk = firstChunk(rest);
    }
    if (!chunk || chunk->type != "tRNS")
        return {};
    const RKByteReader samples(chunk->content);
    const auto red = samples.numberAt<quint16>(0);
    const auto green = samples.numberAt<quint16>(2);
    const auto blue = samples.numberAt<quint16>(4);
    if (!red || !green || !blue)
        return {};
    return qRgba64(*red, *green, *blue, 0xffff);
}

QByteArray RKPngChunks::header(QIODevice& device)
{
    QByteArray bytes;
    if (!device.seek(0))
        return bytes;
    bytes = device.read(kSignature.size());
    for (;;) {
        const QByteArray head = device.read(kHeadSize);
        const auto length = RKByteReader(head).numberAt<quint32>(0);
        bytes += head;
        if (!length || head.size() < kHeadSize || head.endsWith("IDAT"))
            return repaired(bytes);
        if (*length > device.size() - device.pos())
            return {};
        bytes += device.read(*length + kFrameSize - kHeadSize);
    }
}
