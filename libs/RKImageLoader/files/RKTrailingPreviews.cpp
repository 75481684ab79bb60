#include "RKImageLoader/files/RKTiffStructure_p.h"
#include "RKImageLoader/files/RKTiffTags_p.h"
#include "RKImageLoader/files/RKTrailingPreviews_p.h"

#include <algorithm>
#include <array>
#include <optional>
#include <vector>

namespace {

constexpr quint32 kNumber = sizeof(quint32);
// Of Minolta, Canon and Sony, whose directory comes after a name. Sony puts a header before the
// JPEG.
constexpr std::array<quint16, 3> kTags = {0x0088, 0x00b6, 0x2001};
constexpr quint32 kSonyDirectory = 12;
constexpr qint64 kSonyHeader = 32;
// After the first byte of the JPEG, which Minolta and Sony change. Pixels never look like these.
constexpr std::array kStarts = {"\xd8\xff\xdb", "\xd8\xff\xe0", "\xd8\xff\xe1"};

std::optional<RKByteRange> makerNoteIn(const RKTiffStructure& tiff)
{
    for (const RKTiffStructure::Directory& directory :
        tiff.directories().value_or(std::vector<RKTiffStructure::Directory>()))
    {
        for (const RKTiffStructure::Entry& entry : directory.entries) {
            if (directory.path == "IFD0/Exif" && entry.tag == RKTiffTag::kMakerNote)
                return tiff.valueRange(entry);
        }
    }
    return {};
}

/// Where numbers stand in a maker note that may be places of previews.
std::vector<quint64> numbersIn(const RKTiffStructure& tiff, const RKByteRange& note)
{
    const bool isSony = RKByteReader(tiff.bytes()).has("SONY", qint64(note.start));
    std::vector<quint64> places;
    for (const RKTiffStructure::Entry& entry :
        tiff.entriesOf(static_cast<quint32>(note.start) + (isSony ? kSonyDirectory : 0)))
    {
        if (std::find(kTags.begin(), kTags.end(), entry.tag) == kTags.end())
            continue;
        // Sony's value is the preview itself.
        const RKByteRange value
            = tiff.valueRange(entry).value_or(RKByteRange{entry.field, entry.field + kNumber});
        for (quint64 at = value.start;
             at >= note.start && at + kNumber <= value.end && value.end <= note.end;
             at += kNumber)
            places.push_back(at);
    }
    return places;
}

bool isPreview(const RKByteSource& source, qint64 place)
{
    const auto isStart = [&source](qint64 at) {
        QByteArray bytes;
        return source.read(at + 1, 3, &bytes)
            && std::find(kStarts.begin(), kStarts.end(), bytes) != kStarts.end();
    };
    return isStart(place) || isStart(place + kSonyHeader);
}

} // namespace

QByteArray RKTrailingPreviews::moved(const QByteArray& block, const File& file, qint64 by)
{
    const RKTiffStructure tiff(block);
    const RKByteRange note = makerNoteIn(tiff).value_or(RKByteRange());
    QByteArray changed = block;
    for (const quint64 at : numbersIn(tiff, note)) {
        const quint32 number = tiff.numberAt(qint64(at));
        const qint64 place = file.block + number;
        if (place >= file.end && isPreview(file.source, place)) {
            changed.replace(qsizetype(at),
                kNumber,
                RKByteReader::bytesOf(static_cast<quint32>(number + by), tiff.byteOrder()));
        }
    }
    return changed;
}
