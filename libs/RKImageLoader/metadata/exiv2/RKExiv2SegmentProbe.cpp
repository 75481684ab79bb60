#include "RKImageLoader/files/RKPhotoshopResources_p.h"
#include "RKImageLoader/files/RKTiffStructure_p.h"
#include "RKImageLoader/files/RKTiffTags_p.h"
#include "RKImageLoader/metadata/exiv2/RKExiv2SegmentProbe_p.h"

#include <algorithm>

namespace {

constexpr quint8 kMarker = 0xff;
constexpr quint8 kApp1 = 0xe1;
constexpr quint8 kApp13 = 0xed;
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

bool skip(Exiv2::BasicIo& io, int size)
{
    // Every seek asks the system, and reads a block again.
    constexpr int kMinSought = 4096;
    return size < kMinSought ? RKExiv2Compat::read(io, size).size() == size
                             : io.seek(size, Exiv2::BasicIo::cur) == 0;
}

qsizetype iptcBlocksIn(QByteArrayView section)
{
    const RKPhotoshopResources resources(section);
    const auto& all = resources.all();
    return std::count_if(all.begin(), all.end(), [](const auto& resource) {
        return resource.isPhotoshops && resource.number == RKPhotoshopResources::kIptc;
    });
}

} // namespace

RKExiv2SegmentProbe::RKExiv2SegmentProbe(Exiv2::Image& image)
{
    Exiv2::BasicIo& io = image.io();
    if (image.imageType() != Exiv2::ImageType::jpeg || io.open() != 0)
        return;
    const Exiv2::IoCloser closer(io);
    readSegments(io);
}

bool RKExiv2SegmentProbe::mayHaveXmp() const
{
    return m_mayHaveXmp;
}

bool RKExiv2SegmentProbe::hasSeveralPhotoshopSegments() const
{
    return m_photoshopSegments > 1;
}

bool RKExiv2SegmentProbe::mayHaveSeveralIptcBlocks() const
{
    return !m_isComplete || hasSeveralPhotoshopSegments() || m_iptcBlocks > 1;
}

/// Up to the first scan, or to one that cannot be followed.
void RKExiv2SegmentProbe::readSegments(Exiv2::BasicIo& io)
{
    const QByteArray exifName("Exif\0\0", 6);
    const QByteArray photoshopName("Photoshop 3.0\0", 14);
    const auto bytes = [&io](int size) { return RKExiv2Compat::read(io, size); };

    bool hasXmp = false;
    if (bytes(kMarkerSize) != "\xff\xd8")
        return;
    for (;;) {
        const QByteArray start = bytes(kMarkerSize);
        if (start.size() != kMarkerSize || quint8(start[0]) != kMarker)
            return;
        const auto marker = quint8(start[1]);
        if (marker == kStartOfScan || marker == kEndOfImage) {
            m_mayHaveXmp = hasXmp;
            m_isComplete = true;
            return;
        }
        const QByteArray length = bytes(kLengthSize);
        if (hasNoLength(marker) || length.size() != kLengthSize)
            return;
        int rest = RKByteReader(length).number<quint16>() - kLengthSize;
        if (rest < 0)
            return;
        if (marker == kApp1 && !hasXmp) {
            const QByteArray data = bytes(rest);
            rest = 0;
            hasXmp = !data.startsWith(exifName) || mayHaveXmpTag(data.mid(exifName.size()));
        } else if (marker == kApp13 && rest >= photoshopName.size()) {
            const QByteArray data = bytes(rest);
            rest = 0;
            if (data.startsWith(photoshopName)) {
                ++m_photoshopSegments;
                m_iptcBlocks += iptcBlocksIn(QByteArrayView(data).sliced(photoshopName.size()));
            }
        }
        if (!skip(io, rest))
            return;
    }
}
