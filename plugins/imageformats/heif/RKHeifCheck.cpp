#include "imageformats/heif/RKHeifCheck.h"

#include "imageformats/common/RKBoxReader.h"
#include "imageformats/common/RKPictureLimits.h"
#include "imageformats/heif/RKHeifFormat.h"
#include "imageformats/heif/RKHevcConfiguration.h"
#include "imageformats/heif/RKHevcSequence.h"

#include <algorithm>
#include <numeric>
#include <optional>

namespace {

// 200 megapixels in tiles of 512 with transparency and a gain map have 2400. libheif goes through
// all of them for each of them.
constexpr qsizetype kMaxItems = 8192;
constexpr qint64 kMaxReferences = 65536;
// Some files are images that are derived from derived images; none goes deeper.
constexpr int kMaxDepth = 6;
// All items together may refer to the bytes of the file a few times over.
constexpr qint64 kMaxDataFactor = 4;
constexpr qint64 kMaxOverlays = 256;
// What grids and overlays say of themselves; overlays have 8 bytes for an image.
constexpr qint64 kMaxDerivation = 4096;
// In pixels: what an image takes however small it is. A few overlays of overlays are millions.
constexpr qint64 kLeastWork = 1 << 16;
// Coded sizes are multiples of the coding block's.
constexpr int kMaxPadding = 64;
// ITU-T H.265, table A.8.
constexpr int kMaxSlices = 600;
// ISO/IEC 14496-12, 8.11.3.1: construction methods.
constexpr quint64 kInFile = 0;
constexpr quint64 kInItemData = 1;

struct FullBox
{
    explicit FullBox(QByteArrayView box)
        : reader(box)
        , version(reader.number(1))
        , flags(reader.number(3))
    {
    }

    RKBigEndianReader reader;
    quint64 version;
    quint64 flags;
};

/// Where the bytes of an item are; empty for what is not followed.
QByteArrayView sourceOf(quint64 method, QByteArrayView file, QByteArrayView itemData)
{
    switch (method) {
    case kInFile: return file;
    case kInItemData: return itemData;
    default: return {};
    }
}

QByteArray joined(const QList<QByteArrayView>& extents)
{
    QByteArray data;
    for (const QByteArrayView extent : extents)
        data.append(extent);
    return data;
}

// Empty where it is too long.
QByteArray derivation(const QList<QByteArrayView>& extents)
{
    QByteArray data;
    for (const QByteArrayView extent : extents) {
        if (data.size() + extent.size() > kMaxDerivation)
            return {};
        data.append(extent);
    }
    return data;
}

// The sizes of the stream are those that the box of the image's size states, turned or not, with
// some padding.
bool isSequenceAcceptable(QByteArrayView nalUnit, const QSize& stated)
{
    const QSize coded = RKHevcSequence(nalUnit).codedSize();
    const QSize padding(kMaxPadding, kMaxPadding);
    const auto fits = [&](const QSize& size) {
        return coded.width() <= (size + padding).width()
            && coded.height() <= (size + padding).height();
    };
    return !coded.isEmpty() && (fits(stated) || fits(stated.transposed()));
}

// ITU-T H.265, 7.3.1.2: of a unit with its header.
int typeOf(QByteArrayView unit)
{
    return uchar(unit[0]) >> 1 & 63;
}

bool isSequence(QByteArrayView unit)
{
    return typeOf(unit) == RKHevcSequence::kNalType;
}

// The units that follow each other with their lengths (ISO/IEC 14496-15, 4.3.2).
bool areUnitsAcceptable(QByteArrayView data, const QSize& stated)
{
    constexpr int kFirstNonPicture = 32;
    // Stereo pictures have a second one.
    constexpr int kMaxPictures = 2;

    RKBigEndianReader reader(data);
    int pictures = 0;
    int slices = 0;
    while (reader.rest() > 0) {
        const QByteArrayView unit = reader.bytes(reader.number(4));
        if (!reader.isGood() || unit.size() < 3)
            return false;
        if (isSequence(unit) && !isSequenceAcceptable(unit, stated))
            return false;
        if (typeOf(unit) >= kFirstNonPicture)
            continue;
        ++slices;
        const bool isFirst = uchar(unit[2]) & 0x80;
        pictures += isFirst;
    }
    return slices <= kMaxSlices && pictures <= kMaxPictures;
}

bool isConfigurationAcceptable(QByteArrayView box, const QSize& stated)
{
    const std::optional<QList<QByteArrayView>> units = RKHevcConfiguration::units(box);
    return units && std::all_of(units->begin(), units->end(), [&](QByteArrayView unit) {
        return !isSequence(unit) || isSequenceAcceptable(unit, stated);
    });
}

// ISO/IEC 14496-12, 12.1.4: fractions whose products libheif computes in 32 bits.
bool isApertureAcceptable(QByteArrayView box)
{
    constexpr int kFractions = 4;
    constexpr qint64 kMaxDenominator = 1 << 14;
    RKBigEndianReader reader(box);
    for (int i = 0; i < kFractions; ++i) {
        const qint64 numerator = reader.signedNumber32();
        const qint64 denominator = reader.signedNumber32();
        if (denominator <= 0 || std::abs(numerator) / denominator > RKPictureLimits::kMaxSide)
            return false;
        const qint64 common = std::gcd(numerator, denominator);
        if (denominator / common > kMaxDenominator)
            return false;
        const bool isSize = i < 2;
        if (isSize && numerator <= 0)
            return false;
    }
    return reader.isGood();
}

// Grids and overlays state their sizes with 2 or 4 bytes (ISO/IEC 23008-12, 6.6.2).
int sizeBytes(quint64 flags)
{
    return flags & 1 ? 4 : 2;
}

// ISO/IEC 23008-12, 6.6.2.3.
struct Grid
{
    explicit Grid(QByteArrayView data)
    {
        RKBigEndianReader reader(data);
        reader.number(1);
        const int bytes = sizeBytes(reader.number(1));
        rows = qint64(reader.number(1)) + 1;
        columns = qint64(reader.number(1)) + 1;
        width = qint64(reader.number(bytes));
        height = qint64(reader.number(bytes));
        isGood = reader.isGood();
    }

