// A TIFF structure, as a file or as an Exif block: read, and tags of a directory and the thumbnail
// changed in it. The first two bytes choose these, the rest is the structure, as in the inputs of
// Save.
#include "Fuzzing.h"
#include "RKImageLoader/files/RKByteRanges_p.h"
#include "RKImageLoader/files/RKByteSource_p.h"
#include "RKImageLoader/files/RKTiffComparison_p.h"
#include "RKImageLoader/files/RKTiffEditor_p.h"
#include "RKImageLoader/files/RKTiffSkeleton_p.h"
#include "RKImageLoader/files/RKTiffStructure_p.h"
#include "RKImageLoader/files/RKTiffTags_p.h"

#include <algorithm>

namespace {

using Directory = RKTiffEditor::Directory;

constexpr quint16 kAsciiType = 2;
// In every directory, and nothing that leads anywhere.
constexpr quint16 kImageDescription = 0x010e;

struct Place
{
    Directory directory;
    const char* path;
};

constexpr Place kPlaces[] = {{Directory::Image, "IFD0"},
    {Directory::Photo, "IFD0/Exif"},
    {Directory::GpsInfo, "IFD0/GPS"},
    {Directory::Interoperability, "IFD0/Exif/Iop"}};

void readAll(const QByteArray& file)
{
    const RKTiffStructure structure(file);
    const auto directories = structure.directories();
    if (!directories)
        return;
    for (const RKTiffStructure::Directory& directory : *directories) {
        structure.pixelsOf(directory);
        for (const RKTiffStructure::Entry& entry : directory.entries) {
            const auto range = structure.valueRange(entry);
            if (range && (range->start > range->end || range->end > quint64(file.size())))
                qFatal("a value lies outside");
            structure.numbersOf(entry);
        }
    }
}

/// The directory is the last of its chain, or the next one is none of those before.
bool leadsOn(const RKTiffStructure& structure, quint32 place, const RKByteRanges::List& before)
{
    const quint32 next = structure.directoryAfter(place);
    return structure.numberAt(structure.endOfEntries(place)) == 0
        || (next != 0 && !RKByteRanges::overlap(before, {next, quint64(next) + 1}));
}

/// No value and no picture covers the header or a directory, no two directories overlap, none leads
/// back to one before, and no directory or value reaches beyond the end. What does would change
/// with the others, or come to lie inside as the file grows, which savers notice by the same
/// comparison.
bool isOrderly(const QByteArray& file)
{
    const RKTiffStructure structure(file);
    RKByteRanges::List fixed = {{0, 8}};
    RKByteRanges::List others;
    const auto directories = structure.directories();
    for (const auto& directory :
        directories ? *directories : std::vector<RKTiffStructure::Directory>()) {
        const quint32 end = structure.endOfEntries(directory.place);
        const RKByteRange own{directory.place, quint64(end) + RKTiffStructure::kNextSize};
        if (RKByteRanges::overlap(fixed, own))
            return false;
        fixed.push_back(own);
        fixed = RKByteRanges::united(std::move(fixed));
        if (!leadsOn(structure, directory.place, fixed))
            return false;
        const auto pixels = structure.pixelsOf(directory);
        others.insert(others.end(), pixels.begin(), pixels.end());
        for (const RKTiffStructure::Entry& entry : directory.entries) {
            const auto range = structure.valueRange(entry);
            if (!range && RKTiffType::sizeOf(entry.type) != 0)
                return false;
            if (range && !structure.isInField(entry))
                others.push_back(*range);
            const auto places = structure.numbersOf(entry);
            if (RKTiffStructure::isPointer(entry.tag)
                && !std::all_of(places.begin(), places.end(), [&structure](quint32 place) {
                       return place == 0 || structure.hasDirectoryAt(place);
                   }))
                return false;
        }
    }
    return std::none_of(others.begin(), others.end(), [&fixed](const RKByteRange& range) {
        return RKByteRanges::overlap(fixed, range);
    });
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    if (size < 2)
        return 0;
    const QByteArray file = quietInput(bytes + 2, size - 2);
    readAll(file);

    const auto sparse = RKTiffSkeleton::read(RKMemorySource(file));
    if (!sparse || sparse->size() != file.size())
        qFatal("read without pixels, the file has another size");
    RKTiffEditor editor(
        *sparse, bytes[0] & 0x80 ? RKTiffEditor::Places::Keep : RKTiffEditor::Places::Reuse);
    const Place place = kPlaces[bytes[0] % std::size(kPlaces)];
    const QByteArray text(bytes[1], 'x');
    if (!editor.change(place.directory, {{kImageDescription, kAsciiType, text}}, {})) {
        if (editor.structure().array() != sparse->array())
            qFatal("a refused change has changed the structure");
        return 0;
    }
    if (place.directory == Directory::Image && editor.tag(kImageDescription)->value != text)
        qFatal("the new value is another one");
    const QStringList differences = RKTiffComparison::differences(
        *sparse, editor.structure(), {{place.path, kImageDescription}});
    if (sparse->holes().empty() && !differences.isEmpty() && isOrderly(file))
        qFatal("%s has changed, too", qPrintable(differences.first()));
    if (editor.setThumbnail({}, QByteArray("\xff\xd8\xff\xd9", 4)))
        editor.removeThumbnail();
    readAll(editor.structure().array());
    return 0;
}
