#include "RKImageLoader/files/RKByteReader_p.h"
#include "RKImageLoader/files/RKPartCollector_p.h"
#include "RKImageLoader/files/RKWebpParts_p.h"

#include <algorithm>
#include <limits>
#include <numeric>

namespace {

using Content = RKImageFileParts::Content;
using Part = RKImageFileParts::Part;
using Parts = QList<Part>;

constexpr qint64 kTypeSize = 4;
constexpr qint64 kHeaderSize = 8;
constexpr qint64 kFileHeaderSize = 12;
// The frame header of either kind of pixels.
constexpr qint64 kPixelHeaderSize = 10;
// Frames begin with their place and size (RFC 9649, 2.7.1.1).
constexpr qint64 kFrameFields = 16;

// Flags of the extended header (RFC 9649, 2.7).
constexpr quint8 kHasIcc = 0x20;
constexpr quint8 kHasAlpha = 0x10;
constexpr quint8 kHasExif = 0x08;
constexpr quint8 kHasXmp = 0x04;

constexpr char kFileHeader[] = "file header";
constexpr char kExtendedHeader[] = "chunk VP8X";
constexpr char kRest[] = "rest of the file";

constexpr QByteArrayView kExifName("Exif\0\0", 6);

template <typename Number>
QByteArray littleEndian(Number number)
{
    return RKByteReader::bytesOf(number, QSysInfo::LittleEndian);
}

RKByteReader littleEndianReader(QByteArrayView bytes)
{
    return RKByteReader(bytes, QSysInfo::LittleEndian);
}

QByteArray typeOf(Content content)
{
    switch (content) {
    case Content::Exif: return "EXIF";
    case Content::Xmp: return "XMP ";
    case Content::Icc: return "ICCP";
    default: return {};
    }
}

Content contentOf(QByteArrayView type)
{
    for (const Content content : {Content::Exif, Content::Xmp, Content::Icc}) {
        if (type == typeOf(content))
            return content;
    }
    return Content::Other;
}

QByteArray chunk(const QByteArray& type, const QByteArray& data)
{
    return type + littleEndian(static_cast<quint32>(data.size())) + data;
}

bool isPixels(QByteArrayView type)
{
    return type == "VP8 " || type == "VP8L" || type == "ALPH" || type == "ANMF";
}

quint8 flagOf(Content content)
{
    switch (content) {
    case Content::Exif: return kHasExif;
    case Content::Xmp: return kHasXmp;
    case Content::Icc: return kHasIcc;
    default: return 0;
    }
}

qint64 sizeOf(const Part& part)
{
    return part.piece.bytes.size() + part.piece.size;
}

/// Includes the byte that makes it even.
qint64 paddedSizeOf(const Part& part)
{
    return (sizeOf(part) + 1) / 2 * 2;
}

bool isExtendedHeader(const Part& part)
{
    return part.name == kExtendedHeader
        && part.piece.bytes.size() >= kHeaderSize + kPixelHeaderSize;
}

/// Both less 1, in three bytes each.
void setSides(QByteArray& header, quint32 width, quint32 height)
{
    for (int i = 0; i < 3; ++i) {
        header[4 + i] = static_cast<char>(width >> (8 * i));
        header[7 + i] = static_cast<char>(height >> (8 * i));
    }
}

/// Some programs put the name of the JPEG segment in front of an Exif block.
bool hasExifName(Content content, const QList<QByteArray>& parts)
{
    return content == Content::Exif && !parts.isEmpty()
        && QByteArrayView(parts.constFirst()).sliced(kHeaderSize).startsWith(kExifName);
}

/// From the header of the pixels (RFC 6386, 9.1; RFC 9649, 3.4).
QByteArray newExtendedHeader(const Parts& parts)
{
    constexpr quint32 kSideBits = 14;
    constexpr quint32 kSideMask = (1u << kSideBits) - 1;
    QByteArray header(kPixelHeaderSize, '\0');
    for (const Part& part : parts) {
        const RKByteReader reader = littleEndianReader(part.start);
        if (part.name == "chunk VP8L") {
            const auto sides = reader.numberAt<quint32>(kHeaderSize + 1).value_or(0);
            const bool hasAlpha = (sides >> (2 * kSideBits) & 1) != 0;
            header[0] = static_cast<char>(hasAlpha ? kHasAlpha : 0);
            setSides(header, sides & kSideMask, sides >> kSideBits & kSideMask);
        } else if (part.name == "chunk VP8 ") {
            const auto width = reader.numberAt<quint16>(kHeaderSize + 6).value_or(1);
            const auto height = reader.numberAt<quint16>(kHeaderSize + 8).value_or(1);
            setSides(header, (width & kSideMask) - 1, (height & kSideMask) - 1);
        }
    }
    return chunk("VP8X", header);
}

/// The chunk that says which metadata there are; empty for a file without any that has none.
QByteArray extendedHeader(const Parts& parts)
{
    const auto flags
        = std::accumulate(parts.begin(), parts.end(), quint8(0), [](quint8 sum, const Part& part) {
              return static_cast<quint8>(sum | flagOf(part.content));
          });
    const bool isThere = isExtendedHeader(parts.at(1));
    if (flags == 0 && !isThere)
        return {};
    QByteArray header = isThere ? parts.at(1).piece.bytes : newExtendedHeader(parts);
    const auto others = static_cast<quint8>(header.at(kHeaderSize))
        & static_cast<quint8>(~(kHasIcc | kHasExif | kHasXmp));
    header[kHeaderSize] = static_cast<char>(others | flags);
    return header;
}

} // namespace

