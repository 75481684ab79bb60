#include "RKImageLoader/files/RKByteReader_p.h"
#include "RKImageLoader/files/RKJpegParts_p.h"
#include "RKImageLoader/files/RKPartCollector_p.h"
#include "RKImageLoader/files/RKPhotoshopResources_p.h"
#include "RKImageLoader/files/RKTiffStructure_p.h"
#include "RKImageLoader/files/RKTrailingPreviews_p.h"

#include <algorithm>
#include <limits>
#include <map>

namespace {

using Content = RKImageFileParts::Content;
using Part = RKImageFileParts::Part;
using Parts = QList<Part>;

constexpr qsizetype kMarkerSize = 2;
constexpr qsizetype kLengthSize = 2;
constexpr qsizetype kMaxData = std::numeric_limits<quint16>::max() - kLengthSize;

constexpr quint8 kFill = 0xff;
constexpr quint8 kFirstRestart = 0xd0;
constexpr quint8 kFirstFrame = 0xc0;
constexpr quint8 kEndOfImage = 0xd9;
constexpr quint8 kStartOfScan = 0xda;
constexpr quint8 kApp0 = 0xe0;
constexpr quint8 kApp1 = 0xe1;
constexpr quint8 kApp2 = 0xe2;
constexpr quint8 kApp13 = 0xed;
constexpr quint8 kLastApp = 0xef;

// Fill bytes before a marker, and stray ones, which some programs leave when they shorten a segment
// (Issue_308_odd_make_model.jpg). Where there are more, the segment before was damaged.
constexpr qsizetype kMaxStray = 64 * 1024;

constexpr QByteArrayView kExifName("Exif\0\0", 6);
constexpr QByteArrayView kXmpName("http://ns.adobe.com/xap/1.0/\0", 29);
constexpr QByteArrayView kPhotoshopName("Photoshop 3.0\0", 14);
// ICC.1:2022, B.4: the chunk's number and the number of chunks follow.
constexpr QByteArrayView kIccName("ICC_PROFILE\0", 12);
constexpr qsizetype kIccHeaderSize = 14;

bool hasLength(quint8 marker)
{
    return marker >= kFirstFrame && (marker < kFirstRestart || marker > kEndOfImage);
}

struct Segment
{
    quint8 marker = 0;
    QByteArrayView data;
};

/// A whole segment, with any fill bytes before it.
Segment segmentOf(QByteArrayView bytes)
{
    RKByteReader reader(bytes);
    Segment segment;
    while ((segment.marker = reader.number<quint8>()) == kFill)
        continue;
    if (hasLength(segment.marker))
        segment.data = reader.rest().sliced(std::min(kLengthSize, reader.rest().size()));
    return segment;
}

QByteArrayView dataOf(const QByteArray& bytes, QByteArrayView name)
{
    const QByteArrayView data = segmentOf(bytes).data;
    return data.sliced(std::min(name.size(), data.size()));
}

QByteArray segment(quint8 marker, QByteArrayView name, QByteArrayView data)
{
    const auto length = static_cast<quint16>(kLengthSize + name.size() + data.size());
    return QByteArray(1, static_cast<char>(kFill)) + static_cast<char>(marker)
        + RKByteReader::bytesOf(length) + name.toByteArray() + data;
}

Content contentOf(const Segment& segment)
{
    if (segment.marker == kApp1 && segment.data.startsWith(kExifName))
        return Content::Exif;
    if (segment.marker == kApp1 && segment.data.startsWith(kXmpName))
        return Content::Xmp;
    if (segment.marker == kApp13 && segment.data.startsWith(kPhotoshopName))
        return Content::Iptc;
    if (segment.marker == kApp2 && segment.data.startsWith(kIccName)
        && segment.data.size() >= kIccHeaderSize)
        return Content::Icc;
    return Content::Other;
}

QByteArray nameOf(const Segment& segment)
{
    constexpr qsizetype kMaxName = 28;
    if (segment.marker < kApp0 || segment.marker > kLastApp)
        return "segment 0x" + QByteArray::number(segment.marker, 16);
    QByteArray name = "segment APP" + QByteArray::number(segment.marker - kApp0) + ' ';
    for (const char c : segment.data.first(std::min(kMaxName, segment.data.size()))) {
        if (c <= ' ' || c > '~')
            break;
        name += c;
    }
    return name.trimmed();
}

struct Marker
{
    quint8 code = 0;
    // Where the fill bytes before it begin.
    qsizetype start = 0;
    qsizetype end = 0;
};

/// The first marker after any stray bytes.
std::optional<Marker> nextMarker(QByteArrayView bytes)
{
    for (qsizetype at = 0; (at = bytes.indexOf(char(kFill), at)) >= 0;) {
        Marker marker{0, at, at};
        while (marker.end < bytes.size() && static_cast<quint8>(bytes[marker.end]) == kFill)
            ++marker.end;
        if (marker.end == bytes.size())
            return {};
        marker.code = static_cast<quint8>(bytes[marker.end++]);
        if (marker.code != 0)
            return marker;
        at = marker.end;
    }
    return {};
}

constexpr char kStray[] = "stray bytes";

Part strayPart(QByteArrayView bytes)
{
    return {Content::Other, kStray, {bytes.toByteArray()}, {}};
}

QByteArray sectionOf(const QList<QByteArray>& segments)
{
    QByteArray section;
    for (const QByteArray& bytes : segments)
        section += dataOf(bytes, kPhotoshopName);
    return section;
}

/// The data in as many segments as it takes.
QList<QByteArray> divided(quint8 marker, QByteArrayView name, const QByteArray& data)
{
    QList<QByteArray> segments;
    const qsizetype most = kMaxData - name.size();
    for (qsizetype at = 0; at < data.size(); at += most)
        segments.append(segment(
            marker, name, QByteArrayView(data).sliced(at).first(std::min(most, data.size() - at))));
    return segments;
}

bool isWholeSection(QByteArrayView section)
{
    const RKPhotoshopResources resources(section);
    return resources.rest().isEmpty() && !resources.all().isEmpty()
        && resources.all().constFirst().isPhotoshops;
}

/// The places where a section was divided, in one that replaces it: as far from whichever end is
/// the same. One between the two moves to where the difference starts, inside a resource, so that
/// the segment that follows does not read well by itself.
QList<qsizetype> movedPlaces(
    const QList<qsizetype>& places, QByteArrayView before, QByteArrayView after)
{
    const auto [oldStart, newStart]
        = std::mismatch(before.begin(), before.end(), after.begin(), after.end());
    const qsizetype sameStart = oldStart - before.begin();
    const auto oldEnd = std::mismatch(before.rbegin(),
        std::make_reverse_iterator(oldStart),
        after.rbegin(),
        std::make_reverse_iterator(newStart))
                            .first;
    const qsizetype sameEnd = before.rend() - oldEnd;
    QList<qsizetype> moved;
    for (const qsizetype place : places) {
        const bool isAfter = place > sameStart && place >= sameEnd;
        moved.append(isAfter ? place + after.size() - before.size() : std::min(place, sameStart));
    }
    return moved;
}

constexpr char kMultiPicture[] = "segment APP2 MPF";

qsizetype indexOfMultiPicture(const Parts& parts)
{
    return std::find_if(parts.begin(), parts.end(), [](const Part& part) {
        return part.name == kMultiPicture;
    }) - parts.begin();
}

/// The list of pictures (CIPA DC-007, 5.2.3.3) with something added to the places of further ones,
/// which are counted from this segment, and to the size of the first, whose head this is.
QByteArray withMovedPictures(const QByteArray& bytes, qint64 by, qint64 firstGrowsBy)
{
    constexpr QByteArrayView kName("MPF\0", 4);
    constexpr quint16 kEntries = 0xb002;
    constexpr qint64 kEntrySize = 16;
    constexpr qint64 kSizeInEntry = 4;
    constexpr qint64 kOffsetInEntry = 8;
    const QByteArrayView data = dataOf(bytes, kName);
    const RKTiffStructure tiff(data);
    QByteArray moved = bytes;
    const auto add = [&](qint64 at, qint64 difference) {
        constexpr qint64 kNumbers = std::numeric_limits<quint32>::max();
        const quint32 number = tiff.numberAt(at);
        // That of a picture that isn't there, which no other may become.
        if (number == 0)
            return;
        const qint64 sum = (number - 1 + difference) % kNumbers;
        moved.replace(bytes.size() - data.size() + at,
            sizeof number,
            RKByteReader::bytesOf(
                static_cast<quint32>((sum + kNumbers) % kNumbers + 1), tiff.byteOrder()));
    };
    for (const RKTiffStructure::Entry& entry : tiff.entriesOf(tiff.firstDirectory())) {
        const auto range = tiff.valueRange(entry);
        if (!tiff.isValid() || entry.tag != kEntries || !range)
            continue;
        const auto start = qint64(range->start);
        if (range->size() >= kEntrySize && tiff.numberAt(start + kOffsetInEntry) == 0)
            add(start + kSizeInEntry, firstGrowsBy);
        for (qint64 at = start; at + kOffsetInEntry + qint64(sizeof(quint32)) <= qint64(range->end);
             at += kEntrySize)
            add(at + kOffsetInEntry, by);
    }
    return moved;
}

/// The bytes between a part and the pixels; from the beginning of the file for the part -1.
qint64 bytesAfter(const Parts& parts, qsizetype index)
{
    qint64 bytes = 0;
    for (const Part& part : parts.mid(index + 1))
        bytes += part.piece.bytes.size();
    return bytes;
}

qsizetype indexOfExif(const Parts& parts)
{
    return std::find_if(parts.begin(), parts.end(), [](const Part& part) {
        return part.content == Content::Exif;
    }) - parts.begin();
}

/// From the beginning of an Exif block to the pixels.
qint64 bytesFromExif(const Parts& parts, qsizetype index)
{
    return dataOf(parts[index].piece.bytes, kExifName).size() + bytesAfter(parts, index);
}

QByteArray iccProfileIn(const QList<QByteArray>& segments)
{
    std::map<quint8, QByteArray> chunks;
    quint8 count = 0;
    for (const QByteArray& bytes : segments) {
        RKByteReader reader(dataOf(bytes, kIccName));
        const auto number = reader.number<quint8>();
        count = reader.number<quint8>();
        chunks.emplace(number, reader.rest().toByteArray());
    }
    QByteArray profile;
    if (chunks.empty() || chunks.size() != count || chunks.begin()->first != 1
        || chunks.rbegin()->first != count)
        return profile;
    for (const auto& [number, chunk] : chunks)
        profile += chunk;
    return profile;
}

std::optional<QList<QByteArray>> iccSegments(const QByteArray& profile)
{
    constexpr qsizetype kMaxChunk = kMaxData - kIccHeaderSize;
    const qsizetype count = (profile.size() + kMaxChunk - 1) / kMaxChunk;
    if (count > std::numeric_limits<quint8>::max())
        return {};
    QList<QByteArray> segments;
    for (qsizetype i = 0; i < count; ++i) {
        QByteArray name = kIccName.toByteArray();
        name += static_cast<char>(i + 1);
        name += static_cast<char>(count);
        segments.append(segment(kApp2, name, profile.mid(i * kMaxChunk, kMaxChunk)));
    }
    return segments;
}

} // namespace