    qint64 rows;
    qint64 columns;
    qint64 width;
    qint64 height;
    bool isGood;
};

} // namespace

RKHeifCheck::RKHeifCheck(QByteArrayView file)
{
    QHash<quint32, int> states;
    Work work;
    const auto isChainAcceptable = [&](quint32 id) { return isAcyclic(id, states, 0); };
    if (!readFile(file))
        m_items.clear();
    if (!m_items.contains(m_primary))
        return;
    const QList<quint32> ids = m_items.keys();
    m_isAcceptable = std::all_of(ids.begin(), ids.end(), isChainAcceptable)
        && isImageAcceptable(m_primary, 0, work)
        && RKPictureLimits::canHold(file.size(), work.pixels) && areDependentsAcceptable();
}

QByteArray RKHeifCheck::coding() const
{
    const QByteArrayList derived{"grid", "iden", "iovl"};
    Item item = m_items.value(m_primary);
    for (int depth = 0; depth < kMaxDepth && !item.sources.isEmpty(); ++depth)
        item = m_items.value(item.sources[0]);
    // It is shown to people.
    const bool isName = std::all_of(item.type.begin(), item.type.end(), [](char letter) {
        return QChar::isLetterOrNumber(uchar(letter)) && uchar(letter) < 0x80;
    });
    return isName && !derived.contains(item.type) ? item.type : QByteArray();
}

bool RKHeifCheck::isSizeTransposed() const
{
    const Item item = m_items.value(m_primary);
    const Property* const configuration = property(item, "hvcC");
    const QSize stated = statedSize(item);
    if (item.type != RKHeifFormat::kHevc || !configuration || stated.width() == stated.height())
        return false;
    const QList<QByteArrayView> units
        = RKHevcConfiguration::units(configuration->content).value_or(QList<QByteArrayView>());
    const auto sequence = std::find_if(units.begin(), units.end(), isSequence);
    return sequence != units.end() && RKHevcSequence(*sequence).size() == stated.transposed();
}

// ISO/IEC 14496-12, 8.11.1. Readers differ in which of two they take.
bool RKHeifCheck::readFile(QByteArrayView file)
{
    std::optional<QByteArrayView> meta;
    RKBoxReader boxes(file);
    while (boxes.next()) {
        if (!boxes.is("meta"))
            continue;
        if (meta)
            return false;
        meta = boxes.content();
    }
    return meta && readMeta(*meta, file);
}

