#include "RKImageLoader/files/RKImageFileParts_p.h"
#include "RKImageLoader/files/RKTiffTags_p.h"
#include "RKImageLoader/metadata/exiv2/RKExiv2Library_p.h"
#include "RKImageLoader/metadata/saving/RKImageFileUpdate_p.h"

#include <algorithm>
#include <map>
#include <string>
#include <vector>

using Content = RKImageFileParts::Content;
using Directory = RKTiffEditor::Directory;
using Tag = RKTiffEditor::Tag;

namespace {

struct Group
{
    const char* name;
    Directory directory;
};

constexpr Group kGroups[] = {{"Image", Directory::Image},
    {"Photo", Directory::Photo},
    {"GPSInfo", Directory::GpsInfo},
    {"Iop", Directory::Interoperability}};

constexpr char kThumbnailGroup[] = "Thumbnail";

/// Tags that tell places in the file, and those of other families: exiv2 lists them, but their
/// values follow from elsewhere.
bool isStructural(const Exiv2::Exifdatum& datum)
{
    switch (datum.tag()) {
    case RKTiffTag::kSubDirectories:
    case RKTiffTag::kXmp:
    case RKTiffTag::kIptc:
    case RKTiffTag::kPhotoshop:
    case RKTiffTag::kExifDirectory:
    case RKTiffTag::kGpsDirectory: return datum.groupName() == "Image";
    case RKTiffTag::kInteroperabilityDirectory:
    case RKTiffTag::kMakerNote: // exiv2 lists its contents.
        return datum.groupName() == "Photo";
    default: return false;
    }
}

QByteArray bytesOf(const Exiv2::Exifdatum& datum, Exiv2::ByteOrder order)
{
    QByteArray bytes(RKExiv2Compat::size(datum), Qt::Uninitialized);
    datum.copy(reinterpret_cast<Exiv2::byte*>(bytes.data()), order);
    return bytes;
}

QByteArray thumbnailOf(const Exiv2::ExifData& data)
{
    const auto datum = data.findKey(Exiv2::ExifKey("Exif.Thumbnail.JPEGInterchangeFormat"));
    return datum == data.end() ? QByteArray() : RKExiv2Compat::toByteArray(datum->dataArea());
}

/// A datum as far as a file can hold it.
struct Item
{
    std::string key;
    int type;
    QByteArray bytes;

