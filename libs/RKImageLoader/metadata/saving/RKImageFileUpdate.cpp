#include "RKImageLoader/files/RKPhotoshopResources_p.h"
#include "RKImageLoader/files/RKTiffTags_p.h"
#include "RKImageLoader/metadata/exiv2/RKExiv2Library_p.h"
#include "RKImageLoader/metadata/saving/RKImageFileUpdate_p.h"
#include "RKImageLoader/metadata/saving/RKIptcUpdate_p.h"

#include <algorithm>
#include <map>
#include <vector>

using Directory = RKTiffEditor::Directory;
using Tag = RKTiffEditor::Tag;

namespace {

constexpr char kThumbnailGroup[] = "Thumbnail";

const std::map<std::string, Directory>& directories()
{
    static const std::map<std::string, Directory> groups{{"Image", Directory::Image},
        {"Photo", Directory::Photo},
        {"GPSInfo", Directory::GpsInfo},
        {"Iop", Directory::Interoperability}};
    return groups;
}

/// A datum as a tag of a TIFF structure; nullopt for a type that TIFF does not know.
std::optional<Tag> tagOf(const Exiv2::Exifdatum& datum, bool isLittleEndian)
{
    const auto type = datum.typeId();
    if (type < RKTiffType::kByte || type > RKTiffType::kDouble)
        return {};
    return Tag{datum.tag(),
        static_cast<quint16>(type),
        RKImageFamilies::bytesOf(datum, isLittleEndian ? Exiv2::littleEndian : Exiv2::bigEndian)};
}

/// The tags of a group whose number satisfies the condition; nullopt if one has a type that TIFF
/// does not know.
template <typename Condition>
std::optional<QList<Tag>> tagsOf(
    const Exiv2::ExifData& data, const std::string& group, bool isLittleEndian, Condition condition)
{
    QList<Tag> tags;
    for (const Exiv2::Exifdatum& datum : data) {
        if (datum.groupName() != group || RKImageFamilies::isStructural(datum)
            || !condition(datum.tag()))
            continue;
        const auto tag = tagOf(datum, isLittleEndian);
        if (!tag)
            return {};
        tags.append(*tag);
    }
    return tags;
}

template <typename Function>
auto orNothing(Function function) -> decltype(function())
{
    return RKExiv2Library::valueOr(decltype(function())(), function);
}

} // namespace

RKImageFileUpdate::RKImageFileUpdate(
    const RKImageContent& old, const RKImageFamilies& before, const Wanted& wanted)
    : m_old(old)
    , m_before(before)
    , m_wanted(wanted)
    , m_changes(before, wanted.families)
{
}

const RKFamilyChanges& RKImageFileUpdate::changes() const
{
    return m_changes;
}

std::optional<RKImageContent> RKImageFileUpdate::edited() const
{
    return editedWith(RKTiffEditor::Places::Reuse);
}

std::optional<RKImageContent> RKImageFileUpdate::appended() const
{
    return editedWith(RKTiffEditor::Places::Keep);
}

std::optional<RKImageContent> RKImageFileUpdate::editedWith(RKTiffEditor::Places places) const
{
    return orNothing([&]() -> std::optional<RKImageContent> {
        if (const RKImageFileParts* parts = m_old.parts())
            return updatedParts(editedExif(parts->exifBlock(), places));
        if (RKExiv2Compat::isSidecar(m_old.readable()))
            return RKImageContent(QByteArray::fromStdString(m_wanted.xmpPacket));
        const auto file = editedTiff(places);
        return file ? std::optional(m_old.with(*file)) : std::nullopt;
    });
}

std::optional<RKImageContent> RKImageFileUpdate::encoded() const
{
    return orNothing([&]() -> std::optional<RKImageContent> {
        if (const RKImageFileParts* parts = m_old.parts())
            return updatedParts(encodedExif(parts->exifBlock()));
        return m_old.bytes().holes().empty() ? encodedTiff() : std::nullopt;
    });
}

/// The file with that Exif block and with the other families changed.
std::optional<RKImageContent> RKImageFileUpdate::updatedParts(
    const std::optional<QByteArray>& exif) const
{
    RKImageFileParts parts = *m_old.parts();
    if (m_changes.hasExifChanged() && (!exif || !parts.setExifBlock(*exif)))
        return {};
    if (m_changes.hasIptcChanged()) {
        const auto iptc = RKIptcUpdate::updatedBlocks(
            parts.iptcBlocks(), m_before.iptc, m_wanted.families.iptc);
        if (!iptc || !parts.setIptcBlocks(*iptc))
            return {};
    }
    if (!m_changes.xmpProperties().empty()
        && !parts.setXmpPacket(QByteArray::fromStdString(m_wanted.xmpPacket)))
        return {};
    if (!m_wanted.iccProfile.isEmpty() && !parts.setIccProfile(m_wanted.iccProfile))
        return {};
    return RKImageContent(parts);
}

std::optional<QByteArray> RKImageFileUpdate::editedExif(
    const QByteArray& structure, RKTiffEditor::Places places) const
{
    RKTiffEditor editor(structure, places);
    if (!editor.isValid() || !editTags(editor) || !editThumbnail(editor))
        return {};
    return editor.structure().array();
}

std::optional<QByteArray> RKImageFileUpdate::encodedExif(const QByteArray& structure) const
{
    const auto order = structure.startsWith("MM") ? Exiv2::bigEndian : Exiv2::littleEndian;
    Exiv2::Blob blob;
    const auto method = RKExiv2Compat::encodeExif(blob, structure, order, m_wanted.families.exif);
    // Only values of the same size have changed, in place.
    if (method == Exiv2::wmNonIntrusive)
        return structure;
    return QByteArray(
        reinterpret_cast<const char*>(blob.data()), static_cast<qsizetype>(blob.size()));
}

