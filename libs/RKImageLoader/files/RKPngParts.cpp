#include "RKImageLoader/files/RKByteReader_p.h"
#include "RKImageLoader/files/RKPartCollector_p.h"
#include "RKImageLoader/files/RKPhotoshopResources_p.h"
#include "RKImageLoader/files/RKPngParts_p.h"

#include <zlib.h>

#include <algorithm>

namespace {

using Content = RKImageFileParts::Content;
using Part = RKImageFileParts::Part;
using Parts = QList<Part>;

constexpr qint64 kSignatureSize = 8;
constexpr qint64 kHeaderSize = 8;
constexpr qint64 kTypeSize = 4;
// Length, type and check sum.
constexpr qint64 kOverhead = 12;
constexpr quint32 kMaxLength = 0x7fffffff;
// A keyword has up to 79 bytes, and a NUL after it.
constexpr qint64 kMaxKeyword = 80;

// More than any metadata that a text can be deflated from.
constexpr qsizetype kMaxInflated = 64 * 1024 * 1024;

constexpr QByteArrayView kExifName("Exif\0\0", 6);
constexpr QByteArrayView kXmpKeyword("XML:com.adobe.xmp");

QByteArray inflated(QByteArrayView deflated)
{
    // RFC 1951: a match of 258 bytes takes two bits at least.
    constexpr qsizetype kMaxRatio = 1032;
    const qsizetype limit = std::min(deflated.size(), kMaxInflated / kMaxRatio) * kMaxRatio;
    QByteArray data(limit, Qt::Uninitialized);
    auto size = uLongf(data.size());
    const int status = uncompress(reinterpret_cast<Bytef*>(data.data()),
        &size,
        reinterpret_cast<const Bytef*>(deflated.data()),
        uLong(deflated.size()));
    return status == Z_OK ? QByteArray(data.constData(), qsizetype(size)) : QByteArray();
}

QByteArray deflated(const QByteArray& data)
{
    // After the four bytes of its own, Qt writes a stream of zlib.
    return qCompress(data).mid(4);
}

QByteArray chunk(const QByteArray& type, const QByteArray& data)
{
    const QByteArray checked = type + data;
    const auto sum = crc32(
        0, reinterpret_cast<const Bytef*>(checked.constData()), static_cast<uInt>(checked.size()));
    return RKByteReader::bytesOf(static_cast<quint32>(data.size())) + checked
        + RKByteReader::bytesOf(static_cast<quint32>(sum));
}

QByteArrayView typeOf(QByteArrayView chunk)
{
    return RKByteReader(chunk).bytesAt(kTypeSize, kTypeSize).value_or(QByteArrayView());
}

QByteArrayView dataOf(QByteArrayView chunk)
{
    return chunk.size() < kOverhead ? QByteArrayView()
                                    : chunk.sliced(kHeaderSize, chunk.size() - kOverhead);
}

bool isText(QByteArrayView type)
{
    return type == "tEXt" || type == "zTXt" || type == "iTXt";
}

QByteArrayView keywordOf(QByteArrayView data)
{
    return data.first(std::max<qsizetype>(
        0, data.first(std::min<qsizetype>(data.size(), kMaxKeyword)).indexOf('\0')));
}

/// From the type and the first bytes of the data.
Content contentOf(QByteArrayView type, QByteArrayView data)
{
    if (type == "eXIf")
        return Content::Exif;
    // Chunks that name a standard colour space contradict a profile.
    if (type == "iCCP" || type == "sRGB" || type == "cICP")
        return Content::Icc;
    if (!isText(type))
        return Content::Other;
    const QByteArrayView keyword = keywordOf(data);
    if (keyword == kXmpKeyword || keyword == "Raw profile type xmp")
        return Content::Xmp;
    if (keyword == "Raw profile type exif" || keyword == "Raw profile type APP1")
        return Content::Exif;
    return keyword == "Raw profile type iptc" ? Content::Iptc : Content::Other;
}

/// The text of a chunk, inflated.
QByteArray textOf(QByteArrayView chunk)
{
    const QByteArrayView type = typeOf(chunk);
    RKByteReader reader(dataOf(chunk));
    reader.take(quint64(keywordOf(reader.rest()).size()) + 1);
    bool isDeflated = type == "zTXt";
    if (isDeflated) {
        reader.take(1);
    } else if (type == "iTXt") {
        isDeflated = reader.number<quint8>() != 0;
        reader.take(1);
        // The language and the translated keyword.
        for (int i = 0; i < 2; ++i)
            reader.take(quint64(reader.rest().indexOf('\0')) + 1);
    }
    return isDeflated ? inflated(reader.rest()) : reader.rest().toByteArray();
}

/// What other programs write as a text: a line with a name, one with the number of bytes, and those
/// in lines of hexadecimal digits.
QByteArray rawProfile(QByteArrayView chunk)
{
    const QByteArray text = textOf(chunk);
    const qsizetype name = text.indexOf('\n');
    const qsizetype size = name < 0 ? -1 : text.indexOf('\n', name + 1);
    const qsizetype digits = size < 0 ? -1 : text.indexOf('\n', size + 1);
    if (digits < 0)
        return {};
    bool isNumber = false;
    const qlonglong length = text.mid(size, digits - size).trimmed().toLongLong(&isNumber);
    const QByteArray bytes = QByteArray::fromHex(text.mid(digits));
    return isNumber && length == bytes.size() ? bytes : QByteArray();
}

QByteArray rawProfileChunk(QByteArrayView old, const QByteArray& bytes)
{
    constexpr qsizetype kBytesInLine = 36;
    const QByteArrayView keyword = keywordOf(dataOf(old));
    QByteArray text = '\n' + keyword.sliced(keyword.lastIndexOf(' ') + 1).toByteArray() + '\n'
        + QByteArray::number(bytes.size()).rightJustified(8) + '\n';
    for (qsizetype at = 0; at < bytes.size(); at += kBytesInLine)
        text += bytes.mid(at, kBytesInLine).toHex() + '\n';
    const QByteArray start = keyword.toByteArray() + '\0';
    return typeOf(old) == "tEXt" ? chunk("tEXt", start + text)
                                 : chunk("zTXt", start + '\0' + deflated(text));
}

QByteArray exifBlock(QByteArrayView chunk)
{
    if (typeOf(chunk) == "eXIf")
        return dataOf(chunk).toByteArray();
    const QByteArray profile = rawProfile(chunk);
    return profile.startsWith(kExifName) ? profile.mid(kExifName.size()) : profile;
}

QByteArray exifChunk(const QByteArray& block, const QByteArray& old)
{
    if (old.isEmpty() || typeOf(old) == "eXIf")
        return chunk("eXIf", block);
    return rawProfileChunk(old, kExifName.toByteArray() + block);
}

/// Some programs write the data sets alone.
bool isResources(const QByteArray& profile)
{
    return profile.isEmpty() || !RKPhotoshopResources(profile).all().isEmpty();
}

QByteArray iptcChunk(const QByteArrayList& blocks, const QByteArray& old)
{
    const QByteArray profile = rawProfile(old);
    const QByteArray changed = isResources(profile)
        ? RKPhotoshopResources(profile).with(RKPhotoshopResources::kIptc, blocks)
        : blocks.value(0);
    if (changed.isEmpty())
        return {};
    return rawProfileChunk(
        old.isEmpty() ? chunk("zTXt", QByteArray("Raw profile type iptc\0", 22)) : old, changed);
}

bool fits(const QByteArray& chunk)
{
    return chunk.size() - kOverhead <= qsizetype(kMaxLength);
}

QByteArray iccProfile(QByteArrayView chunk)
{
    if (typeOf(chunk) != "iCCP")
        return {};
    const QByteArrayView data = dataOf(chunk);
    const qsizetype name = keywordOf(data).size();
    constexpr qsizetype kNameEndAndMethod = 2;
    return inflated(data.sliced(std::min(name + kNameEndAndMethod, data.size())));
}

} // namespace

