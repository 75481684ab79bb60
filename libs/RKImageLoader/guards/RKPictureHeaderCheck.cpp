#include "RKImageLoader/files/RKByteReader_p.h"
#include "RKImageLoader/guards/RKImageLimits_p.h"
#include "RKImageLoader/guards/RKJpegScans_p.h"
#include "RKImageLoader/guards/RKPictureHeaderCheck_p.h"
#include "RKImageLoader/guards/RKPngChunks_p.h"
#include "RKImageLoader/guards/RKTiffClaim_p.h"
#include "RKImageLoader/media/RKLogCategories_p.h"

#include <QIODevice>

#include <algorithm>
#include <array>
#include <limits>

namespace {

using RKImageLimits::kDeflateRatio;

// The most that the formats' compression can reach.

// ITU-T T.81: an 8x8 block takes at least one bit, the code of its DC coefficient.
constexpr qint64 kJpegPixelsPerByte = 8 * 64;
// GIF89a, appendix F: a code of 12 bits stands for fewer than 4096 pixels.
constexpr qint64 kGifPixelsPerByte = 4096 * 8 / 12;
// RFC 6386: a macroblock of 16x16 takes about a bit at least. Lossless WebP needs next to nothing
// for a plain area, so this asks for a few details in a picture that isn't small.
constexpr qint64 kWebpPixelsPerByte = 16384;
// Microsoft's RLE: a delta of 255x255 pixels takes four bytes.
constexpr qint64 kBmpRlePixelsPerByte = 255 * 255 / 4;
// An XBM byte of eight pixels is written with at least five characters ("0x0f,").
constexpr qint64 kXbmPixelsPerByte = 2;
// All others, among them HEIC.
constexpr qint64 kOtherPixelsPerByte = 65536;

qint64 pixels(const QSize& size)
{
    return qint64(size.width()) * size.height();
}

bool isMeasured(const QSize& size)
{
    return size.width() >= 0 && size.height() >= 0;
}

// A picture of up to `small` pixels, or of no more than its bytes can hold.
bool isBelow(qint64 pixels, qint64 small, qint64 bytes, qint64 pixelsPerByte)
{
    return pixels <= small || pixels / pixelsPerByte <= bytes;
}

// Sizes in headers have 32 bits; sides that QImage can't have are as bad as too many pixels.
bool isWithinLimit(qint64 width, qint64 height)
{
    using namespace RKImageLimits;
    return width >= 0 && height >= 0 && width <= kMaxSide && height <= kMaxSide
        && width * height <= kMaxPixels;
}

// ISO/IEC 15948 (PNG), 11.2.2 IHDR.
struct PngHeader
{
    explicit PngHeader(QByteArrayView data)
    {
        const RKByteReader bytes(data);
        width = bytes.numberAt<quint32>(16).value_or(0);
        height = bytes.numberAt<quint32>(20).value_or(0);
        depth = bytes.numberAt<quint8>(24).value_or(0);
        colorType = bytes.numberAt<quint8>(25).value_or(0);
        isInterlaced = bytes.numberAt<quint8>(28).value_or(0) != 0;
    }

    // Interlaced pictures hold as many bytes and some more.
    qint64 decodedBytes() const
    {
        constexpr std::array<qint64, 7> kChannels{1, 0, 3, 1, 2, 0, 4}; // by colour type
        const qint64 channels = colorType < kChannels.size() ? kChannels[colorType] : 0;
        return (1 + (width * depth * channels + 7) / 8) * height;
    }

    // What a QImage of the picture takes. Qt's reader makes true colours of 8 bits smaller row by
    // row.
    qint64 imageBytes() const
    {
        constexpr quint8 kGray = 0;
        constexpr quint8 kPalette = 3;
        if (!isWithinLimit(width, height))
            return std::numeric_limits<qint64>::max();
        if (depth == 1)
            return (width + 7) / 8 * height;
        if (depth < 16 && (colorType == kGray || colorType == kPalette))
            return width * height;
        return depth == 8 && !isInterlaced ? 0 : width * height * depth / 2;
    }

