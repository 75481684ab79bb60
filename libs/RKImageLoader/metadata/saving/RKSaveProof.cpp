#include "RKImageLoader/files/RKIptcEditor_p.h"
#include "RKImageLoader/files/RKTiffTags_p.h"
#include "RKImageLoader/metadata/exiv2/RKExiv2ImageReader_p.h"
#include "RKImageLoader/metadata/exiv2/RKExiv2Library_p.h"
#include "RKImageLoader/metadata/exiv2/RKExiv2XmpPackets_p.h"
#include "RKImageLoader/metadata/saving/RKSaveProof_p.h"
#include "RKImageLoader/xmp/RKXmpPacketEditor_p.h"

#include <algorithm>
#include <map>
#include <set>
#include <utility>

using Content = RKImageFileParts::Content;

namespace {

QSize sizeOf(const Exiv2::Image& image)
{
    return QSize(static_cast<int>(image.pixelWidth()), static_cast<int>(image.pixelHeight()));
}

RKExiv2ImagePtr opened(const RKImageContent& content)
{
    RKExiv2ImagePtr image = RKExiv2Compat::openMemory(content.readable());
    RKExiv2Library::readMetadata(*image);
    return image;
}

/// The names of changed properties, as packets have them.
std::set<RKXmpPacketEditor::Name> namesOf(const std::set<std::string>& properties)
{
    std::set<RKXmpPacketEditor::Name> names;
    for (const std::string& property : properties) {
        const Exiv2::XmpKey key(property);
        names.insert({RKXmpPacketEditor::withoutSlash(Exiv2::XmpProperties::ns(key.groupName())),
            key.tagName()});
    }
    return names;
}

/// With the packet's own prefixes, unless exiv2 finds nothing by them.
void decode(std::string packet, Exiv2::XmpData* data)
{
    Exiv2::XmpParser::decode(*data, packet);
    if (data->empty())
        RKExiv2XmpPackets::decodeWithKnownPrefixes(&packet, data);
}

} // namespace

RKSaveProof::RKSaveProof(const RKImageContent& before,
    const RKImageFileUpdate::Wanted& wanted,
    const RKFamilyChanges& changes)
    : m_before(before)
    , m_wanted(wanted)
    , m_changes(changes)
{
}

QString RKSaveProof::loss(const RKImageContent& after) const
{
    if ((m_before.parts() == nullptr) != (after.parts() == nullptr))
        return QStringLiteral("the file would lose its structure");
    QString loss;
    if (m_before.parts()) {
        const RKImageFileParts parts = after.parts()->read();
        // Another way to make the change would not tell more.
        if (parts.hasReadError())
            throw Exiv2::Error(Exiv2::ErrorCode::kerInputDataReadFailed, "proof");
        loss = lossOfParts(*m_before.parts(), parts);
    } else if (RKExiv2Compat::isSidecar(m_before.readable()))
        loss = lossOfXmp(m_before.readable(), after.readable());
    else
        loss = lossOfTiff(m_before.bytes(), after.bytes());
    return loss.isEmpty() ? lossOnReading(after) : loss;
}

/// Found by the container's reader, and by all that reads metadata.
bool RKSaveProof::hasProfile(const RKImageFileParts& after) const
{
    RKExiv2ExifData exif;
    RKExiv2IptcData iptc;
    RKExiv2XmpData xmp;
    RKExiv2IccData icc;
    QSize size;
    RKExiv2ImageReader({exif, iptc, xmp, icc, size}).read(after.skeleton());
    return after.iccProfile() == m_wanted.iccProfile && icc.asByteArray() == m_wanted.iccProfile;
}

QString RKSaveProof::lossOfParts(
    const RKImageFileParts& before, const RKImageFileParts& after) const
{
    QList<Content> owned;
    QString loss;
    if (m_changes.hasExifChanged()) {
        owned.append(Content::Exif);
        if (!before.exifBlock().isEmpty())
            loss = lossOfTiff(before.exifBlock(), after.exifBlock());
    }
    if (loss.isEmpty() && m_changes.hasIptcChanged()) {
        owned.append(Content::Iptc);
        loss = lossOfIptc(before.iptcBlocks(), after.iptcBlocks());
    }
    if (loss.isEmpty() && !m_changes.xmpProperties().empty()) {
        owned.append(Content::Xmp);
        loss = lossOfXmp(before.xmpPacket(), after.xmpPacket());
    }
    if (!m_wanted.iccProfile.isEmpty()) {
        owned.append(Content::Icc);
        if (loss.isEmpty() && !hasProfile(after))
            return QStringLiteral("the profile cannot be embedded");
    }
    if (!loss.isEmpty())
        return loss;
    const QString part = RKImageFileParts::firstDifference(before, after, owned);
    return part.isEmpty() ? part : QStringLiteral("%1 would change").arg(part);
}