std::optional<RKImageContent> RKImageFileUpdate::encodedTiff() const
{
    // exiv2 writes into the bytes that it has opened.
    const QByteArray copy(m_old.readable().constData(), m_old.readable().size());
    const RKExiv2ImagePtr image = RKExiv2Compat::openMemory(copy);
    if (!RKExiv2Compat::isTiffBased(*image))
        return {};
    image->readMetadata();
    image->setExifData(m_wanted.families.exif);
    image->setIptcData(m_wanted.families.iptc);
    image->setXmpData(m_wanted.families.xmp);
    if (!m_wanted.xmpPacket.empty())
        RKExiv2Compat::setXmpPacket(*image, m_wanted.xmpPacket);
    image->writeMetadata();
    Exiv2::BasicIo& io = image->io();
    io.open();
    io.seek(0, Exiv2::BasicIo::beg);
    const QByteArray file = RKExiv2Compat::toByteArray(io.read(static_cast<long>(io.size())));
    io.close();
    return RKImageContent(file);
}

std::optional<RKSparseBytes> RKImageFileUpdate::editedTiff(RKTiffEditor::Places places) const
{
    RKTiffEditor editor(m_old.bytes(), places);
    if (!editor.isValid() || !editTags(editor) || !editThumbnail(editor))
        return {};
    if (m_changes.hasIptcChanged() && !editIptc(editor))
        return {};
    // Last, so that a longer packet can take the place of the one before at the file's end.
    if (!m_changes.xmpProperties().empty() && !editXmp(editor))
        return {};
    return editor.structure();
}

/// Makes the changed tags those of the wanted data.
bool RKImageFileUpdate::editTags(RKTiffEditor& editor) const
{
    std::map<std::string, std::set<quint16>> changed;
    for (const auto& [group, number] : m_changes.exifTags())
        changed[group].insert(number);
    for (const auto& [group, numbers] : changed) {
        if (group == kThumbnailGroup)
            continue;
        const auto directory = directories().find(group);
        // Maker notes, and further pictures.
        if (directory == directories().end())
            return false;
        const auto set = tagsOf(m_wanted.families.exif,
            group,
            editor.isLittleEndian(),
            [&numbers = numbers](quint16 number) { return numbers.count(number) != 0; });
        if (!set)
            return false;
        QList<quint16> removed;
        for (const quint16 number : numbers) {
            if (std::none_of(set->begin(), set->end(), [number](const Tag& tag) {
                    return tag.number == number;
                }))
                removed.append(number);
        }
        if (!editor.change(directory->second, *set, removed))
            return false;
    }
    return true;
}

bool RKImageFileUpdate::editThumbnail(RKTiffEditor& editor) const
{
    if (!m_changes.hasThumbnailChanged())
        return true;
    if (!m_wanted.families.hasThumbnailDirectory())
        return editor.removeThumbnail();
    const auto tags = tagsOf(
        m_wanted.families.exif, kThumbnailGroup, editor.isLittleEndian(), [](quint16 number) {
            return number != RKTiffTag::kJpegOffset && number != RKTiffTag::kJpegSize;
        });
    const QByteArray jpeg = m_wanted.families.thumbnail();
    return tags && !jpeg.isEmpty() && editor.setThumbnail(*tags, jpeg);
}

bool RKImageFileUpdate::editXmp(RKTiffEditor& editor) const
{
    QByteArray packet = QByteArray::fromStdString(m_wanted.xmpPacket);
    const Tag old = editor.tag(RKTiffTag::kXmp).value_or(Tag());
    // Blanks before its end let a packet keep its place (ISO 16684-1, 7.3.2).
    const qsizetype end = packet.lastIndexOf("<?xpacket end");
    if (packet.size() < old.value.size() && end >= 0)
        packet.insert(end, QByteArray(old.value.size() - packet.size(), ' '));
    const quint16 type
        = old.type == RKTiffType::kUndefined ? RKTiffType::kUndefined : RKTiffType::kByte;
    return editor.change(Directory::Image, {{RKTiffTag::kXmp, type, packet}}, {});
}

bool RKImageFileUpdate::editIptc(RKTiffEditor& editor) const
{
    const auto old = editor.tag(RKTiffTag::kIptc);
    const Tag tag = editor.tag(RKTiffTag::kPhotoshop).value_or(Tag());
    const RKPhotoshopResources resources(tag.value);
    // A copy, which some programs read instead.
    const QByteArrayList copies = resources.data(RKPhotoshopResources::kIptc);
    QList<Tag> set;
    if (!copies.isEmpty()) {
        const auto changed
            = RKIptcUpdate::updatedBlocks(copies, m_before.iptc, m_wanted.families.iptc);
        if (!changed)
            return false;
        set.append({RKTiffTag::kPhotoshop,
            tag.type,
            resources.with(RKPhotoshopResources::kIptc, *changed)});
    }
    // A tag of its own would hide what is there only.
    if (!old && !copies.isEmpty())
        return editor.change(Directory::Image, set, {});
    const auto block
        = RKIptcUpdate::updated(old.value_or(Tag()).value, m_before.iptc, m_wanted.families.iptc);
    if (!block)
        return false;
    if (block->isEmpty())
        return editor.change(Directory::Image, set, {RKTiffTag::kIptc});
    set.prepend({RKTiffTag::kIptc, RKTiffType::kUndefined, *block});
    return editor.change(Directory::Image, set, {});
}