    qint64 width = 0;
    qint64 height = 0;
    qint64 depth = 0;
    quint8 colorType = 0;
    bool isInterlaced = false;
};

bool canHoldPng(QByteArrayView data)
{
    const PngHeader header(data);
    return isWithinLimit(header.width, header.height)
        && header.decodedBytes() / kDeflateRatio <= data.size() && RKPngChunks::areHarmless(data);
}

bool isRestart(quint8 marker)
{
    return marker >= 0xd0 && marker <= 0xd7;
}

// The frame header (ITU-T T.81, B.2.2) and that of the first scan.
class JpegHeader
{
public:
    explicit JpegHeader(QByteArrayView data)
    {
        const RKByteReader bytes(data);
        qint64 position = 2;
        while (const auto marker = bytes.numberAt<quint16>(position)) {
            const bool isFrame = *marker >= 0xffc0 && *marker <= 0xffcf && *marker != 0xffc4
                && *marker != 0xffc8 && *marker != 0xffcc;
            if (isFrame) {
                m_isArithmetic = *marker >= 0xffc9;
                m_isProgressive = (*marker & 3) == 2;
                readComponents(bytes, position + 4);
            } else if (*marker == 0xffda) {
                m_componentsOfScan = bytes.numberAt<quint8>(position + 4).value_or(0);
                m_scan = position + 2 + bytes.numberAt<quint16>(position + 2).value_or(0);
                return;
            } else if (*marker < 0xff00) {
                return;
            }
            position += 2 + bytes.numberAt<quint16>(position + 2).value_or(0);
        }
    }

    bool isArithmetic() const
    {
        return m_isArithmetic;
    }

    // Decoders hold the coefficients of the whole picture, in 16 bits, if the first scan lacks
    // some.
    qint64 coefficientBytes(qint64 pixels) const
    {
        const bool areHeld = m_isProgressive || m_componentsOfScan < m_components;
        return areHeld ? 2 * pixels * m_samplesPerUnit / m_pixelsPerUnit : 0;
    }

    // Where the coded pixels begin that hold all of a picture; 0 for several scans.
    qint64 onlyScan() const
    {
        return m_isArithmetic || coefficientBytes(m_pixelsPerUnit) > 0 ? 0 : m_scan;
    }

private:
    void readComponents(const RKByteReader& bytes, qint64 frame)
    {
        m_components = bytes.numberAt<quint8>(frame + 5).value_or(0);
        int width = 1;
        int height = 1;
        m_samplesPerUnit = 0;
        for (int i = 0; i < m_components; ++i) {
            const int factors = bytes.numberAt<quint8>(frame + 7 + 3 * i).value_or(0x11);
            m_samplesPerUnit += (factors >> 4) * (factors & 15);
            width = std::max(width, factors >> 4);
            height = std::max(height, factors & 15);
        }
        m_pixelsPerUnit = width * height;
    }