/// What an edit of a TIFF structure may change.
QList<RKTiffComparison::Owned> RKSaveProof::ownedTags() const
{
    static const std::map<std::string, QByteArray> directories{{"Image", "IFD0"},
        {"Photo", "IFD0/Exif"},
        {"GPSInfo", "IFD0/GPS"},
        {"Iop", "IFD0/Exif/Iop"},
        {"Thumbnail", "IFD1"}};
    QList<RKTiffComparison::Owned> owned;
    for (const auto& [group, number] : m_changes.exifTags()) {
        const auto directory = directories.find(group);
        if (directory != directories.end())
            owned.append({directory->second, number});
        else
            owned.append({"IFD0/Exif", RKTiffTag::kMakerNote});
    }
    // A directory that has lost all of its tags goes, too.
    static const std::map<std::string, RKTiffComparison::Owned> ways{
        {"Photo", {"IFD0", RKTiffTag::kExifDirectory}},
        {"GPSInfo", {"IFD0", RKTiffTag::kGpsDirectory}},
        {"Iop", {"IFD0/Exif", RKTiffTag::kInteroperabilityDirectory}}};
    for (const auto& [group, way] : ways) {
        const auto isInGroup
            = [&group = group](const auto& datum) { return datum.groupName() == group; };
        const auto hasChanged = [&group = group](const auto& tag) { return tag.first == group; };
        const Exiv2::ExifData& wanted = m_wanted.families.exif;
        const auto& tags = m_changes.exifTags();
        if (std::any_of(tags.begin(), tags.end(), hasChanged)
            && std::none_of(wanted.begin(), wanted.end(), isInGroup))
            owned.append(way);
    }
    if (m_changes.hasThumbnailChanged())
        owned.append({"IFD1"});
    // In a TIFF-based file the other families are tags, too.
    if (m_changes.hasIptcChanged()) {
        owned.append({"IFD0", RKTiffTag::kIptc});
        owned.append({"IFD0", RKTiffTag::kPhotoshop});
    }
    if (!m_changes.xmpProperties().empty())
        owned.append({"IFD0", RKTiffTag::kXmp});
    return owned;
}

QString RKSaveProof::lossOfTiff(const RKSparseBytes& before, const RKSparseBytes& after) const
{
    const QStringList differences = RKTiffComparison::differences(before, after, ownedTags());
    if (!differences.isEmpty())
        return QStringLiteral("%1 would change").arg(differences.join(QStringLiteral(", ")));
    if (m_before.parts() || m_changes.xmpProperties().empty())
        return {};
    const auto packetOf = [](const RKSparseBytes& structure) {
        return RKTiffEditor(structure).tag(RKTiffTag::kXmp).value_or(RKTiffEditor::Tag()).value;
    };
    return lossOfXmp(packetOf(before), packetOf(after));
}

QString RKSaveProof::lossOfIptc(const QByteArrayList& before, const QByteArrayList& after) const
{
    std::set<std::pair<int, int>> changed;
    for (const std::string& key : m_changes.iptcKeys()) {
        const Exiv2::IptcKey iptcKey(key);
        changed.emplace(iptcKey.record(), iptcKey.tag());
    }
    // A block that has lost all its data sets may be gone.
    const auto kept = [&changed](const QByteArrayList& blocks) {
        QList<QList<RKIptcEditor::DataSet>> keptOfBlocks;
        for (const QByteArray& block : blocks) {
            QList<RKIptcEditor::DataSet> all = RKIptcEditor(block).dataSets();
            all.removeIf([&](const RKIptcEditor::DataSet& dataSet) {
                return changed.count({dataSet.record, dataSet.number}) != 0;
            });
            if (!all.isEmpty())
                keptOfBlocks.append(all);
        }
        return keptOfBlocks;
    };
    return kept(before) == kept(after) ? QString() : QStringLiteral("IPTC data sets would change");
}

QString RKSaveProof::lossOfXmp(const QByteArray& before, const QByteArray& after) const
{
    const std::set<RKXmpPacketEditor::Name> changed = namesOf(m_changes.xmpProperties());
    const auto kept = [&changed](const QByteArray& packet) {
        auto all = RKXmpPacketEditor(packet.toStdString()).properties();
        for (const RKXmpPacketEditor::Name& name : changed)
            all.erase(name);
        return all;
    };
    if (before.isEmpty())
        return {};
    for (const auto old = kept(before), fresh = kept(after); const auto& [name, text] : old) {
        const auto [first, last] = fresh.equal_range(name);
        if (std::none_of(
                first, last, [&text = text](const auto& entry) { return entry.second == text; }))
            return QStringLiteral("the XMP property %1 would change")
                .arg(QString::fromStdString(name.name));
    }
    return {};
}

QString RKSaveProof::lossOnReading(const RKImageContent& after) const
{
    const RKExiv2ImagePtr old = RKExiv2Compat::openMemory(m_before.readable());
    const RKExiv2ImagePtr image = opened(after);
    if (image->imageType() != old->imageType() || sizeOf(*image) != m_wanted.size)
        return QStringLiteral("the picture would have another size");
    RKImageFamilies wanted = m_wanted.families;
    if (!m_wanted.xmpPacket.empty())
        decode(m_wanted.xmpPacket, &wanted.xmp);
    RKImageFamilies read{
        std::move(image->exifData()), std::move(image->iptcData()), std::move(image->xmpData())};
    // The same bytes, of which reading makes keys with the prefixes of the packet.
    if (m_changes.xmpProperties().empty())
        read.xmp = wanted.xmp;
    // exiv2 derives the other families of a sidecar from its XMP.
    if (RKExiv2Compat::isSidecar(*image)) {
        read.exif = wanted.exif;
        read.iptc = wanted.iptc;
        // With the keys that the wanted packet has.
        if (!m_wanted.xmpPacket.empty())
            decode(after.readable().toStdString(), &read.xmp);
    }
    const QString difference = RKFamilyChanges(wanted, read).firstDifference();
    return difference.isEmpty() ? difference
                                : QStringLiteral("%1 would not read back").arg(difference);
}