bool RKPngParts::matches(QByteArrayView start) const
{
    return start.startsWith("\x89PNG\r\n\x1a\n");
}

bool RKPngParts::split(RKPartCollector& file) const
{
    if (!file.addBytes(*this, 0, kSignatureSize))
        return false;
    qint64 at = kSignatureSize;
    QByteArray type;
    while (type != "IEND") {
        RKByteReader reader(file.peek(at, kHeaderSize + kMaxKeyword));
        const auto length = reader.number<quint32>();
        type = reader.take(kTypeSize).toByteArray();
        if (!reader.isGood() || length > kMaxLength)
            return false;
        const qint64 size = kOverhead + qint64(length);
        const bool isMetadata = contentOf(type, reader.rest()) != Content::Other;
        const bool isAdded = type == "IDAT" || type == "fdAT"
            ? file.addRange("chunk " + type, at, size)
            : isMetadata ? file.addBytes(*this, at, size)
                         : file.addOther("chunk " + type, at, size);
        if (!isAdded)
            return false;
        at += size;
    }
    // Bytes after the last chunk stay.
    return at == file.size() || file.addRange("rest of the file", at, file.size() - at);
}

Part RKPngParts::partOf(const QByteArray& bytes) const
{
    if (bytes.size() < kOverhead)
        return {Content::Other, "signature", {bytes}, {}};
    const QByteArrayView type = typeOf(bytes);
    return {contentOf(type, dataOf(bytes)), "chunk " + type.toByteArray(), {bytes}, {}};
}

