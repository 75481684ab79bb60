#include "RKImageLoader/files/RKByteReader_p.h"
#include "RKImageLoader/files/RKTiffTags_p.h"
#include "RKImageLoader/guards/RKImageLimits_p.h"
#include "RKImageLoader/guards/RKTiffClaim_p.h"

#include <algorithm>
#include <array>
#include <climits>

namespace {

// TIFF 6.0, sections 8 and 15.
constexpr quint16 kWidth = 256;
constexpr quint16 kHeight = 257;
constexpr quint16 kBitsPerSample = 258;
constexpr quint16 kCompression = 259;
constexpr quint16 kPhotometric = 262;
constexpr quint16 kSamplesPerPixel = 277;
constexpr quint16 kRowsPerStrip = 278;
constexpr quint16 kPlanarConfiguration = 284;
constexpr quint16 kColorMap = 320;
constexpr quint16 kTileWidth = 322;
constexpr quint16 kTileHeight = 323;
constexpr quint16 kExtraSamples = 338;
constexpr quint16 kSampleFormat = 339;
constexpr quint16 kSubsampling = 530;

// The most bytes that a compressed one can stand for. Fax compressions are counted by rows.
struct Ratio
{
    quint32 compression;
    qint64 bytes;
};

constexpr std::array kRatios{
    Ratio{1, 1},
    // A code of 12 bits stands for fewer than 4096 bytes.
    Ratio{5, 4096 * 8 / 12},
    // ITU-T T.81: an 8x8 block takes at least a bit; there are up to four samples.
    Ratio{6, 8 * 64 * 4},
    Ratio{7, 8 * 64 * 4},
    Ratio{8, RKImageLimits::kDeflateRatio},
    Ratio{32946, RKImageLimits::kDeflateRatio},
    // Two bytes stand for at most 128.
    Ratio{32773, 64},
};
// Dictionary and run-length codings without such a bound, among them Zstandard and LZMA.
constexpr qint64 kOtherRatio = 65536;

// Values of tags.
constexpr qint64 kMinIsBlack = 1;
constexpr qint64 kRgb = 2;
constexpr qint64 kSeparate = 2;
constexpr qint64 kUnsigned = 1;

constexpr quint32 kFaxOfRows = 2;
constexpr quint32 kFaxGroup3 = 3;
constexpr quint32 kFaxGroup4 = 4;

qint64 ratioOf(quint32 compression)
{
    const auto* const found = std::find_if(kRatios.begin(), kRatios.end(), [=](const Ratio& ratio) {
        return ratio.compression == compression;
    });
    return found == kRatios.end() ? kOtherRatio : found->bytes;
}

qint64 roundedUp(qint64 value, qint64 divisor)
{
    return (value + divisor - 1) / divisor;
}

// The entries of one directory.
class Directory
{
public:
    explicit Directory(QByteArrayView data)
        : m_bytes(data, data.startsWith("II") ? QSysInfo::LittleEndian : QSysInfo::BigEndian)
        , m_isBig(number<quint16>(2) == 43)
    {
        const auto begin = m_isBig ? number<quint64>(8) : number<quint32>(4);
        m_begin = qint64(std::min<quint64>(begin.value_or(~0ULL), quint64(data.size())));
        const auto count = m_isBig ? number<quint64>(m_begin) : number<quint16>(m_begin);
        m_begin += m_isBig ? 8 : 2;
        const qint64 room = std::max<qint64>(0, data.size() - m_begin) / entrySize();
        m_count = qint64(std::min<quint64>(count.value_or(0), quint64(room)));
    }

    bool isEmpty() const
    {
        return m_count == 0;
    }

    bool has(quint16 tag) const
    {
        return entry(tag).has_value();
    }

    // The first number of an entry; the default where it has none.
    qint64 value(quint16 tag, qint64 otherwise = 0) const
    {
        const auto found = entry(tag);
        const Values values = found ? valuesOf(*found) : Values();
        return values.count > 0 ? at(values, 0) : otherwise;
    }

    // Whether no number of an entry needs more than 8 bits.
    bool holdsBytes(quint16 tag) const
    {
        const auto found = entry(tag);
        const Values values = found ? valuesOf(*found) : Values();
        for (qint64 i = 0; i < values.count; ++i) {
            if (at(values, i) > UCHAR_MAX)
                return false;
        }
        return values.count > 0;
    }