bool RKJpegParts::matches(QByteArrayView start) const
{
    return start.startsWith("\xff\xd8\xff");
}

bool RKJpegParts::split(RKPartCollector& file) const
{
    if (!file.addBytes(*this, 0, kMarkerSize))
        return false;
    qint64 at = kMarkerSize;
    for (;;) {
        QByteArrayView rest = file.peek(at, kMarkerSize);
        std::optional<Marker> marker = nextMarker(rest);
        if (!marker) {
            rest = file.peek(at, kMaxStray);
            marker = nextMarker(rest);
        }
        if (!marker)
            return false;
        if (marker->start > 0 && !file.add(strayPart(rest.first(marker->start))))
            return false;
        const qint64 start = at + marker->start;
        if (marker->code == kStartOfScan || marker->code == kEndOfImage)
            return file.addRange("picture", start, file.size() - start);
        at += marker->end;
        if (hasLength(marker->code)) {
            const auto length = RKByteReader(file.peek(at, kLengthSize)).numberAt<quint16>(0);
            if (!length || *length < kLengthSize)
                return false;
            at += *length;
        }
        if (!file.addBytes(*this, start, at - start))
            return false;
    }
}

Part RKJpegParts::partOf(const QByteArray& bytes) const
{
    const Segment segment = segmentOf(bytes);
    return {contentOf(segment), nameOf(segment), {bytes}, {}};
}