bool RKWebpParts::matches(QByteArrayView start) const
{
    return start.startsWith("RIFF") && start.sliced(kHeaderSize) == "WEBP";
}

bool RKWebpParts::split(RKPartCollector& file) const
{
    const auto header = file.read(0, kFileHeaderSize);
    if (!header || !file.add({Content::Other, kFileHeader, {*header}, {}}))
        return false;
    // Bytes after the end that the file states stay.
    const qint64 stated
        = kHeaderSize + littleEndianReader(*header).numberAt<quint32>(kTypeSize).value_or(0);
    const qint64 end
        = stated > kFileHeaderSize ? std::min((stated + 1) / 2 * 2, file.size()) : file.size();
    qint64 at = kFileHeaderSize;
    while (at < end) {
        RKByteReader reader = littleEndianReader(file.peek(at, kHeaderSize + kFrameFields));
        QByteArray start = reader.rest().toByteArray();
        const QByteArray type = reader.take(kTypeSize).toByteArray();
        const qint64 size = kHeaderSize + qint64(reader.number<quint32>());
        if (!reader.isGood() || size > file.size() - at)
            return false;
        // The byte that makes a chunk even is none of its own.
        start.truncate(qsizetype(size));
        const QByteArray name = "chunk " + type;
        const bool isAdded = isPixels(type)     ? file.addRange(name, at, size, start)
            : contentOf(type) != Content::Other ? file.addBytes(*this, at, size)
                                                : file.addOther(name, at, size);
        if (!isAdded)
            return false;
        at += (size + 1) / 2 * 2;
    }
    if (file.parts().size() < 2)
        return false;
    return at >= file.size() || file.addRange(kRest, at, file.size() - at);
}

Part RKWebpParts::partOf(const QByteArray& bytes) const
{
    const QByteArray type = bytes.first(std::min<qsizetype>(kTypeSize, bytes.size()));
    return {contentOf(type), "chunk " + type, {bytes}, {}};
}

QList<RKFilePiece> RKWebpParts::pieces(const Parts& parts) const
{
    QByteArray extended = extendedHeader(parts);
    if (extended.size() % 2 != 0)
        extended += '\0';
    qint64 size = kFileHeaderSize - kHeaderSize + extended.size();
    QList<RKFilePiece> pieces{{}};
    for (const Part& part : parts.mid(1)) {
        if (isExtendedHeader(part))
            continue;
        pieces.append(part.piece);
        if (part.name == kRest)
            continue;
        size += paddedSizeOf(part);
        if (sizeOf(part) % 2 != 0)
            pieces.append({QByteArray(1, '\0')});
    }
    pieces.first().bytes = "RIFF" + littleEndian(static_cast<quint32>(size)) + "WEBP" + extended;
    return pieces;
}

Parts RKWebpParts::withoutPixels(const Parts& parts) const
{
    Parts small;
    bool hasPixels = false;
    for (const Part& part : parts) {
        if (part.piece.size == 0) {
            small.append(part);
        } else if (!hasPixels && !part.start.isEmpty()) {
            hasPixels = true;
            Part cut = part;
            cut.piece = {chunk(part.start.first(kTypeSize), part.start.mid(kHeaderSize))};
            small.append(cut);
        }
    }
    return small;
}

Parts RKWebpParts::comparable(const Parts& parts) const
{
    Parts result;
    for (const Part& part : parts) {
        if (!isExtendedHeader(part) && part.name != kFileHeader)
            result.append(part);
    }
    // It follows from the parts which metadata there are.
    Parts plain = parts;
    for (Part& part : plain)
        part.content = Content::Other;
    QByteArray header = extendedHeader(plain);
    result.prepend({Content::Other,
        kExtendedHeader,
        {header.isEmpty() ? newExtendedHeader(parts) : header},
        {}});
    return result;
}

qsizetype RKWebpParts::placeFor(Content content, const Parts& parts) const
{
    // The profile before the pixels, Exif and XMP after them.
    if (content == Content::Icc)
        return leadingParts(parts);
    return parts.constLast().name == kRest ? parts.size() - 1 : parts.size();
}

qsizetype RKWebpParts::leadingParts(const Parts& parts) const
{
    return isExtendedHeader(parts.at(1)) ? 2 : 1;
}

QByteArray RKWebpParts::block(Content content, const QList<QByteArray>& parts) const
{
    const QByteArray block = parts.constFirst().mid(kHeaderSize);
    return hasExifName(content, parts) ? block.mid(kExifName.size()) : block;
}

std::optional<QList<QByteArray>> RKWebpParts::withBlock(
    Content content, const QByteArray& block, const QList<QByteArray>& parts) const
{
    // There is no place for IPTC.
    if (content == Content::Iptc)
        return {};
    if (block.isEmpty())
        return QList<QByteArray>();
    if (block.size() > std::numeric_limits<quint32>::max() / 2)
        return {};
    const QByteArray name = hasExifName(content, parts) ? kExifName.toByteArray() : QByteArray();
    return QList<QByteArray>{chunk(typeOf(content), name + block)};
}