    bool operator==(const Item& other) const
    {
        return key == other.key && type == other.type && bytes == other.bytes;
    }
};

/// Only among data of one key does the order count.
void sortByKey(std::vector<Item>& items)
{
    std::stable_sort(items.begin(), items.end(), [](const Item& left, const Item& right) {
        return left.key < right.key;
    });
}

std::vector<Item> itemsOf(const Exiv2::ExifData& data, const std::string& group)
{
    std::vector<Item> items;
    for (const Exiv2::Exifdatum& datum : data) {
        if ((group.empty() || datum.groupName() == group) && !isStructural(datum))
            items.push_back({datum.key(), datum.typeId(), bytesOf(datum, Exiv2::littleEndian)});
    }
    sortByKey(items);
    return items;
}

Item textOf(const Exiv2::Metadatum& datum)
{
    return {datum.key(), datum.typeId(), QByteArray::fromStdString(datum.toString())};
}

template <typename Data>
std::vector<Item> textsOf(const Data& data)
{
    std::vector<Item> items;
    for (const auto& datum : data)
        items.push_back(textOf(datum));
    sortByKey(items);
    return items;
}

bool isSame(const Exiv2::ExifData& left, const Exiv2::ExifData& right)
{
    return itemsOf(left, {}) == itemsOf(right, {}) && thumbnailOf(left) == thumbnailOf(right);
}

template <typename Data>
bool isSame(const Data& left, const Data& right)
{
    return textsOf(left) == textsOf(right);
}

using Datums = std::map<quint16, std::vector<const Exiv2::Exifdatum*>>;

Datums datumsOf(const Exiv2::ExifData& data, const char* group)
{
    Datums datums;
    for (const Exiv2::Exifdatum& datum : data) {
        if (datum.groupName() == group && !isStructural(datum))
            datums[datum.tag()].push_back(&datum);
    }
    return datums;
}

/// A datum as a tag of a TIFF structure; nothing for a type that TIFF does not know.
std::optional<Tag> tagOf(const Exiv2::Exifdatum& datum, bool isLittleEndian)
{
    const auto type = datum.typeId();
    if (type < RKTiffType::kByte || type > RKTiffType::kDouble)
        return {};
    return Tag{datum.tag(),
        static_cast<quint16>(type),
        bytesOf(datum, isLittleEndian ? Exiv2::littleEndian : Exiv2::bigEndian)};
}

bool isSame(const std::vector<const Exiv2::Exifdatum*>& left,
    const std::vector<const Exiv2::Exifdatum*>& right)
{
    return std::equal(left.begin(),
        left.end(),
        right.begin(),
        right.end(),
        [](const Exiv2::Exifdatum* one, const Exiv2::Exifdatum* other) {
            return one->typeId() == other->typeId()
                && bytesOf(*one, Exiv2::littleEndian) == bytesOf(*other, Exiv2::littleEndian);
        });
}

/// Makes the tags of one directory those of the data.
bool editDirectory(RKTiffEditor& editor,
    const Group& group,
    const Exiv2::ExifData& before,
    const Exiv2::ExifData& after)
{
    const Datums old = datumsOf(before, group.name);
    const Datums wanted = datumsOf(after, group.name);
    QList<Tag> set;
    QList<quint16> removed;
    for (const auto& [number, datums] : wanted) {
        const auto known = old.find(number);
        if (known != old.end() && isSame(known->second, datums))
            continue;
        const auto tag = tagOf(*datums.front(), editor.isLittleEndian());
        if (!tag || datums.size() > 1)
            return false;
        set.append(*tag);
    }
    for (const auto& [number, datums] : old) {
        if (wanted.find(number) == wanted.end())
            removed.append(number);
    }
    return (set.isEmpty() && removed.isEmpty()) || editor.change(group.directory, set, removed);
}

bool isEditable(const std::string& group)
{
    return group == kThumbnailGroup
        || std::any_of(std::begin(kGroups), std::end(kGroups), [&group](const Group& editable) {
               return group == editable.name;
           });
}

/// The data of groups that this cannot edit, maker notes and further pictures, are the same.
bool haveSameFixedGroups(const Exiv2::ExifData& before, const Exiv2::ExifData& after)
{
    const auto fixed = [](const Exiv2::ExifData& data) {
        Exiv2::ExifData found;
        for (const Exiv2::Exifdatum& datum : data) {
            if (!isEditable(datum.groupName()))
                found.add(datum);
        }
        return itemsOf(found, {});
    };
    return fixed(before) == fixed(after);
}

RKExiv2ImagePtr opened(const QByteArray& file)
{
    RKExiv2ImagePtr image = RKExiv2Compat::openMemory(file);
    image->readMetadata();
    return image;
}

} // namespace

RKImageFamilies RKImageFamilies::of(Exiv2::Image& image)
{
    return {image.exifData(),
        image.iptcData(),
        image.xmpData(),
        image.writeXmpFromPacket() ? image.xmpPacket() : std::string()};
}

void RKImageFamilies::addChangesToXmp(Exiv2::Image& image) const
{
    const auto changes = [](const auto& before, const auto& after) {
        const auto old = textsOf(before);
        std::decay_t<decltype(after)> changed;
        for (const auto& datum : after) {
            const Item item = textOf(datum);
            if (std::find(old.begin(), old.end(), item) == old.end())
                changed.add(datum);
        }
        return changed;
    };
    Exiv2::copyExifToXmp(changes(exif, image.exifData()), image.xmpData());
    Exiv2::copyIptcToXmp(changes(iptc, image.iptcData()), image.xmpData());
}

bool RKImageFamilies::hasSameExif(Exiv2::Image& image) const
{
    return isSame(exif, image.exifData());
}