bool RKJpegParts::areReadAsWritten(const Parts& parts) const
{
    return std::none_of(
        parts.begin(), parts.end(), [](const Part& part) { return part.name == kStray; });
}

Parts RKJpegParts::withoutPixels(const Parts& parts) const
{
    Parts small = RKImageFileFormat::withoutPixels(parts);
    small.append(partOf("\xff\xd9"));
    return small;
}

Parts RKJpegParts::comparable(const Parts& parts) const
{
    Parts result;
    QList<QByteArray> segments;
    for (const Part& part : parts) {
        if (part.content == Content::Iptc)
            segments.append(part.piece.bytes);
        else
            result.append(part);
    }
    // The places of further pictures, and the end of the first, counted from the end of the
    // segments.
    if (const qsizetype index = indexOfMultiPicture(result); index < result.size()) {
        QByteArray& bytes = result[index].piece.bytes;
        bytes = withMovedPictures(
            bytes, -bytesAfter(parts, indexOfMultiPicture(parts)), -bytesAfter(parts, -1));
    }
    for (const Run& run : iptcRuns(segments)) {
        const QByteArray section = sectionOf(run);
        const RKPhotoshopResources resources(section);
        for (const RKPhotoshopResources::Resource& resource : resources.all()) {
            const bool isIptc
                = resource.isPhotoshops && resource.number == RKPhotoshopResources::kIptc;
            result.append({isIptc ? Content::Iptc : Content::Other,
                "segment APP13 " + RKPhotoshopResources::nameOf(resource),
                {resource.bytes.toByteArray()},
                {}});
        }
        if (!resources.rest().isEmpty())
            result.append({Content::Other, "segment APP13", {resources.rest().toByteArray()}, {}});
    }
    return result;
}

