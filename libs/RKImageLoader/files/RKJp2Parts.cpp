#include "RKImageLoader/files/RKByteReader_p.h"
#include "RKImageLoader/files/RKJp2Parts_p.h"
#include "RKImageLoader/files/RKPartCollector_p.h"

#include <algorithm>
#include <limits>

namespace {

using Content = RKImageFileParts::Content;
using Part = RKImageFileParts::Part;
using Parts = QList<Part>;

constexpr qint64 kHeaderSize = 8;
constexpr qint64 kLongHeaderSize = 16;
constexpr quint64 kTypeSize = 4;
constexpr qint64 kUuidSize = 16;

// The size of a box that has its size after its type, and of one that reaches to the end.
constexpr quint32 kLongSize = 1;
constexpr quint32 kToTheEnd = 0;

constexpr char kHeaderBox[] = "box jp2h";
constexpr char kInHeaderBox[] = "box jp2h/";
constexpr char kImageHeader[] = "box jp2h/ihdr";
constexpr char kColor[] = "box jp2h/colr";

// A colour specification: method, precedence and approximation, and then for these methods a
// profile.
constexpr quint8 kRestrictedProfile = 2;
constexpr quint8 kAnyProfile = 3;
constexpr qsizetype kColorFields = 3;

constexpr QByteArrayView kExifUuid("JpgTiffExif->JP2");
constexpr QByteArrayView kExifName("Exif\0\0", 6);

QByteArray uuidOf(Content content)
{
    switch (content) {
    // exiv2 does not read the Exif of Photoshop, which has another identifier.
    case Content::Exif: return kExifUuid.toByteArray();
    case Content::Iptc: return QByteArray::fromHex("33c7a4d2b81d4723a0baf1a3e097ad38");
    case Content::Xmp: return QByteArray::fromHex("be7acfcb97a942e89c71999491e3afac");
    default: return {};
    }
}

Content contentOfUuid(QByteArrayView uuid)
{
    for (const Content content : {Content::Exif, Content::Iptc, Content::Xmp}) {
        if (uuid == uuidOf(content))
            return content;
    }
    return Content::Other;
}

/// Holds places in the file that it counts from the file's beginning, which only its own maker
/// could follow: fragments of a codestream (ISO/IEC 15444-2, M.11.3) and indices (ISO/IEC 15444-9,
/// I.3).
bool holdsPlaces(QByteArrayView type)
{
    return type == "ftbl" || type == "fidx" || type == "cidx" || type == "iptr";
}

/// Empty for one that is too large.
QByteArray box(const QByteArray& type, const QByteArray& data)
{
    const qint64 size = kHeaderSize + data.size();
    if (size > std::numeric_limits<quint32>::max())
        return {};
    return RKByteReader::bytesOf(static_cast<quint32>(size)) + type + data;
}

struct Header
{
    // The size of the whole box; less than the header's for a damaged one.
    qint64 size = 0;
    qint64 headerSize = kHeaderSize;
    QByteArray type;
};

/// From the first bytes of a box, of which so many are left in the file.
Header headerOf(QByteArrayView start, qint64 left)
{
    RKByteReader reader(start);
    Header header;
    const auto size = reader.number<quint32>();
    header.type = reader.take(kTypeSize).toByteArray();
    header.size = size;
    if (size == kToTheEnd) {
        header.size = left;
    } else if (size == kLongSize) {
        const auto longSize = reader.number<quint64>();
        header.headerSize = kLongHeaderSize;
        header.size = longSize > quint64(left) ? 0 : qint64(longSize);
    }
    if (!reader.isGood() || header.size < header.headerSize || header.size > left)
        header.size = 0;
    return header;
}

QByteArrayView dataOf(const QByteArray& bytes)
{
    return QByteArrayView(bytes).sliced(
        std::min<qsizetype>(headerOf(bytes, bytes.size()).headerSize, bytes.size()));
}

/// The boxes in the header box; none where they don't fill it.
Parts partsOfHeader(const QByteArray& bytes)
{
    Parts parts{{Content::Other, kHeaderBox, {bytes.first(kHeaderSize)}, {}}};
    for (qsizetype at = kHeaderSize; at < bytes.size();) {
        const Header header = headerOf(QByteArrayView(bytes).sliced(at), bytes.size() - at);
        if (header.size == 0)
            return {};
        const QByteArray child = bytes.mid(at, header.size);
        const auto method = RKByteReader(child).numberAt<quint8>(header.headerSize).value_or(0);
        const bool hasProfile
            = header.type == "colr" && (method == kRestrictedProfile || method == kAnyProfile);
        parts.append(
            {hasProfile ? Content::Icc : Content::Other, kInHeaderBox + header.type, {child}, {}});
        at += header.size;
    }
    return parts;
}

bool isInHeaderBox(const Part& part)
{
    return part.name.startsWith(kInHeaderBox);
}

QByteArray withProfile(const QByteArray& profile, const QByteArray& old)
{
    QByteArray fields(kColorFields, '\0');
    fields[0] = static_cast<char>(kRestrictedProfile);
    if (const QByteArrayView data = dataOf(old); data.size() >= kColorFields)
        fields = data.first(kColorFields).toByteArray();
    return box("colr", fields + profile);
}

} // namespace