Parts RKPngParts::comparable(const Parts& parts) const
{
    Parts result;
    for (const Part& part : parts) {
        result.append(part);
        const QByteArray profile
            = part.content == Content::Iptc ? rawProfile(part.piece.bytes) : QByteArray();
        if (!isResources(profile))
            continue;
        const RKPhotoshopResources resources(profile);
        for (const auto& resource : resources.all()) {
            if (resource.number != RKPhotoshopResources::kIptc) {
                result.append({Content::Other,
                    RKPhotoshopResources::nameOf(resource),
                    {resource.bytes.toByteArray()},
                    {}});
            }
        }
    }
    return result;
}

qsizetype RKPngParts::placeFor(Content content, const Parts& parts) const
{
    // A profile comes before palette and pixels, others may come after them (PNG 3, 5.6).
    if (content == Content::Icc)
        return leadingParts(parts);
    const auto named = [&parts](const char* name) {
        return std::find_if(
            parts.begin(), parts.end(), [name](const Part& part) { return part.name == name; });
    };
    // FFmpeg 5.1 takes an animated file for a still one if it meets Exif before the last frame.
    if (named("chunk acTL") != parts.end())
        return named("chunk IEND") - parts.begin();
    return RKImageFileFormat::placeFor(content, parts);
}

qsizetype RKPngParts::leadingParts(const Parts& parts) const
{
    Q_UNUSED(parts)
    // The signature and the header.
    return 2;
}

QByteArray RKPngParts::block(Content content, const QList<QByteArray>& parts) const
{
    const QByteArray& first = parts.constFirst();
    switch (content) {
    case Content::Exif: return exifBlock(first);
    case Content::Xmp:
        return keywordOf(dataOf(first)) == kXmpKeyword ? textOf(first) : rawProfile(first);
    case Content::Icc:
        for (const QByteArray& part : parts) {
            if (const QByteArray profile = iccProfile(part); !profile.isEmpty())
                return profile;
        }
        break;
    case Content::Iptc:
    case Content::Other: break;
    }
    return {};
}

QByteArrayList RKPngParts::iptcBlocks(const Run& run) const
{
    const QByteArray profile = rawProfile(run.constFirst());
    return isResources(profile) ? RKPhotoshopResources(profile).data(RKPhotoshopResources::kIptc)
                                : QByteArrayList{profile};
}

std::optional<QList<RKPngParts::Run>> RKPngParts::withIptcBlocks(
    const QByteArrayList& blocks, const Run& run) const
{
    const QByteArray changed = iptcChunk(blocks, run.value(0));
    if (!fits(changed))
        return {};
    return QList<Run>{changed.isEmpty() ? Run() : Run{changed}};
}

std::optional<QList<QByteArray>> RKPngParts::withBlock(
    Content content, const QByteArray& block, const QList<QByteArray>& parts) const
{
    const QByteArray first = parts.value(0);
    QByteArray changed;
    if (block.isEmpty())
        return QList<QByteArray>();
    if (content == Content::Exif)
        changed = exifChunk(block, first);
    else if (content == Content::Xmp) {
        // Not deflated, without a language or a translation.
        changed = chunk("iTXt", kXmpKeyword.toByteArray() + QByteArray(5, '\0') + block);
    } else {
        changed = chunk("iCCP", QByteArray("ICC profile\0\0", 13) + deflated(block));
    }
    return fits(changed) ? std::optional(QList<QByteArray>{changed}) : std::nullopt;
}