qsizetype RKJpegParts::placeFor(Content content, const Parts& parts) const
{
    // The other pictures' places are counted from that segment.
    return std::min(RKImageFileFormat::placeFor(content, parts), indexOfMultiPicture(parts));
}

qsizetype RKJpegParts::leadingParts(const Parts& parts) const
{
    // JFIF wants to be first.
    qsizetype number = 1;
    while (number < parts.size() && segmentOf(parts[number].piece.bytes).marker == kApp0)
        ++number;
    return number;
}

void RKJpegParts::adjust(Parts& parts, const Parts& before) const
{
    const qsizetype index = indexOfMultiPicture(parts);
    const qsizetype old = indexOfMultiPicture(before);
    if (index == parts.size() || old == before.size())
        return;
    QByteArray& bytes = parts[index].piece.bytes;
    bytes = withMovedPictures(bytes,
        bytesAfter(parts, index) - bytesAfter(before, old),
        bytesAfter(parts, -1) - bytesAfter(before, -1));
}

void RKJpegParts::adjustPreviews(
    Parts& parts, const Parts& before, const RKByteSource& source) const
{
    const qsizetype index = indexOfExif(parts);
    const qsizetype old = indexOfExif(before);
    if (index == parts.size() || old == before.size())
        return;
    const qint64 end = bytesAfter(before, -1);
    const qint64 by = bytesFromExif(parts, index) - bytesFromExif(before, old);
    if (by == 0)
        return;
    QByteArray& bytes = parts[index].piece.bytes;
    const QByteArray block = dataOf(bytes, kExifName).toByteArray();
    bytes.replace(bytes.size() - block.size(),
        block.size(),
        RKTrailingPreviews::moved(block, {source, end - bytesFromExif(before, old), end}, by));
}

QByteArray RKJpegParts::block(Content content, const QList<QByteArray>& parts) const
{
    switch (content) {
    case Content::Exif: return dataOf(parts.constFirst(), kExifName).toByteArray();
    case Content::Xmp: return dataOf(parts.constFirst(), kXmpName).toByteArray();
    case Content::Icc: return iccProfileIn(parts);
    case Content::Iptc:
    case Content::Other: break;
    }
    return {};
}

/// Resources may reach beyond the end of their segment; one that reads well by itself continues no
/// other.
QList<RKJpegParts::Run> RKJpegParts::iptcRuns(const QList<QByteArray>& parts) const
{
    QList<Run> runs;
    QByteArray open;
    for (const QByteArray& bytes : parts) {
        const QByteArrayView data = dataOf(bytes, kPhotoshopName);
        if (open.isEmpty() || isWholeSection(data)) {
            runs.append(Run());
            open.clear();
        }
        runs.last().append(bytes);
        open += data;
        // Copied only after it has become shorter: some have thousands of segments.
        if (const RKPhotoshopResources resources(open); !resources.all().isEmpty())
            open = resources.rest().toByteArray();
    }
    return runs;
}

QByteArrayList RKJpegParts::iptcBlocks(const Run& run) const
{
    return RKPhotoshopResources(sectionOf(run)).data(RKPhotoshopResources::kIptc);
}

std::optional<QList<RKJpegParts::Run>> RKJpegParts::withIptcBlocks(
    const QByteArrayList& blocks, const Run& run) const
{
    const QByteArray before = sectionOf(run);
    const QByteArray after = RKPhotoshopResources(before).with(RKPhotoshopResources::kIptc, blocks);
    QList<qsizetype> places{0};
    for (const QByteArray& bytes : run)
        places.append(places.constLast() + dataOf(bytes, kPhotoshopName).size());
    QList<Run> segments;
    if (run.isEmpty())
        return segments << divided(kApp13, kPhotoshopName, after);
    places = movedPlaces(places, before, after);
    places.last() = after.size();
    for (qsizetype i = 0; i < run.size(); ++i) {
        const QByteArray data = after.mid(places[i], places[i + 1] - places[i]);
        segments.append(data == dataOf(run[i], kPhotoshopName)
                ? Run{run[i]}
                : divided(kApp13, kPhotoshopName, data));
    }
    return segments;
}

std::optional<QList<QByteArray>> RKJpegParts::withBlock(
    Content content, const QByteArray& block, const QList<QByteArray>& parts) const
{
    Q_UNUSED(parts)
    if (content == Content::Icc)
        return iccSegments(block);
    if (block.isEmpty())
        return QList<QByteArray>();
    const QByteArrayView name = content == Content::Exif ? kExifName : kXmpName;
    if (name.size() + block.size() > kMaxData)
        return {};
    return QList<QByteArray>{segment(kApp1, name, block)};
}