bool RKHeifCheck::readMeta(QByteArrayView box, QByteArrayView file)
{
    const QByteArrayList kinds{"iinf", "iloc", "iprp", "iref", "idat", "pitm"};
    const FullBox meta(box);
    QHash<QByteArray, QByteArrayView> parts;
    RKBoxReader boxes(meta.reader.remaining());
    while (boxes.next()) {
        const QByteArray kind = boxes.type().toByteArray();
        if (parts.contains(kind))
            return false;
        if (kinds.contains(kind))
            parts.insert(kind, boxes.content());
    }
    FullBox primary(parts.value("pitm"));
    m_primary = quint32(primary.reader.number(primary.version == 0 ? 2 : 4));
    return readItems(parts.value("iinf"))
        && readLocations(parts.value("iloc"), file, parts.value("idat"))
        && readProperties(parts.value("iprp"))
        && (!parts.contains("iref") || readReferences(parts.value("iref")));
}

// ISO/IEC 14496-12, 8.11.6. What is no entry, libheif doesn't take for an item, and it doesn't look
// at their number.
bool RKHeifCheck::readItems(QByteArrayView box)
{
    FullBox info(box);
    const quint64 stated = info.reader.number(info.version == 0 ? 2 : 4);
    quint64 count = 0;
    RKBoxReader entries(info.reader.remaining());
    while (entries.next()) {
        if (!entries.is("infe") || !readItem(entries.content()) || m_items.size() > kMaxItems)
            return false;
        ++count;
    }
    return count == stated;
}

bool RKHeifCheck::readItem(QByteArrayView box)
{
    FullBox entry(box);
    const auto id = quint32(entry.reader.number(entry.version < 3 ? 2 : 4));
    entry.reader.number(2);
    if (!entry.reader.isGood() || m_items.contains(id))
        return false;
    m_items[id].type = entry.version < 2 ? QByteArray() : entry.reader.bytes(4).toByteArray();
    return entry.reader.isGood();
}

// ISO/IEC 14496-12, 8.11.3.
bool RKHeifCheck::readLocations(QByteArrayView box, QByteArrayView file, QByteArrayView itemData)
{
    FullBox locations(box);
    RKBigEndianReader& reader = locations.reader;
    const auto sizes = int(reader.number(2));
    const int indexSize = locations.version == 0 ? 0 : sizes & 15;
    const quint64 count = reader.number(locations.version < 2 ? 2 : 4);
    qint64 total = 0;
    for (quint64 i = 0; i < count && reader.isGood(); ++i) {
        const auto id = quint32(reader.number(locations.version < 2 ? 2 : 4));
        const quint64 method = locations.version == 0 ? kInFile : reader.number(2) & 15;
        reader.number(2);
        const quint64 base = reader.number(sizes >> 4 & 15);
        const quint64 extents = reader.number(2);
        const auto item = m_items.find(id);
        if (item == m_items.end() || !item->extents.isEmpty())
            return false;
        const QByteArrayView source = sourceOf(method, file, itemData);
        for (quint64 j = 0; j < extents && reader.isGood(); ++j) {
            reader.number(indexSize);
            const quint64 offset = base + reader.number(sizes >> 12 & 15);
            const quint64 length = reader.number(sizes >> 8 & 15);
            if (length > quint64(source.size()) || offset > quint64(source.size()) - length)
                return false;
            item->extents.append(source.sliced(qint64(offset), qint64(length)));
            total += qint64(length);
            if (total > kMaxDataFactor * file.size())
                return false;
        }
    }
    return reader.isGood();
}

// ISO/IEC 23008-12, 9.3.
bool RKHeifCheck::readProperties(QByteArrayView box)
{
    QList<Property> properties;
    QList<QByteArrayView> associations;
    RKBoxReader parts(box);
    while (parts.next()) {
        if (parts.is("ipma"))
            associations.append(parts.content());
        if (!parts.is("ipco"))
            continue;
        if (!properties.isEmpty())
            return false;
        RKBoxReader container(parts.content());
        while (container.next()) {
            properties.append({container.type().toByteArray(), container.content()});
            if (container.is("clap") && !isApertureAcceptable(container.content()))
                return false;
        }
    }
    return std::all_of(associations.begin(), associations.end(), [&](QByteArrayView part) {
        return readAssociations(part, properties);
    });
}

bool RKHeifCheck::readAssociations(QByteArrayView box, const QList<Property>& properties)
{
    FullBox associations(box);
    RKBigEndianReader& reader = associations.reader;
    const int indexSize = associations.flags & 1 ? 2 : 1;
    const quint64 indexMask = associations.flags & 1 ? 0x7fff : 0x7f;
    const quint64 count = reader.number(4);
    for (quint64 i = 0; i < count && reader.isGood(); ++i) {
        const auto item = m_items.find(quint32(reader.number(associations.version == 0 ? 2 : 4)));
        const quint64 entries = reader.number(1);
        for (quint64 j = 0; j < entries && reader.isGood(); ++j) {
            const auto index = qsizetype(reader.number(indexSize) & indexMask);
            // Index 0 stands for none.
            if (item != m_items.end() && index > 0 && index <= properties.size())
                item->properties.append(properties[index - 1]);
        }
    }
    return reader.isGood();
}