    // The bytes of all strips or tiles that are in the file.
    qint64 compressedBytes(quint16 offsets, quint16 counts) const
    {
        if (!has(offsets) || !has(counts))
            return m_bytes.size();
        const Values places = valuesOf(*entry(offsets));
        const Values lengths = valuesOf(*entry(counts));
        qint64 total = 0;
        for (qint64 i = 0; i < std::min(places.count, lengths.count); ++i) {
            const qint64 length = at(lengths, i);
            // Some writers leave the lengths out.
            if (length == 0)
                return m_bytes.size();
            total += std::clamp<qint64>(m_bytes.size() - at(places, i), 0, length);
        }
        return std::min(total, m_bytes.size());
    }

private:
    struct Values
    {
        qint64 begin = 0;
        qint64 count = 0;
        int size = 0;
    };

    qint64 entrySize() const
    {
        return m_isBig ? 20 : 12;
    }

    template <typename T>
    std::optional<quint64> number(qint64 offset) const
    {
        const auto found = m_bytes.numberAt<T>(offset);
        return found ? std::optional<quint64>(*found) : std::nullopt;
    }

    std::optional<qint64> entry(quint16 tag) const
    {
        for (qint64 i = 0; i < m_count; ++i) {
            const qint64 offset = m_begin + i * entrySize();
            if (number<quint16>(offset) == tag)
                return offset;
        }
        return {};
    }

    // BYTE, SHORT, LONG and LONG8; other types have no numbers here.
    static int sizeOfType(quint64 type)
    {
        switch (type) {
        case 1: return 1;
        case 3: return 2;
        case 4: return 4;
        case 16: return 8;
        default: return 0;
        }
    }

    Values valuesOf(qint64 entry) const
    {
        const int size = sizeOfType(number<quint16>(entry + 2).value_or(0));
        if (size == 0)
            return {};
        const quint64 count
            = (m_isBig ? number<quint64>(entry + 4) : number<quint32>(entry + 4)).value_or(0);
        const qint64 field = entry + (m_isBig ? 12 : 8);
        const qint64 fieldSize = m_isBig ? 8 : 4;
        const bool isInField = count <= quint64(fieldSize / size);
        const quint64 begin = isInField
            ? quint64(field)
            : (m_isBig ? number<quint64>(field) : number<quint32>(field)).value_or(~0ULL);
        if (begin >= quint64(m_bytes.size()))
            return {};
        const quint64 room = (quint64(m_bytes.size()) - begin) / quint64(size);
        return {qint64(begin), qint64(std::min(count, room)), size};
    }

    qint64 at(const Values& values, qint64 index) const
    {
        const qint64 offset = values.begin + index * values.size;
        quint64 result = 0;
        switch (values.size) {
        case 1: result = number<quint8>(offset).value_or(0); break;
        case 2: result = number<quint16>(offset).value_or(0); break;
        case 4: result = number<quint32>(offset).value_or(0); break;
        default: result = number<quint64>(offset).value_or(0);
        }
        return qint64(std::min<quint64>(result, quint64(RKImageLimits::kMaxPixels) << 10));
    }

    RKByteReader m_bytes;
    bool m_isBig;
    qint64 m_begin = 0;
    qint64 m_count = 0;
};

// Bits of a pixel in a QImage, as Qt's reader makes it.
qint64 imageBits(qint64 bits, qint64 samples)
{
    // Pixels of 32 bits and more are floating-point numbers, which QImage has for colours only.
    if (samples == 1 && bits <= 16)
        return bits == 1 ? 1 : roundedUp(bits, 8) * 8;
    return 4 * std::max<qint64>(bits, 8);
}

// Some are only read where rows of tiles are not too large.
RKTiffClaim::Samples samplesOf(
    const Directory& directory, qint64 samples, qint64 bits, bool hasRows)
{
    using Samples = RKTiffClaim::Samples;
    constexpr qint64 kPalette = 3;
    constexpr qint64 kInks = 5;
    constexpr qint64 kLab = 8;
    constexpr qint64 kUnspecified = 0;
    if (directory.value(kSampleFormat, kUnsigned) != kUnsigned || (bits != 8 && bits != 16))
        return Samples::Common;
    const qint64 photometric = directory.value(kPhotometric);
    const bool isDeep = bits == 16;
    const bool hasPlanes = directory.value(kPlanarConfiguration) == kSeparate;
    if (photometric == kRgb) {
        return isDeep && ((hasPlanes && samples >= 3) || samples > 4) ? Samples::DeepColors
                                                                      : Samples::Common;
    }
    if (photometric == kPalette)
        return directory.holdsBytes(kColorMap) ? Samples::ByteColors : Samples::Common;
    if (!hasRows)
        return Samples::Common;
    if (photometric <= kMinIsBlack && samples > 1
        && directory.value(kExtraSamples, kUnspecified) != kUnspecified)
        return Samples::GrayAndAlpha;
    if (photometric == kLab && samples >= 3 && !hasPlanes)
        return Samples::Lab;
    return photometric == kInks && isDeep && samples >= 4 ? Samples::DeepInks : Samples::Common;
}

bool isPlain(const Directory& directory, qint64 samples, qint64 bits)
{
    const qint64 photometric = directory.value(kPhotometric);
    return (bits == 8 || bits == 16) && directory.value(kSampleFormat, kUnsigned) == kUnsigned
        && directory.value(kPlanarConfiguration) != kSeparate
        && ((photometric == kMinIsBlack && samples == 1)
            || (photometric == kRgb && (samples == 3 || samples == 4)));
}

} // namespace