RKImageFileUpdate::RKImageFileUpdate(
    const QByteArray& file, const RKImageFamilies& before, const RKImageFamilies& after)
    : m_file(file)
    , m_before(before)
    , m_after(after)
    , m_hasExifChanged(!isSame(before.exif, after.exif))
    , m_hasIptcChanged(!isSame(before.iptc, after.iptc))
    , m_hasXmpChanged(!isSame(before.xmp, after.xmp))
{
}

void RKImageFileUpdate::setIccProfile(const QByteArray& profile)
{
    m_iccProfile = profile;
}

bool RKImageFileUpdate::editThumbnail(RKTiffEditor& editor) const
{
    const bool isUnchanged
        = itemsOf(m_before.exif, kThumbnailGroup) == itemsOf(m_after.exif, kThumbnailGroup)
        && thumbnailOf(m_before.exif) == thumbnailOf(m_after.exif);
    if (isUnchanged)
        return true;
    if (itemsOf(m_after.exif, kThumbnailGroup).empty())
        return editor.removeThumbnail();

    QList<Tag> tags;
    for (const auto& [number, datums] : datumsOf(m_after.exif, kThumbnailGroup)) {
        const auto tag = tagOf(*datums.front(), editor.isLittleEndian());
        if (!tag || datums.size() > 1)
            return false;
        if (number != RKTiffTag::kJpegOffset && number != RKTiffTag::kJpegSize)
            tags.append(*tag);
    }
    const QByteArray jpeg = thumbnailOf(m_after.exif);
    return !jpeg.isEmpty() && editor.setThumbnail(tags, jpeg);
}

bool RKImageFileUpdate::editExif(RKTiffEditor& editor) const
{
    if (!editor.isValid() || !haveSameFixedGroups(m_before.exif, m_after.exif))
        return false;
    return std::all_of(std::begin(kGroups), std::end(kGroups), [&](const Group& group) {
        return editDirectory(editor, group, m_before.exif, m_after.exif);
    }) && editThumbnail(editor);
}

bool RKImageFileUpdate::editXmp(RKTiffEditor& editor, std::string* packet) const
{
    packet->clear();
    if (m_after.xmp.empty())
        return editor.change(Directory::Image, {}, {RKTiffTag::kXmp});
    constexpr auto kFlags = static_cast<uint16_t>(
        Exiv2::XmpParser::useCompactFormat | Exiv2::XmpParser::omitAllFormatting);
    *packet = m_after.xmpPacket;
    if (packet->empty() && Exiv2::XmpParser::encode(*packet, m_after.xmp, kFlags) != 0)
        return false;
    const Tag old = editor.tag(RKTiffTag::kXmp).value_or(Tag());
    // Blanks before its end let a packet keep its place (ISO 16684-1, 7.3.2).
    const auto oldSize = static_cast<size_t>(old.value.size());
    const size_t end = packet->rfind("<?xpacket end");
    if (packet->size() < oldSize && end != std::string::npos)
        packet->insert(end, oldSize - packet->size(), ' ');
    const quint16 type
        = old.type == RKTiffType::kUndefined ? RKTiffType::kUndefined : RKTiffType::kByte;
    const QByteArray value(packet->data(), static_cast<qsizetype>(packet->size()));
    return editor.change(Directory::Image, {{RKTiffTag::kXmp, type, value}}, {});
}

bool RKImageFileUpdate::editIptc(RKTiffEditor& editor) const
{
    // Photoshop's resources have a copy, which some programs read instead.
    const auto resources = editor.tag(RKTiffTag::kPhotoshop);
    QList<Tag> set;
    if (resources) {
        const Exiv2::DataBuf changed = Exiv2::Photoshop::setIptcIrb(
            reinterpret_cast<const Exiv2::byte*>(resources->value.constData()),
            resources->value.size(),
            m_after.iptc);
        set.append({RKTiffTag::kPhotoshop, resources->type, RKExiv2Compat::toByteArray(changed)});
    }
    if (m_after.iptc.empty())
        return editor.change(Directory::Image, set, {RKTiffTag::kIptc});
    const QByteArray value = RKExiv2Compat::toByteArray(Exiv2::IptcParser::encode(m_after.iptc));
    set.prepend({RKTiffTag::kIptc, RKTiffType::kUndefined, value});
    return editor.change(Directory::Image, set, {});
}