    bool m_isArithmetic = false;
    bool m_isProgressive = false;
    int m_components = 0;
    int m_componentsOfScan = 0;
    qint64 m_scan = 0;
    qint64 m_samplesPerUnit = 1;
    qint64 m_pixelsPerUnit = 1;
};

bool canHoldJpeg(QByteArrayView data, const QSize& size)
{
    using namespace RKImageLimits;
    const qint64 count = pixels(size);
    const qint64 scans = RKJpegScans::of(data).count;
    if (scans > kMaxScans && scans * count > kMaxScannedPixels)
        return false;
    const JpegHeader header(data);
    if (count <= kSmallPhoto && header.coefficientBytes(count) <= kMaxClaim)
        return true;
    // Arithmetic coding gets far below a bit for a block.
    const qint64 perByte = header.isArithmetic() ? kOtherPixelsPerByte : kJpegPixelsPerByte;
    return count / perByte <= data.size();
}

RKByteReader littleEndian(QByteArrayView bytes)
{
    return RKByteReader(bytes, QSysInfo::LittleEndian);
}

// The header of a bitmap: width, height, depth and compression (Windows GDI, BITMAPINFOHEADER and
// BITMAPCOREHEADER). In icons the height counts the mask too.
bool canHoldBitmap(const RKByteReader& bytes, qint64 header, int heightDivisor)
{
    constexpr quint32 kCoreHeaderSize = 12;
    constexpr quint32 kRle8 = 1;
    constexpr quint32 kRle4 = 2;

    qint64 width = 0;
    qint64 height = 0;
    qint64 depth = 0;
    quint32 compression = 0;
    if (bytes.numberAt<quint32>(header) == kCoreHeaderSize) {
        width = bytes.numberAt<quint16>(header + 4).value_or(0);
        height = bytes.numberAt<quint16>(header + 6).value_or(0);
        depth = bytes.numberAt<quint16>(header + 10).value_or(0);
    } else {
        width = bytes.numberAt<qint32>(header + 4).value_or(0);
        // Negative for rows from top to bottom.
        height = std::abs(qint64(bytes.numberAt<qint32>(header + 8).value_or(0)));
        depth = bytes.numberAt<quint16>(header + 14).value_or(0);
        compression = bytes.numberAt<quint32>(header + 16).value_or(0);
    }
    height /= heightDivisor;
    if (!isWithinLimit(width, height))
        return false;
    if (compression == kRle8 || compression == kRle4) {
        return isBelow(
            width * height, RKImageLimits::kSmallGraphic, bytes.size(), kBmpRlePixelsPerByte);
    }
    // Writers leave the end of the last row out, so it isn't asked for.
    const qint64 line = (width * depth + 31) / 32 * 4;
    return line * (height - 1) <= bytes.size();
}

bool canHoldIcon(const QByteArray& data)
{
    constexpr qint64 kDirectorySize = 6;
    constexpr qint64 kEntrySize = 16;
    const RKByteReader bytes = littleEndian(data);
    const int count = bytes.numberAt<quint16>(4).value_or(0);
    for (int i = 0; i < count; ++i) {
        const auto offset = bytes.numberAt<quint32>(kDirectorySize + i * kEntrySize + 12);
        if (!offset)
            break;
        const QByteArrayView picture = bytes.from(*offset);
        const bool isPng = picture.startsWith("\x89PNG");
        if (isPng ? !canHoldPng(picture) : !canHoldBitmap(littleEndian(picture), 0, 2))
            return false;
    }
    return true;
}

// Netpbm's manual: the smallest text or binary form of a pixel in each of the six kinds.
bool canHoldPortableMap(const RKByteReader& bytes, const QSize& size)
{
    constexpr std::array<qint64, 6> kBits{8, 16, 48, 1, 8, 24};
    const int kind = bytes.numberAt<quint8>(1).value_or('1') - '1';
    const qint64 line = (size.width() * kBits[size_t(kind)] + 7) / 8;
    return line * size.height() <= bytes.size();
}

// The largest of the six factors of a MAGN chunk's content (MNG 1.0, 4.3.5).
qint64 magnification(const RKByteReader& bytes, qint64 content, qint64 length)
{
    qint64 largest = 1;
    for (qint64 factor = 5; factor + 2 <= std::min<qint64>(length, 17); factor += 2)
        largest = std::max<qint64>(largest, bytes.numberAt<quint16>(content + factor).value_or(1));
    return largest;
}

// MNG 1.0: adds up the canvas and the pictures, whose chunks start with their size, their copies
// and the room that magnified ones take.
bool canHoldMng(const RKByteReader& bytes)
{
    constexpr qint64 kSignatureSize = 8;
    constexpr qint64 kChunkFrame = 12; // length, type and checksum
    constexpr std::array<const char*, 4> kWithSize{"MHDR", "IHDR", "JHDR", "BASI"};

    qint64 position = kSignatureSize;
    qint64 largest = 0;
    qint64 total = 0;
    while (const auto length = bytes.numberAt<quint32>(position)) {
        const qint64 content = position + 8;
        const auto isType = [&](const char* type) { return bytes.has(type, position + 4); };
        if (std::any_of(kWithSize.begin(), kWithSize.end(), isType)) {
            const qint64 width = bytes.numberAt<quint32>(content).value_or(0);
            const qint64 height = bytes.numberAt<quint32>(content + 4).value_or(0);
            if (!isWithinLimit(width, height))
                return false;
            largest = std::max(largest, width * height);
            total += width * height;
        } else if (isType("CLON")) {
            total += largest;
        } else if (isType("MAGN")) {
            const qint64 factor = magnification(bytes, content, *length);
            total += largest * factor * factor;
        }
        if (!isBelow(total, RKImageLimits::kSmallGraphic, bytes.size(), kDeflateRatio))
            return false;
        position += kChunkFrame + *length;
    }
    return true;
}

// The canvas that the frames are drawn on (GIF89a, 18); they may be smaller.
QSize gifScreen(const RKByteReader& bytes)
{
    return {bytes.numberAt<quint16>(6).value_or(0), bytes.numberAt<quint16>(8).value_or(0)};
}

} // namespace

bool RKPictureHeaderCheck::canHold(const QByteArray& data, const QSize& size)
{
    using namespace RKImageLimits;
    const RKByteReader bytes(data);

    // These are read from the header alone: the decoder may have measured something else.
    if (bytes.has("\x89PNG"))
        return canHoldPng(data);
    if (bytes.has("BM"))
        return canHoldBitmap(littleEndian(data), 14, 1);
    if (bytes.has(QByteArrayView("\0\0\1\0", 4)) || bytes.has(QByteArrayView("\0\0\2\0", 4)))
        return canHoldIcon(data);
    if (bytes.has("\x8aMNG"))
        return canHoldMng(bytes);
    if (const auto tiff = RKTiffClaim::read(data)) {
        const qint64 claim = tiff->imageBytes + tiff->largestPart;
        return isWithinLimit(tiff->size.width(), tiff->size.height())
            && (tiff->isCovered || (claim > 0 && claim <= kSmallClaim));
    }

    const bool isGif = bytes.has("GIF8");
    const QSize real = isGif ? size.expandedTo(gifScreen(littleEndian(data))) : size;
    if (!isMeasured(real))
        return true;
    if (!isWithinLimit(real.width(), real.height()))
        return false;

    const qint64 count = pixels(real);
    if (isGif)
        return isBelow(count, kSmallGraphic, data.size(), kGifPixelsPerByte);
    if (bytes.has("\xff\xd8"))
        return canHoldJpeg(data, real);
    if (bytes.has("RIFF"))
        return isBelow(count, kSmallGraphic, data.size(), kWebpPixelsPerByte);
    if (data.size() > 1 && data[0] == 'P' && data[1] >= '1' && data[1] <= '6')
        return canHoldPortableMap(bytes, real);
    if (bytes.has("/* XPM"))
        return count <= data.size();
    if (bytes.has("#define") || bytes.has("/*"))
        return count / kXbmPixelsPerByte <= data.size();
    return isBelow(count, kSmallGraphic, data.size(), kOtherPixelsPerByte);
}

