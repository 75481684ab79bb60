#include "imageformats/heif/RKHevcSequence.h"

#include "imageformats/common/RKPictureLimits.h"

#include <QByteArray>

#include <algorithm>

namespace {

// The bits of a NAL unit without the bytes that keep start codes from appearing (7.3.1.1).
class BitReader
{
public:
    explicit BitReader(QByteArrayView nalUnit)
    {
        // What is asked for stands at the start.
        constexpr qsizetype kEnough = 512;
        int zeros = 0;
        for (const char byte : nalUnit.first(std::min(nalUnit.size(), kEnough))) {
            if (zeros >= 2 && byte == 3) {
                zeros = 0;
                continue;
            }
            zeros = byte == 0 ? zeros + 1 : 0;
            m_bytes.append(byte);
        }
    }

    bool isGood() const
    {
        return m_position <= m_bytes.size() * 8;
    }

    quint32 bits(int count)
    {
        quint32 value = 0;
        for (int i = 0; i < count; ++i)
            value = value << 1 | bit();
        return value;
    }

    void skip(qsizetype count)
    {
        m_position += count;
    }

    // Exponential Golomb code (9.2).
    quint32 golomb()
    {
        constexpr int kMostZeros = 31;
        int zeros = 0;
        while (isGood() && zeros < kMostZeros && bit() == 0)
            ++zeros;
        return (1U << zeros) - 1 + bits(zeros);
    }

private:
    quint32 bit()
    {
        const qsizetype index = m_position++ / 8;
        const int shift = 7 - int((m_position - 1) % 8);
        return index < m_bytes.size() ? quint32(uchar(m_bytes[index]) >> shift) & 1 : 0;
    }

    QByteArray m_bytes;
    qsizetype m_position = 0;
};

// 7.3.3.
void skipProfileTierLevel(BitReader& reader, quint32 maxSubLayers)
{
    constexpr quint32 kAllSubLayers = 8;
    constexpr qsizetype kProfileBits = 88;
    constexpr qsizetype kLevelBits = 8;
    reader.skip(kProfileBits + kLevelBits);
    qsizetype bits = 0;
    for (quint32 i = 0; i < maxSubLayers; ++i)
        bits += (reader.bits(1) ? kProfileBits : 0) + (reader.bits(1) ? kLevelBits : 0);
    if (maxSubLayers > 0)
        reader.skip(2 * qsizetype(kAllSubLayers - maxSubLayers));
    reader.skip(bits);
}

} // namespace

RKHevcSequence::RKHevcSequence(QByteArrayView nalUnit)
{
    constexpr quint32 kSeparatePlanes = 3;
    constexpr qsizetype kHeaderBits = 16;

    BitReader reader(nalUnit);
    reader.skip(kHeaderBits + 4);
    const quint32 maxSubLayers = reader.bits(3);
    reader.skip(1);
    skipProfileTierLevel(reader, maxSubLayers);
    reader.golomb();
    const quint32 chroma = reader.golomb();
    if (chroma == kSeparatePlanes)
        reader.skip(1);
    const qint64 width = reader.golomb();
    const qint64 height = reader.golomb();
    // In units of chroma samples (table 6-1).
    const qint64 unitX = chroma == 1 || chroma == 2 ? 2 : 1;
    const qint64 unitY = chroma == 1 ? 2 : 1;
    qint64 cropX = 0;
    qint64 cropY = 0;
    if (reader.bits(1)) {
        cropX = reader.golomb();
        cropX = unitX * (cropX + reader.golomb());
        cropY = reader.golomb();
        cropY = unitY * (cropY + reader.golomb());
    }
    if (!reader.isGood() || !RKPictureLimits::isAcceptable(width, height) || cropX >= width
        || cropY >= height)
        return;
    m_codedSize = QSize(int(width), int(height));
    m_size = QSize(int(width - cropX), int(height - cropY));
}