// ISO/IEC 14496-12, 8.11.12.
bool RKHeifCheck::readReferences(QByteArrayView box)
{
    const FullBox all(box);
    const int idSize = all.version == 0 ? 2 : 4;
    qint64 total = 0;
    RKBoxReader references(all.reader.remaining());
    while (references.next()) {
        RKBigEndianReader reader(references.content());
        const auto from = quint32(reader.number(idSize));
        const quint64 count = reader.number(2);
        total += qint64(count);
        if (total > kMaxReferences || reader.rest() < qint64(count) * idSize)
            return false;
        const auto item = m_items.find(from);
        for (quint64 i = 0; i < count && item != m_items.end(); ++i) {
            const auto to = quint32(reader.number(idSize));
            const bool isThumbnail = references.is("thmb");
            if (references.is("dimg"))
                item->sources.append(to);
            else if (isThumbnail || references.is("auxl"))
                item->masters.append(to);
            item->isThumbnail |= isThumbnail;
        }
    }
    return true;
}

bool RKHeifCheck::isAcyclic(quint32 id, QHash<quint32, int>& states, int depth) const
{
    constexpr int kOpen = 1;
    constexpr int kDone = 2;
    const int state = states.value(id);
    const auto item = m_items.constFind(id);
    if (state == kDone || item == m_items.end())
        return true;
    if (state == kOpen || depth > kMaxDepth)
        return false;
    states[id] = kOpen;
    const QList<quint32> next = item->sources + item->masters;
    for (const quint32 other : next) {
        if (!isAcyclic(other, states, depth + 1))
            return false;
    }
    states[id] = kDone;
    return true;
}

bool RKHeifCheck::isImageAcceptable(quint32 id, int depth, Work& work) const
{
    const auto found = m_items.constFind(id);
    if (found == m_items.end() || depth > kMaxDepth)
        return false;
    const Item& item = *found;
    const QSize size = statedSize(item);
    if (!RKPictureLimits::isAcceptable(size))
        return false;
    const bool isCoded = item.type == RKHeifFormat::kHevc;
    const qint64 pixels = isCoded ? qint64(size.width()) * size.height() : 0;
    work.pixels += pixels;
    work.effort += std::max(pixels, kLeastWork);
    if (work.effort > 2 * RKPictureLimits::kMaxPixels)
        return false;
    if (isCoded) {
        const bool isAcceptable = work.checked.contains(id) || isCodedAcceptable(item);
        if (isAcceptable)
            work.checked.insert(id);
        return isAcceptable;
    }
    const bool isDerived = (item.type == "iden" && item.sources.size() == 1)
        || (item.type == "grid" && isGridAcceptable(item))
        || (item.type == "iovl" && isOverlayAcceptable(item));
    return isDerived && std::all_of(item.sources.begin(), item.sources.end(), [&](quint32 source) {
        return isImageAcceptable(source, depth + 1, work);
    });
}

bool RKHeifCheck::isCodedAcceptable(const Item& item) const
{
    const Property* const configuration = property(item, "hvcC");
    const QSize stated = statedSize(item);
    const bool isWhole = item.extents.size() == 1;
    return configuration && isConfigurationAcceptable(configuration->content, stated)
        && areUnitsAcceptable(
            isWhole ? item.extents[0] : QByteArrayView(joined(item.extents)), stated);
}

// Equal tiles cover the picture, and none is superfluous.
bool RKHeifCheck::isGridAcceptable(const Item& item) const
{
    const Grid grid(derivation(item.extents));
    if (!grid.isGood || !RKPictureLimits::isAcceptable(grid.width, grid.height)
        || item.sources.size() != grid.rows * grid.columns)
        return false;
    const QSize tile = statedSize(m_items.value(item.sources[0]));
    const auto isTile = [&](quint32 source) {
        const auto other = m_items.constFind(source);
        return other != m_items.cend() && other->type == RKHeifFormat::kHevc
            && statedSize(*other) == tile;
    };
    const auto covers = [](qint64 count, qint64 side, qint64 whole) {
        return side > 0 && count * side >= whole && (count - 1) * side < whole;
    };
    return covers(grid.columns, tile.width(), grid.width)
        && covers(grid.rows, tile.height(), grid.height)
        && std::all_of(item.sources.begin(), item.sources.end(), isTile);
}

