#include "RKImageLoader/files/RKByteReader_p.h"
#include "RKImageLoader/guards/RKJpegScans_p.h"
#include "RKImageLoader/guards/RKPngChunks_p.h"
#include "RKImageLoader/guards/RKTiffClaim_p.h"
#include "RKImageLoader/guards/RKTruncation_p.h"
#include "RKImageLoader/media/RKErrorText_p.h"

#include <algorithm>

namespace {

// ISO/IEC 15444-1, A.4.4. Some writers fill up the file after the marker.
bool hasEndOfCodestream(const RKByteSource& file)
{
    constexpr qint64 kMaxFilling = 64;
    const qint64 size = std::min(kMaxFilling, file.size());
    QByteArray end;
    return file.read(file.size() - size, size, &end) && end.contains("\xff\xd9");
}

/// Of an animation, the first picture is shown and has to be there (GIF89a, 18 to 24).
bool isGifCutOff(QByteArrayView data)
{
    constexpr quint8 kExtension = 0x21;
    constexpr quint8 kPicture = 0x2c;
    const RKByteReader reader(data);
    const auto byteAt = [&](qint64 place) { return reader.numberAt<quint8>(place); };
    const auto tableSize = [&](qint64 flagsPlace) {
        const quint8 flags = byteAt(flagsPlace).value_or(0);
        return flags & 0x80 ? 3LL << ((flags & 7) + 1) : 0;
    };
    qint64 position = 13 + tableSize(10);
    for (;;) {
        const auto block = byteAt(position);
        if (block && *block != kExtension && *block != kPicture)
            return false;
        // The picture's own head ends with the width of its codes.
        position += block == kPicture ? 11 + tableSize(position + 9) : 2;
        quint8 size = 0;
        do {
            const auto found = byteAt(position);
            if (!found)
                return true;
            size = *found;
            position += 1 + size;
        } while (size > 0);
        if (block == kPicture)
            return false;
    }
}

} // namespace

bool RKTruncation::isCutOff(QByteArrayView data)
{
    constexpr qint64 kRiffHead = 8;
    const RKByteReader bytes(data);
    if (bytes.has("\xff\xd8"))
        return isJpegCutOff(data);
    if (RKPngChunks::isPng(data))
        return RKPngChunks::isCutOff(data);
    if (bytes.has("GIF8"))
        return isGifCutOff(data);
    if (bytes.has("RIFF")) {
        const RKByteReader riff(data, QSysInfo::LittleEndian);
        return kRiffHead + riff.numberAt<quint32>(4).value_or(0) > data.size();
    }
    if (const auto tiff = RKTiffClaim::read(data))
        return !tiff->isCovered;
    const RKMemorySource file(QByteArray::fromRawData(data.data(), data.size()));
    return bytes.has("\xff\x4f\xff\x51") ? !hasEndOfCodestream(file) : areBoxesCutOff(file);
}

RKMediaError RKTruncation::reasonForClaim(QByteArrayView data, const QSize& size)
{
    constexpr qint64 kMaxPixelsPerByte = 256;
    if (qint64(size.width()) * size.height() / kMaxPixelsPerByte <= data.size())
        return RKMediaError(RKMediaErrorCode::Truncated);
    return RKMediaError(RKMediaErrorCode::TooLarge,
        RKErrorText::tr("The header promises %1x%2 pixels, more than the file can hold.")
            .arg(size.width())
            .arg(size.height()));
}

bool RKTruncation::isJpegCutOff(QByteArrayView data)
{
    // The markers of what has bytes after its picture, or has lost its end, take longer to find.
    return !data.endsWith("\xff\xd9") && !RKJpegScans::of(data).hasEnd;
}

bool RKTruncation::areBoxesCutOff(const RKByteSource& file)
{
    constexpr quint64 kHeadSize = 8;
    // A head, and the long form of its size.
    constexpr qint64 kLongHeadSize = 16;
    const auto end = quint64(file.size());
    quint64 position = 0;
    QByteArray head;
    while (position + kHeadSize <= end) {
        const qint64 there = std::min(kLongHeadSize, qint64(end - position));
        if (!file.read(qint64(position), there, &head))
            return false;
        const RKByteReader reader(head);
        if (position == 0 && !reader.has("ftyp", 4) && !reader.has("jP  ", 4))
            return false;
        quint64 size = reader.numberAt<quint32>(0).value_or(0);
        // The last box goes up to the end.
        if (size == 0)
            return reader.has("jp2c", 4) && !hasEndOfCodestream(file);
        if (size == 1)
            size = reader.numberAt<quint64>(qint64(kHeadSize)).value_or(0);
        if (size < kHeadSize)
            return false;
        if (size > end - position)
            return true;
        position += size;
    }
    return false;
}
