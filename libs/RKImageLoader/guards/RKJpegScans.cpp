#include "RKImageLoader/files/RKByteReader_p.h"
#include "RKImageLoader/guards/RKJpegScans_p.h"

#include <cstring>

RKJpegScans RKJpegScans::of(QByteArrayView data)
{
    constexpr uchar kStartOfScan = 0xda;
    constexpr uchar kEndOfImage = 0xd9;
    const RKByteReader bytes(data);
    RKJpegScans scans;
    qint64 position = 2;
    while (position < bytes.size()) {
        const void* const found
            = std::memchr(data.data() + position, 0xff, size_t(bytes.size() - position));
        if (!found)
            break;
        position = static_cast<const char*>(found) - data.data() + 1;
        const auto marker = bytes.numberAt<quint8>(position);
        scans.hasEnd = marker == kEndOfImage;
        if (!marker || scans.hasEnd)
            break;
        // Stuffed bytes, fill bytes and restart markers have no segment.
        if (*marker == 0 || *marker == 0xff || (*marker >= 0xd0 && *marker <= 0xd7))
            continue;
        if (*marker == kStartOfScan)
            ++scans.count;
        position += 1 + bytes.numberAt<quint16>(position + 1).value_or(0);
    }
    return scans;
}
