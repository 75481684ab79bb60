#include "RKImageLoader/files/RKByteReader_p.h"
#include "RKImageLoader/files/RKPartCollector_p.h"
#include "RKImageLoader/files/RKPhotoshopParts_p.h"
#include "RKImageLoader/files/RKPhotoshopResources_p.h"

#include <algorithm>

namespace {

using Content = RKImageFileParts::Content;
using Part = RKImageFileParts::Part;
using Parts = QList<Part>;

// "Photoshop File Formats", "File Header Section".
constexpr qint64 kHeaderSize = 26;
constexpr qint64 kLengthSize = 4;

constexpr char kHeader[] = "header";
constexpr char kPixels[] = "layers and pixels";

constexpr quint16 numberOf(Content content)
{
    switch (content) {
    case Content::Exif: return RKPhotoshopResources::kExif;
    case Content::Iptc: return RKPhotoshopResources::kIptc;
    case Content::Xmp: return RKPhotoshopResources::kXmp;
    case Content::Icc: return RKPhotoshopResources::kIccProfile;
    case Content::Other: break;
    }
    return 0;
}

Part partOfResource(const RKPhotoshopResources::Resource& resource)
{
    Part part{Content::Other,
        RKPhotoshopResources::nameOf(resource),
        {resource.bytes.toByteArray() + resource.padding.toByteArray()},
        {}};
    for (const Content content : {Content::Exif, Content::Iptc, Content::Xmp, Content::Icc}) {
        if (resource.isPhotoshops && resource.number == numberOf(content))
            part.content = content;
    }
    return part;
}

/// A resource with an even number of bytes.
QByteArray padded(const QByteArray& resource)
{
    return resource.size() % 2 == 0 ? resource : resource + '\0';
}

} // namespace

bool RKPhotoshopParts::matches(QByteArrayView start) const
{
    return start.startsWith(QByteArrayView("8BPS\0\1", 6));
}

bool RKPhotoshopParts::split(RKPartCollector& file) const
{
    const auto table
        = RKByteReader(file.peek(0, kHeaderSize + kLengthSize)).numberAt<quint32>(kHeaderSize);
    if (!table || *table > RKPartCollector::kMaxOther)
        return false;
    const qint64 resources = kHeaderSize + kLengthSize + qint64(*table);
    const auto header = file.read(0, resources);
    const auto length = RKByteReader(file.peek(resources, kLengthSize)).numberAt<quint32>(0);
    if (!header || !length)
        return false;
    const qint64 end = resources + kLengthSize + qint64(*length);
    const auto section = file.read(resources + kLengthSize, qint64(*length));
    if (!section)
        return false;
    const RKPhotoshopResources all(*section);
    if (!all.rest().isEmpty() || !file.add({Content::Other, kHeader, {*header}, {}}))
        return false;
    for (const RKPhotoshopResources::Resource& resource : all.all()) {
        if (!file.add(partOfResource(resource)))
            return false;
    }
    return end < file.size() && file.addRange(kPixels, end, file.size() - end);
}

Part RKPhotoshopParts::partOf(const QByteArray& bytes) const
{
    const RKPhotoshopResources resources(bytes);
    return resources.all().isEmpty() ? Part() : partOfResource(resources.all().constFirst());
}

QList<RKFilePiece> RKPhotoshopParts::pieces(const Parts& parts) const
{
    QByteArray resources;
    for (const Part& part : parts.mid(1)) {
        // The last one of a file may lack its padding.
        if (!part.piece.bytes.isEmpty())
            resources = padded(resources) + part.piece.bytes;
    }
    RKFilePiece start = parts.constFirst().piece;
    start.bytes += RKByteReader::bytesOf(static_cast<quint32>(resources.size())) + resources;
    QList<RKFilePiece> pieces{start};
    const Part& pixels = parts.constLast();
    pieces.append(pixels.piece.size > 0 ? pixels.piece : RKFilePiece{pixels.start});
    return pieces;
}

Parts RKPhotoshopParts::comparable(const Parts& parts) const
{
    Parts result = parts;
    for (qsizetype i = 1; i < result.size(); ++i)
        result[i].piece.bytes = padded(result[i].piece.bytes);
    return result;
}

Parts RKPhotoshopParts::withoutPixels(const Parts& parts) const
{
    Parts small = RKImageFileFormat::withoutPixels(parts);
    small.append({Content::Other, kPixels, {}, QByteArray(kMinTail, '\0')});
    return small;
}

qsizetype RKPhotoshopParts::leadingParts(const Parts& parts) const
{
    // After the other resources.
    return parts.size() - 1;
}

QByteArray RKPhotoshopParts::block(Content content, const QList<QByteArray>& parts) const
{
    return RKPhotoshopResources(parts.constFirst()).data(numberOf(content)).value(0);
}

std::optional<QList<QByteArray>> RKPhotoshopParts::withBlock(
    Content content, const QByteArray& block, const QList<QByteArray>& parts) const
{
    Q_UNUSED(parts)
    if (block.isEmpty())
        return QList<QByteArray>();
    return QList<QByteArray>{padded(RKPhotoshopResources::resource(numberOf(content), block))};
}