bool RKPictureHeaderCheck::isPlainJpeg(QByteArrayView data)
{
    constexpr quint8 kEndOfImage = 0xd9;
    const RKByteReader bytes(data);
    const qint64 scan = bytes.has("\xff\xd8") ? JpegHeader(data).onlyScan() : 0;
    if (scan == 0)
        return false;
    for (qint64 position = data.indexOf('\xff', scan); position >= 0;
         position = data.indexOf('\xff', position + 2))
    {
        const auto marker = bytes.numberAt<quint8>(position + 1);
        if (marker == kEndOfImage)
            return true;
        if (!marker || (*marker != 0 && !isRestart(*marker)))
            return false;
    }
    return false;
}

bool RKPictureHeaderCheck::hasFewSegments(QIODevice& device)
{
    // ITU-T T.81, B.1.1.4: a marker, and a length that includes itself.
    constexpr qint64 kHeadSize = 4;
    constexpr quint16 kStartOfImage = 0xffd8;
    constexpr quint16 kStartOfScan = 0xffda;
    if (!device.isOpen() && !device.open(QIODevice::ReadOnly))
        return true;
    // Within what the device has buffered, skipping does not ask the system, as seeking does.
    const auto moveBy = [&device](qint64 step) {
        return step < 0 ? device.seek(device.pos() + step) : device.skip(step) == step;
    };
    const qint64 begin = device.pos();
    int count = 0;
    if (RKByteReader(device.peek(2)).numberAt<quint16>(0) == kStartOfImage) {
        qint64 step = 2;
        while (count <= RKImageLimits::kMaxSegments && moveBy(step)) {
            const QByteArray head = device.read(kHeadSize);
            const RKByteReader bytes(head);
            const quint16 marker = bytes.numberAt<quint16>(0).value_or(kStartOfScan);
            if (marker == kStartOfScan || marker < 0xff00)
                break;
            ++count;
            step = 2 + bytes.numberAt<quint16>(2).value_or(0) - kHeadSize;
        }
    }
    device.seek(begin);
    if (count <= RKImageLimits::kMaxSegments)
        return true;
    qCWarning(rkLoad, "Picture refused: it has too many segments");
    return false;
}

qint64 RKPictureHeaderCheck::wholeBytes(const QByteArray& data, const QSize& size)
{
    constexpr qint64 kTrueColor = 4;
    const RKByteReader bytes = littleEndian(data);
    const qint64 count = isMeasured(size) ? pixels(size) : 0;
    if (RKPngChunks::isPng(data))
        return PngHeader(data).imageBytes();
    if (bytes.has("\xff\xd8"))
        return JpegHeader(data).coefficientBytes(count);
    if (const auto tiff = RKTiffClaim::read(data))
        return tiff->imageBytes + tiff->largestPart;
    // The decoder's own copy of a picture without loss, and ours.
    if (bytes.has("RIFF"))
        return 2 * kTrueColor * count;
    if (bytes.has("BM"))
        return count * std::clamp<qint64>(bytes.numberAt<quint16>(28).value_or(32), 1, 32) / 8;
    return kTrueColor * count;
}

bool RKPictureHeaderCheck::canBeHeld(const QByteArray& data, const QSize& size)
{
    using namespace RKImageLimits;
    const qint64 held = wholeBytes(data, size);
    return held <= kMaxReducedClaim
        && (held <= kMaxClaim || held / kMaxClaimPerByte <= data.size());
}

bool RKPictureHeaderCheck::canBeReduced(const QByteArray& data, const QSize& size)
{
    using namespace RKImageLimits;
    const auto tiff = RKTiffClaim::read(data);
    if (!(tiff && tiff->hasPlainRows) && !canBeHeld(data, size))
        return false;
    constexpr qint64 kChannels = 3;
    const qint64 decoded = kChannels * (isMeasured(size) ? pixels(size) : 0);
    return decoded <= kMaxDecoded || decoded / kMaxDecodedPerByte <= data.size();
}