std::optional<RKTiffClaim> RKTiffClaim::read(QByteArrayView data)
{
    if (!data.startsWith("II*") && !data.startsWith(QByteArrayView("MM\0*", 4))
        && !data.startsWith("II+") && !data.startsWith(QByteArrayView("MM\0+", 4)))
        return {};
    const Directory directory(data);
    if (directory.isEmpty())
        return {};

    const qint64 width = directory.value(kWidth);
    const qint64 height = directory.value(kHeight);
    if (width > RKImageLimits::kMaxSide || height > RKImageLimits::kMaxSide)
        return RKTiffClaim{.size = QSize(INT_MAX, INT_MAX)};
    const qint64 samples = std::clamp<qint64>(directory.value(kSamplesPerPixel, 1), 1, 64);
    const qint64 bits = std::clamp<qint64>(directory.value(kBitsPerSample, 1), 1, 64);
    const auto compression = quint32(directory.value(kCompression, 1));

    const bool isTiled = directory.has(kTileWidth);
    const qint64 partWidth = isTiled ? directory.value(kTileWidth) : width;
    const qint64 partHeight = isTiled ? directory.value(kTileHeight)
                                      : std::min(directory.value(kRowsPerStrip, height), height);
    RKTiffClaim claim;
    claim.size = QSize(int(width), int(height));
    if (partWidth <= 0 || partHeight <= 0 || partWidth > RKImageLimits::kMaxSide
        || partHeight > RKImageLimits::kMaxSide
        || partWidth * partHeight > RKImageLimits::kMaxPixels
        || width * height > RKImageLimits::kMaxPixels)
        return claim;
    claim.decodedBytes = roundedUp(width * samples * bits, 8) * height;
    claim.largestPart = roundedUp(partWidth * samples * bits, 8) * partHeight;
    claim.imageBytes = roundedUp(width * imageBits(bits, samples), 8) * height;

    // In 16 bits.
    const qint64 bytesOfColumn = 2 * samples * (isTiled ? partHeight : 1);
    const bool isShort = std::max(width, partWidth) <= RKImageLimits::kSmallClaim / bytesOfColumn;
    claim.samples = samplesOf(directory, samples, bits, isShort || !isTiled);
    claim.hasPlainRows = isShort && claim.samples == RKTiffClaim::Samples::Common
        && isPlain(directory, samples, bits);

    const qint64 bytes = isTiled
        ? directory.compressedBytes(RKTiffTag::kTileOffsets, RKTiffTag::kTileSizes)
        : directory.compressedBytes(RKTiffTag::kStripOffsets, RKTiffTag::kStripSizes);
    const qint64 rows = height * (isTiled ? roundedUp(width, partWidth) : 1);
    switch (compression) {
    // ITU-T T.4 and T.6: a row takes a code, and in group 4 a plain one takes a bit.
    case kFaxOfRows:
    case kFaxGroup3: claim.isCovered = rows <= bytes; break;
    case kFaxGroup4: claim.isCovered = rows / 8 <= bytes; break;
    case 1: {
        // Colour differences may be stored for every sixteenth pixel only (section 21).
        const bool isSubsampled = directory.has(kSubsampling);
        claim.isCovered = claim.decodedBytes / (isSubsampled ? 3 : 1) <= bytes;
        break;
    }
    default: claim.isCovered = claim.decodedBytes / ratioOf(compression) <= bytes;
    }
    return claim;
}