// ISO/IEC 23008-12, 6.6.2.2.
bool RKHeifCheck::isOverlayAcceptable(const Item& item) const
{
    constexpr quint64 kFillColor = 8;
    const QByteArray data = derivation(item.extents);
    RKBigEndianReader reader(data);
    reader.number(1);
    const int bytes = sizeBytes(reader.number(1));
    reader.bytes(kFillColor);
    const auto width = qint64(reader.number(bytes));
    const auto height = qint64(reader.number(bytes));
    return RKPictureLimits::isAcceptable(width, height) && item.sources.size() <= kMaxOverlays
        && reader.rest() == item.sources.size() * 2 * bytes;
}

// Transparency is decoded with the picture; thumbnails are needed only where they are in order.
bool RKHeifCheck::areDependentsAcceptable()
{
    Work work;
    const QList<RKHeifTiles::Turning> primaryTurning = turning(*m_items.constFind(m_primary));
    for (auto item = m_items.constBegin(); item != m_items.constEnd(); ++item) {
        if (!item->masters.contains(m_primary))
            continue;
        const bool isAcceptable = isImageAcceptable(item.key(), 0, work);
        const Property* const kind = property(*item, "auxC");
        const bool isTransparency = kind
            && (kind->content.toByteArray().contains("alpha")
                || kind->content.toByteArray().contains("auxid:1"));
        if (isTransparency && !isAcceptable)
            return false;
        if (item->isThumbnail && isAcceptable && turning(*item) == primaryTurning)
            m_thumbnails.append(item.key());
    }
    return true;
}

std::optional<RKHeifTiles> RKHeifCheck::tiles(quint32 id) const
{
    const Item item = m_items.value(id);
    const bool isGrid = item.type == "grid";
    RKHeifTiles result;
    result.size = statedSize(item);
    result.columns = 1;
    if (isGrid) {
        const Grid grid(derivation(item.extents));
        if (QSize(int(grid.width), int(grid.height)) != result.size)
            return std::nullopt;
        result.columns = int(grid.columns);
    }
    const QList<quint32> sources = isGrid ? item.sources : QList<quint32>{id};
    for (const quint32 source : sources) {
        const Item part = m_items.value(source);
        const Property* const configuration = property(part, "hvcC");
        const bool isTurned = isGrid && !turning(part).isEmpty();
        if (part.type != RKHeifFormat::kHevc || !configuration || property(part, "clap")
            || isTurned)
            return std::nullopt;
        result.tileSize = statedSize(part);
        result.tiles.append({configuration->content, part.extents, codedColors(part)});
    }
    result.turning = turning(item);
    return property(item, "clap") ? std::nullopt : std::optional(result);
}

const RKHeifCheck::Property* RKHeifCheck::property(const Item& item, QByteArrayView type) const
{
    const auto found = std::find_if(item.properties.begin(),
        item.properties.end(),
        [&](const Property& property) { return property.type == type; });
    return found == item.properties.end() ? nullptr : &*found;
}

// Empty where there is none or more than one.
QSize RKHeifCheck::statedSize(const Item& item) const
{
    QSize size;
    for (const Property& property : item.properties) {
        if (property.type != "ispe")
            continue;
        if (!size.isNull() && size.isValid())
            return {};
        FullBox box(property.content);
        const auto width = qint64(box.reader.number(4));
        const auto height = qint64(box.reader.number(4));
        if (!RKPictureLimits::isAcceptable(width, height))
            return {};
        size = QSize(int(width), int(height));
    }
    return size;
}

// ISO/IEC 23008-12, 6.5.10 and 6.5.12.
QList<RKHeifTiles::Turning> RKHeifCheck::turning(const Item& item) const
{
    QList<RKHeifTiles::Turning> result;
    for (const Property& property : item.properties) {
        const bool isMirroring = property.type == "imir";
        const auto value = int(RKBigEndianReader(property.content).number(1));
        if (isMirroring || property.type == "irot")
            result.append({isMirroring, value & (isMirroring ? 1 : 3)});
    }
    return result;
}

QByteArrayView RKHeifCheck::codedColors(const Item& item) const
{
    for (const Property& property : item.properties) {
        if (property.type == "colr" && property.content.startsWith("nclx"))
            return property.content;
    }
    return {};
}