std::optional<QByteArray> RKImageFileUpdate::editedTiff() const
{
    return RKExiv2Library::valueOr(std::optional<QByteArray>(), [&]() -> std::optional<QByteArray> {
        RKTiffEditor editor(m_file);
        if (!editExif(editor) || (m_hasIptcChanged && !editIptc(editor)))
            return {};
        if (!m_iccProfile.isEmpty()
            && !editor.change(Directory::Image,
                {{RKTiffTag::kIccProfile, RKTiffType::kUndefined, m_iccProfile}},
                {}))
            return {};
        // Last, so that a longer packet can take the place of the one before at the file's end.
        std::string packet;
        if (m_hasXmpChanged && !editXmp(editor, &packet))
            return {};

        const QByteArray edited = editor.structure();
        const RKExiv2ImagePtr image = opened(edited);
        Exiv2::XmpData wantedXmp = m_before.xmp;
        if (m_hasXmpChanged)
            Exiv2::XmpParser::decode(wantedXmp, packet);
        const bool isAsWanted = isSame(image->exifData(), m_after.exif)
            && isSame(image->iptcData(), m_after.iptc) && isSame(image->xmpData(), wantedXmp);
        return isAsWanted ? std::optional(edited) : std::nullopt;
    });
}

bool RKImageFileUpdate::hasAllDirectories(const QByteArray& written) const
{
    const bool isThumbnailRemoved = !itemsOf(m_before.exif, kThumbnailGroup).empty()
        && itemsOf(m_after.exif, kThumbnailGroup).empty();
    return RKTiffEditor(written).numberOfDirectories()
        >= RKTiffEditor(m_file).numberOfDirectories() - (isThumbnailRemoved ? 1 : 0);
}

std::optional<QByteArray> RKImageFileUpdate::updated(const QByteArray& written) const
{
    RKImageFileParts result(m_file);
    const RKImageFileParts source(written);
    if (!hasAllDirectories(written))
        return {};
    if (!result.isValid() || !source.isValid())
        return written;

    // What the new file has to read back as.
    RKImageFamilies wanted = RKImageFamilies::of(*opened(written));
    RKTiffEditor editor(result.exifBlock());
    const bool isEdited = RKExiv2Library::valueOr(
        false, [&] { return editExif(editor) && result.setExifBlock(editor.structure()); });
    if (isEdited)
        wanted.exif = m_after.exif;
    else if (m_hasExifChanged)
        result.replace(Content::Exif, source.parts(Content::Exif));
    else
        wanted.exif = m_before.exif;

    if (m_hasIptcChanged)
        result.replace(Content::Iptc, source.parts(Content::Iptc));
    else
        wanted.iptc = m_before.iptc;
    const QByteArray packet = QByteArray::fromStdString(m_after.xmpPacket);
    if (!m_hasXmpChanged)
        wanted.xmp = m_before.xmp;
    else if (!packet.isEmpty() && result.setXmpPacket(packet))
        Exiv2::XmpParser::decode(wanted.xmp, m_after.xmpPacket);
    else
        result.replace(Content::Xmp, source.parts(Content::Xmp));
    if (!m_iccProfile.isEmpty() && !result.setIccProfile(m_iccProfile))
        result.replace(Content::Icc, source.parts(Content::Icc));

    const QByteArray file = result.file();
    const bool isAsWanted = RKExiv2Library::valueOr(false, [&] {
        const RKExiv2ImagePtr image = opened(file);
        return isSame(image->exifData(), wanted.exif) && isSame(image->iptcData(), wanted.iptc)
            && isSame(image->xmpData(), wanted.xmp);
    });
    return isAsWanted ? file : written;
}