bool RKJp2Parts::matches(QByteArrayView start) const
{
    return start.startsWith(QByteArrayView("\0\0\0\x0cjP  \r\n\x87\n", 12));
}

bool RKJp2Parts::split(RKPartCollector& file) const
{
    for (qint64 at = 0; at < file.size();) {
        const QByteArrayView start = file.peek(at, kLongHeaderSize + kUuidSize);
        const Header header = headerOf(start, file.size() - at);
        if (header.size == 0 || holdsPlaces(header.type))
            return false;
        const QByteArray name = "box " + header.type;
        const bool isMetadata = header.type == "uuid"
            && contentOfUuid(RKByteReader(start)
                                 .bytesAt(header.headerSize, kUuidSize)
                                 .value_or(QByteArrayView()))
                != Content::Other;
        bool isAdded = false;
        if (header.type == "jp2h" && header.size != file.size() - at) {
            const auto bytes = file.read(at, header.size);
            const Parts parts
                = !bytes || header.headerSize != kHeaderSize ? Parts() : partsOfHeader(*bytes);
            isAdded = !parts.isEmpty() ? std::all_of(parts.begin(),
                          parts.end(),
                          [&file](const Part& part) { return file.add(part); })
                                       : bytes && file.add({Content::Other, name, {*bytes}, {}});
        } else if (header.type == "jp2c") {
            isAdded = file.addRange(name, at, header.size);
        } else {
            isAdded = isMetadata ? file.addBytes(*this, at, header.size)
                                 : file.addOther(name, at, header.size);
        }
        if (!isAdded)
            return false;
        at += header.size;
    }
    return true;
}

Part RKJp2Parts::partOf(const QByteArray& bytes) const
{
    const Header header = headerOf(bytes, bytes.size());
    // A part of its own content is one with a profile, which belongs into the header box.
    if (header.type == "colr")
        return {Content::Icc, kColor, {bytes}, {}};
    const Content content = header.type == "uuid"
        ? contentOfUuid(dataOf(bytes).first(std::min(kUuidSize, dataOf(bytes).size())))
        : Content::Other;
    return {content, "box " + header.type, {bytes}, {}};
}

QList<RKFilePiece> RKJp2Parts::pieces(const Parts& parts) const
{
    QList<RKFilePiece> pieces;
    for (qsizetype i = 0; i < parts.size(); ++i) {
        pieces.append(parts[i].piece);
        if (parts[i].name != kHeaderBox || parts[i].piece.bytes.size() != kHeaderSize)
            continue;
        qint64 size = kHeaderSize;
        for (qsizetype child = i + 1; child < parts.size() && isInHeaderBox(parts[child]); ++child)
            size += parts[child].piece.bytes.size();
        pieces.last().bytes = RKByteReader::bytesOf(static_cast<quint32>(size)) + "jp2h";
    }
    return pieces;
}

Parts RKJp2Parts::withoutPixels(const Parts& parts) const
{
    Parts small = RKImageFileFormat::withoutPixels(parts);
    small.append(partOf(box("jp2c", QByteArray(kMinTail, '\0'))));
    return small;
}

Parts RKJp2Parts::comparable(const Parts& parts) const
{
    Parts result = parts;
    for (Part& part : result) {
        // Its size follows from the boxes in it.
        if (part.name == kHeaderBox && part.piece.bytes.size() == kHeaderSize)
            part.piece.bytes.clear();
    }
    return result;
}

qsizetype RKJp2Parts::placeFor(Content content, const Parts& parts) const
{
    const auto indexOf = [&parts](const char* name) {
        return std::find_if(parts.begin(), parts.end(), [name](const Part& part) {
            return part.name == name;
        }) - parts.begin();
    };
    if (content != Content::Icc)
        return leadingParts(parts);
    // Readers look at the first colour specification only.
    const qsizetype place = std::min(indexOf(kColor), indexOf(kImageHeader) + 1);
    return place <= parts.size() ? place : -1;
}

qsizetype RKJp2Parts::leadingParts(const Parts& parts) const
{
    for (qsizetype i = parts.size() - 1; i >= 0; --i) {
        if (parts[i].name.startsWith(kHeaderBox))
            return i + 1;
    }
    return parts.size();
}

QByteArray RKJp2Parts::block(Content content, const QList<QByteArray>& parts) const
{
    const QByteArrayView data = dataOf(parts.constFirst());
    if (content == Content::Icc)
        return data.sliced(std::min(kColorFields, data.size())).toByteArray();
    const QByteArrayView block = data.sliced(std::min<qsizetype>(kUuidSize, data.size()));
    // Some programs put the name of the JPEG segment in front.
    const bool hasName = content == Content::Exif && block.startsWith(kExifName);
    return block.sliced(hasName ? kExifName.size() : 0).toByteArray();
}

std::optional<QList<QByteArray>> RKJp2Parts::withBlock(
    Content content, const QByteArray& block, const QList<QByteArray>& parts) const
{
    if (block.isEmpty())
        return QList<QByteArray>();
    const QByteArray changed = content == Content::Icc ? withProfile(block, parts.value(0))
                                                       : box("uuid", uuidOf(content) + block);
    if (changed.isEmpty())
        return {};
    return QList<QByteArray>{changed};
}
