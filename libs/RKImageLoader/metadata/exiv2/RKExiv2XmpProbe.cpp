#include "RKImageLoader/files/RKTiffStructure_p.h"
#include "RKImageLoader/files/RKTiffTags_p.h"
#include "RKImageLoader/metadata/exiv2/RKExiv2XmpProbe_p.h"

#include <algorithm>

namespace {

constexpr quint8 kMarker = 0xff;
constexpr quint8 kApp1 = 0xe1;
constexpr quint8 kStartOfFrame = 0xc0;
constexpr quint8 kFirstRestart = 0xd0;
constexpr quint8 kStartOfImage = 0xd8;
constexpr quint8 kEndOfImage = 0xd9;
constexpr quint8 kStartOfScan = 0xda;
constexpr int kMarkerSize = 2;
constexpr int kLengthSize = 2;

/// Fill bytes, and markers that no length follows (ISO/IEC 10918-1, B.1.1.3).
bool hasNoLength(quint8 marker)
{
    return marker < kStartOfFrame || (marker >= kFirstRestart && marker <= kStartOfImage)
        || marker == kMarker;
}

/// The main directory of an Exif block has a tag with XMP, which exiv2 decodes, or cannot be
/// followed.
bool mayHaveXmpTag(const QByteArray& exif)
{
    const RKTiffStructure tiff(exif);
    if (!tiff.isValid())
        return true;
    const auto entries = tiff.entriesOf(tiff.firstDirectory());
    return std::any_of(entries.begin(), entries.end(), [](const RKTiffStructure::Entry& entry) {
        return entry.tag == RKTiffTag::kXmp;
    });
}

/// The segments of an opened JPEG before its first scan have XMP, or cannot be followed.
bool mayHaveXmpSegment(Exiv2::BasicIo& io)
{
    const QByteArray exifName("Exif\0\0", 6);
    const auto bytes = [&io](int size) { return RKExiv2Compat::toByteArray(io.read(size)); };

    if (bytes(kMarkerSize) != "\xff\xd8")
        return true;
    for (;;) {
        const QByteArray start = bytes(kMarkerSize);
        if (start.size() != kMarkerSize || quint8(start[0]) != kMarker)
            return true;
        const auto marker = quint8(start[1]);
        if (marker == kStartOfScan || marker == kEndOfImage)
            return false;
        const QByteArray length = bytes(kLengthSize);
        if (hasNoLength(marker) || length.size() != kLengthSize)
            return true;
        const int size = RKByteReader(length).number<quint16>() - kLengthSize;
        if (size < 0)
            return true;
        if (marker == kApp1) {
            const QByteArray data = bytes(size);
            if (!data.startsWith(exifName) || mayHaveXmpTag(data.mid(exifName.size())))
                return true;
        } else if (io.seek(size, Exiv2::BasicIo::cur) != 0) {
            return true;
        }
    }
}

} // namespace

bool RKExiv2XmpProbe::mayHaveXmp(Exiv2::Image& image)
{
    Exiv2::BasicIo& io = image.io();
    if (image.imageType() != Exiv2::ImageType::jpeg || io.open() != 0)
        return true;
    const Exiv2::IoCloser closer(io);
    return mayHaveXmpSegment(io);
}
