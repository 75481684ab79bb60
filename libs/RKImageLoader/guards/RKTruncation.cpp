#include "RKImageLoader/files/RKByteReader_p.h"
#include "RKImageLoader/guards/RKJpegScans_p.h"
#include "RKImageLoader/guards/RKPngChunks_p.h"
#include "RKImageLoader/guards/RKTiffClaim_p.h"
#include "RKImageLoader/guards/RKTruncation_p.h"
#include "RKImageLoader/media/RKErrorText_p.h"

bool RKTruncation::isCutOff(QByteArrayView data)
{
    constexpr qint64 kRiffHead = 8;
    const RKByteReader bytes(data);
    if (bytes.has("\xff\xd8"))
        return isJpegCutOff(data);
    if (RKPngChunks::isPng(data))
        return RKPngChunks::isCutOff(data);
    if (bytes.has("RIFF")) {
        const RKByteReader riff(data, QSysInfo::LittleEndian);
        return kRiffHead + riff.numberAt<quint32>(4).value_or(0) > data.size();
    }
    if (bytes.has("ftyp", 4) || bytes.has("jP  ", 4))
        return areBoxesCutOff(data);
    const auto tiff = RKTiffClaim::read(data);
    return tiff && !tiff->isCovered;
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

// ISO/IEC 14496-12, 4.2; the boxes of JPEG 2000 are the same.
bool RKTruncation::areBoxesCutOff(QByteArrayView data)
{
    constexpr quint64 kHeadSize = 8;
    const RKByteReader bytes(data);
    const auto end = quint64(data.size());
    quint64 position = 0;
    while (position + kHeadSize <= end) {
        quint64 size = bytes.numberAt<quint32>(qint64(position)).value_or(0);
        // The last box goes up to the end.
        if (size == 0)
            return false;
        if (size == 1)
            size = bytes.numberAt<quint64>(qint64(position + kHeadSize)).value_or(0);
        if (size < kHeadSize)
            return false;
        if (size > end - position)
            return true;
        position += size;
    }
    return false;
}
