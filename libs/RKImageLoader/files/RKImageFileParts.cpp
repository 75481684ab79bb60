#include "RKImageLoader/files/RKImageFileParts_p.h"

#include <QIODevice>
#include <QtEndian>

#include <zlib.h>

#include <algorithm>
#include <array>
#include <optional>

using Content = RKImageFileParts::Content;
using Part = RKImageFileParts::Part;

/// What differs between the formats.
class RKImageFileParts::Format
{
    Q_DISABLE_COPY_MOVE(Format)

public:
    Format() = default;
    virtual ~Format() = default;

    virtual bool matches(const QByteArray& file) const = 0;
    /// Nothing where a part reaches beyond the file.
    virtual std::optional<QList<Part>> split(const QByteArray& file) const = 0;

    virtual QByteArray join(const QList<Part>& parts) const
    {
        QByteArray file;
        for (const Part& part : parts)
            file += part.bytes;
        return file;
    }

    /// Where the first part of a content goes: behind those of the contents that come before it.
    virtual qsizetype placeFor(Content content, const QList<Part>& parts) const
    {
        qsizetype place = leadingParts(parts);
        for (qsizetype i = place; i < parts.size(); ++i) {
            if (parts[i].content != Content::Other && parts[i].content < content)
                place = i + 1;
        }
        return place;
    }

    /// The number of parts that have to stay in front of all metadata.
    virtual qsizetype leadingParts(const QList<Part>& parts) const = 0;
    /// Where the TIFF structure begins in an Exif part; -1 where it is not stored as such.
    virtual qsizetype startOfExif(const QByteArray& part) const = 0;
    /// An Exif part; empty for a structure that is too large.
    virtual QByteArray exifPart(const QByteArray& block) const = 0;

    virtual QByteArray iccPart(const QByteArray& profile) const
    {
        Q_UNUSED(profile)
        return {};
    }

    virtual QByteArray xmpPart(const QByteArray& packet) const
    {
        Q_UNUSED(packet)
        return {};
    }
};

namespace {

quint32 number32(const QByteArray& bytes, qsizetype at)
{
    return qFromBigEndian<quint32>(bytes.constData() + at);
}

QByteArray bytesOf(quint32 number)
{
    QByteArray bytes(sizeof number, Qt::Uninitialized);
    qToBigEndian(number, bytes.data());
    return bytes;
}

class JpegFormat final : public RKImageFileParts::Format
{
public:
    bool matches(const QByteArray& file) const override
    {
        return file.startsWith("\xff\xd8\xff");
    }

    std::optional<QList<Part>> split(const QByteArray& file) const override
    {
        QList<Part> parts{{Content::Other, file.left(kMarkerSize)}};
        qsizetype at = kMarkerSize;
        while (at + kMarkerSize + kLengthSize <= file.size()) {
            const qsizetype start = at;
            if (byte(file, at) != kMarker)
                return {};
            // Fill bytes may precede a marker.
            while (at + kMarkerSize + kLengthSize <= file.size() && byte(file, at + 1) == kMarker)
                ++at;
            const quint8 marker = byte(file, at + 1);
            if (marker == kStartOfScan || marker == kEndOfImage) {
                parts.append({Content::Other, file.mid(start)});
                return parts;
            }
            if (at + kMarkerSize + kLengthSize > file.size())
                return {};
            const auto length = qFromBigEndian<quint16>(file.constData() + at + kMarkerSize);
            const qsizetype end = at + kMarkerSize + length;
            if (length < kLengthSize || end > file.size())
                return {};
            const QByteArray data = file.mid(at + kMarkerSize + kLengthSize, length - kLengthSize);
            parts.append({contentOf(marker, data), file.mid(start, end - start)});
            at = end;
        }
        return {};
    }

    qsizetype leadingParts(const QList<Part>& parts) const override
    {
        // JFIF wants to be first.
        qsizetype number = 1;
        while (number < parts.size() && byte(parts[number].bytes, 1) == kApp0)
            ++number;
        return number;
    }

    qsizetype startOfExif(const QByteArray& part) const override
    {
        return part.indexOf(exifName()) + exifName().size();
    }

    QByteArray exifPart(const QByteArray& block) const override
    {
        const qsizetype length = kLengthSize + exifName().size() + block.size();
        if (length > std::numeric_limits<quint16>::max())
            return {};
        QByteArray size(kLengthSize, Qt::Uninitialized);
        qToBigEndian(static_cast<quint16>(length), size.data());
        return QByteArray("\xff\xe1") + size + exifName() + block;
    }

private:
    static constexpr qsizetype kMarkerSize = 2;
    static constexpr qsizetype kLengthSize = 2;
    static constexpr quint8 kMarker = 0xff;
    static constexpr quint8 kStartOfScan = 0xda;
    static constexpr quint8 kEndOfImage = 0xd9;
    static constexpr quint8 kApp0 = 0xe0;
    static constexpr quint8 kApp1 = 0xe1;
    static constexpr quint8 kApp2 = 0xe2;
    static constexpr quint8 kApp13 = 0xed;

    static quint8 byte(const QByteArray& bytes, qsizetype at)
    {
        return static_cast<quint8>(bytes.at(at));
    }

    static QByteArray exifName()
    {
        return QByteArray("Exif\0\0", 6);
    }

    static Content contentOf(quint8 marker, const QByteArray& data)
    {
        if (marker == kApp1 && data.startsWith(exifName()))
            return Content::Exif;
        if (marker == kApp1 && data.startsWith("http://ns.adobe.com/xap/1.0/"))
            return Content::Xmp;
        if (marker == kApp13 && data.startsWith("Photoshop 3.0"))
            return Content::Iptc;
        if (marker == kApp2 && data.startsWith("ICC_PROFILE"))
            return Content::Icc;
        return Content::Other;
    }
};

class PngFormat final : public RKImageFileParts::Format
{
public:
    bool matches(const QByteArray& file) const override
    {
        return file.startsWith("\x89PNG\r\n\x1a\n");
    }

    std::optional<QList<Part>> split(const QByteArray& file) const override
    {
        QList<Part> parts{{Content::Other, file.left(kSignatureSize)}};
        qsizetype at = kSignatureSize;
        while (at + kOverhead <= file.size()) {
            const qsizetype size = kOverhead + number32(file, at);
            if (at + size > file.size())
                break;
            parts.append({contentOf(file.mid(at, size)), file.mid(at, size)});
            at += size;
        }
        // Bytes behind the last chunk stay.
        if (parts.last().bytes.mid(4, 4) != "IEND")
            return {};
        if (at < file.size())
            parts.append({Content::Other, file.mid(at)});
        return parts;
    }

    qsizetype leadingParts(const QList<Part>& parts) const override
    {
        Q_UNUSED(parts)
        // The signature and the header.
        return 2;
    }

    qsizetype startOfExif(const QByteArray& part) const override
    {
        return part.mid(4, 4) == "eXIf" ? kDataInChunk : -1;
    }

    QByteArray exifPart(const QByteArray& block) const override
    {
        return chunk("eXIf", block);
    }

    QByteArray iccPart(const QByteArray& profile) const override
    {
        // Behind the four bytes of its own, Qt writes a stream of zlib.
        return chunk("iCCP", QByteArray("ICC profile\0\0", 13) + qCompress(profile).mid(4));
    }

private:
    static constexpr qsizetype kSignatureSize = 8;
    static constexpr qsizetype kDataInChunk = 8;
    // Length, type and check sum.
    static constexpr qsizetype kOverhead = 12;

    static QByteArray chunk(const QByteArray& type, const QByteArray& data)
    {
        const QByteArray checked = type + data;
        const auto sum = crc32(0,
            reinterpret_cast<const Bytef*>(checked.constData()),
            static_cast<uInt>(checked.size()));
        return bytesOf(static_cast<quint32>(data.size())) + checked
            + bytesOf(static_cast<quint32>(sum));
    }

    static Content contentOf(const QByteArray& chunk)
    {
        const QByteArray type = chunk.mid(4, 4);
        if (type == "eXIf")
            return Content::Exif;
        // A chunk that names a standard colour space contradicts a profile.
        if (type == "iCCP" || type == "sRGB")
            return Content::Icc;
        if (type != "tEXt" && type != "zTXt" && type != "iTXt")
            return Content::Other;
        const QByteArray data = chunk.mid(kDataInChunk);
        const QByteArray keyword = data.left(data.indexOf('\0'));
        if (keyword == "XML:com.adobe.xmp" || keyword == "Raw profile type xmp")
            return Content::Xmp;
        if (keyword == "Raw profile type exif" || keyword == "Raw profile type APP1")
            return Content::Exif;
        return keyword == "Raw profile type iptc" ? Content::Iptc : Content::Other;
    }
};

class Jp2Format final : public RKImageFileParts::Format
{
public:
    bool matches(const QByteArray& file) const override
    {
        return file.startsWith(QByteArray("\0\0\0\x0cjP  \r\n\x87\n", 12));
    }

    std::optional<QList<Part>> split(const QByteArray& file) const override
    {
        QList<Part> parts;
        qsizetype at = 0;
        while (at + kHeaderSize <= file.size()) {
            quint64 size = number32(file, at);
            if (size == 1 && at + kLongHeaderSize <= file.size())
                size = qFromBigEndian<quint64>(file.constData() + at + kHeaderSize);
            else if (size == 0)
                size = static_cast<quint64>(file.size() - at);
            if (size < kHeaderSize || size > static_cast<quint64>(file.size() - at))
                return {};
            const QByteArray box = file.mid(at, static_cast<qsizetype>(size));
            parts.append({contentOf(box), box});
            at += static_cast<qsizetype>(size);
        }
        return at == file.size() ? std::optional(parts) : std::nullopt;
    }

    qsizetype leadingParts(const QList<Part>& parts) const override
    {
        const auto header = std::find_if(parts.begin(), parts.end(), [](const Part& part) {
            return part.content == Content::Icc;
        });
        return header == parts.end() ? parts.size() : header - parts.begin() + 1;
    }

    qsizetype startOfExif(const QByteArray& part) const override
    {
        return number32(part, 0) == 1 ? -1 : kHeaderSize + kUuidSize;
    }

    QByteArray exifPart(const QByteArray& block) const override
    {
        const quint64 size = kHeaderSize + kUuidSize + static_cast<quint64>(block.size());
        if (size > std::numeric_limits<quint32>::max())
            return {};
        return bytesOf(static_cast<quint32>(size)) + "uuidJpgTiffExif->JP2" + block;
    }

private:
    static constexpr qsizetype kHeaderSize = 8;
    static constexpr qsizetype kLongHeaderSize = 16;
    static constexpr qsizetype kUuidSize = 16;

    static Content contentOf(const QByteArray& box)
    {
        const QByteArray type = box.mid(4, 4);
        // The header box holds the profile, among other things.
        if (type == "jp2h")
            return Content::Icc;
        if (type != "uuid")
            return Content::Other;
        const QByteArray uuid = box.mid(kHeaderSize, kUuidSize);
        // exiv2 does not read the Exif of Photoshop, which has another identifier.
        if (uuid == "JpgTiffExif->JP2")
            return Content::Exif;
        if (uuid == QByteArray::fromHex("33c7a4d2b81d4723a0baf1a3e097ad38"))
            return Content::Iptc;
        return uuid == QByteArray::fromHex("be7acfcb97a942e89c71999491e3afac") ? Content::Xmp
                                                                               : Content::Other;
    }
};

class PhotoshopFormat final : public RKImageFileParts::Format
{
public:
    bool matches(const QByteArray& file) const override
    {
        return file.startsWith(QByteArray("8BPS\0\1", 6));
    }

    std::optional<QList<Part>> split(const QByteArray& file) const override
    {
        // Header, colour table, resources, and then layers and pixels.
        if (file.size() < kTable + kLengthSize)
            return {};
        const qsizetype resources = kTable + kLengthSize + number32(file, kTable);
        if (resources + kLengthSize > file.size())
            return {};
        qsizetype at = resources + kLengthSize;
        const qsizetype end = at + number32(file, resources);
        if (end > file.size())
            return {};
        QList<Part> parts{{Content::Other, file.left(resources)}};
        while (at < end) {
            const qsizetype size = resourceSize(file, at);
            if (size == 0 || at + size > end)
                return {};
            parts.append({contentOf(file, at), file.mid(at, size)});
            at += size;
        }
        parts.append({Content::Other, file.mid(end)});
        return parts;
    }

    QByteArray join(const QList<Part>& parts) const override
    {
        QByteArray resources;
        for (qsizetype i = 1; i + 1 < parts.size(); ++i)
            resources += parts[i].bytes;
        return parts.first().bytes + bytesOf(static_cast<quint32>(resources.size())) + resources
            + parts.last().bytes;
    }

    qsizetype leadingParts(const QList<Part>& parts) const override
    {
        // Behind the other resources.
        return parts.size() - 1;
    }

    qsizetype startOfExif(const QByteArray& part) const override
    {
        return dataInResource(part, 0);
    }

    QByteArray exifPart(const QByteArray& block) const override
    {
        return resource(kExif, block);
    }

    QByteArray iccPart(const QByteArray& profile) const override
    {
        return resource(kIcc, profile);
    }

    QByteArray xmpPart(const QByteArray& packet) const override
    {
        return resource(kXmp, packet);
    }

    static constexpr qsizetype kTable = 26;
    static constexpr qsizetype kLengthSize = 4;

    /// The data of a resource.
    static QByteArray dataOf(const QByteArray& part)
    {
        const qsizetype start = dataInResource(part, 0);
        return part.mid(start, number32(part, start - kLengthSize));
    }

private:
    static constexpr quint16 kIptc = 0x0404;
    static constexpr quint16 kIcc = 0x040f;
    static constexpr quint16 kExif = 0x0422;
    static constexpr quint16 kXmp = 0x0424;

    /// Where the data begin: behind signature, number, name and length.
    static qsizetype dataInResource(const QByteArray& file, qsizetype at)
    {
        constexpr qsizetype kName = 6;
        if (at + kName >= file.size())
            return file.size();
        const qsizetype name = (static_cast<quint8>(file.at(at + kName)) + 2) / 2 * 2;
        return at + kName + name + kLengthSize;
    }

    static qsizetype resourceSize(const QByteArray& file, qsizetype at)
    {
        const qsizetype data = dataInResource(file, at);
        if (data > file.size())
            return 0;
        const qsizetype size = number32(file, data - kLengthSize);
        return data - at + (size + 1) / 2 * 2;
    }

    static Content contentOf(const QByteArray& file, qsizetype at)
    {
        if (file.mid(at, 4) != "8BIM")
            return Content::Other;
        switch (qFromBigEndian<quint16>(file.constData() + at + 4)) {
        case kIptc: return Content::Iptc;
        case kIcc: return Content::Icc;
        case kExif: return Content::Exif;
        case kXmp: return Content::Xmp;
        default: return Content::Other;
        }
    }

    static QByteArray resource(quint16 number, const QByteArray& data)
    {
        QByteArray id(sizeof number, Qt::Uninitialized);
        qToBigEndian(number, id.data());
        QByteArray bytes
            = "8BIM" + id + QByteArray(2, '\0') + bytesOf(static_cast<quint32>(data.size())) + data;
        if (data.size() % 2 != 0)
            bytes.append('\0');
        return bytes;
    }
};

class WebpFormat final : public RKImageFileParts::Format
{
public:
    bool matches(const QByteArray& file) const override
    {
        return file.startsWith("RIFF") && file.mid(8, 4) == "WEBP";
    }

    std::optional<QList<Part>> split(const QByteArray& file) const override
    {
        QList<Part> parts{{Content::Other, file.left(kFileHeaderSize)}};
        qsizetype at = kFileHeaderSize;
        while (at + kHeaderSize <= file.size()) {
            const auto size = qFromLittleEndian<quint32>(file.constData() + at + kTypeSize);
            const qsizetype end = at + kHeaderSize + (qsizetype(size) + 1) / 2 * 2;
            if (end > file.size())
                return {};
            parts.append({contentOf(file.mid(at, kTypeSize)), file.mid(at, end - at)});
            at = end;
        }
        return at == file.size() && parts.size() > 1 ? std::optional(parts) : std::nullopt;
    }

    QByteArray join(const QList<Part>& parts) const override
    {
        QByteArray chunks = extendedHeader(parts);
        for (const Part& part : parts.mid(1)) {
            if (!isExtendedHeader(part))
                chunks += part.bytes;
        }
        QByteArray file = parts.first().bytes + chunks;
        qToLittleEndian(static_cast<quint32>(file.size() - kHeaderSize), file.data() + kTypeSize);
        return file;
    }

    qsizetype placeFor(Content content, const QList<Part>& parts) const override
    {
        // The profile before the pixels, Exif and XMP behind them.
        return content == Content::Icc ? leadingParts(parts) : parts.size();
    }

    qsizetype leadingParts(const QList<Part>& parts) const override
    {
        return isExtendedHeader(parts.at(1)) ? 2 : 1;
    }

    qsizetype startOfExif(const QByteArray& part) const override
    {
        // Some programs put the name of the JPEG segment in front.
        const bool hasName = part.mid(kHeaderSize, 4) == "Exif";
        return kHeaderSize + (hasName ? 6 : 0);
    }

    QByteArray exifPart(const QByteArray& block) const override
    {
        return chunk("EXIF", block);
    }

    QByteArray iccPart(const QByteArray& profile) const override
    {
        return chunk("ICCP", profile);
    }

private:
    static constexpr qsizetype kTypeSize = 4;
    static constexpr qsizetype kHeaderSize = 8;
    static constexpr qsizetype kFileHeaderSize = 12;

    // Flags of the extended header (RFC 9649, 2.7).
    static constexpr quint8 kHasIcc = 0x20;
    static constexpr quint8 kHasAlpha = 0x10;
    static constexpr quint8 kHasExif = 0x08;
    static constexpr quint8 kHasXmp = 0x04;

    static Content contentOf(const QByteArray& type)
    {
        if (type == "EXIF")
            return Content::Exif;
        if (type == "XMP ")
            return Content::Xmp;
        return type == "ICCP" ? Content::Icc : Content::Other;
    }

    static QByteArray chunk(const QByteArray& type, const QByteArray& data)
    {
        QByteArray size(sizeof(quint32), Qt::Uninitialized);
        qToLittleEndian(static_cast<quint32>(data.size()), size.data());
        QByteArray bytes = type + size + data;
        if (data.size() % 2 != 0)
            bytes.append('\0');
        return bytes;
    }

    static bool isExtendedHeader(const Part& part)
    {
        return part.bytes.startsWith("VP8X");
    }

    /// The chunk that tells which of the metadata are there; empty for a file without any that has
    /// none.
    static QByteArray extendedHeader(const QList<Part>& parts)
    {
        quint8 flags = 0;
        for (const Part& part : parts) {
            if (part.content == Content::Icc)
                flags |= kHasIcc;
            else if (part.content == Content::Exif)
                flags |= kHasExif;
            else if (part.content == Content::Xmp)
                flags |= kHasXmp;
        }
        const bool isThere = isExtendedHeader(parts.at(1));
        if (flags == 0 && !isThere)
            return {};
        QByteArray header = isThere ? parts.at(1).bytes : newExtendedHeader(parts);
        const auto others = static_cast<quint8>(header.at(kHeaderSize))
            & static_cast<quint8>(~(kHasIcc | kHasExif | kHasXmp));
        header[kHeaderSize] = static_cast<char>(others | flags);
        return header;
    }

    /// From the header of the pixels (RFC 6386, 9.1; RFC 9649, 3.4).
    static QByteArray newExtendedHeader(const QList<Part>& parts)
    {
        constexpr quint32 kSideBits = 14;
        constexpr quint32 kSideMask = (1u << kSideBits) - 1;
        constexpr qsizetype kPixelHeaderSize = 10;
        QByteArray header(10, '\0');
        for (const Part& part : parts) {
            const char* const data = part.bytes.constData() + kHeaderSize;
            if (part.bytes.size() < kHeaderSize + kPixelHeaderSize)
                continue;
            if (part.bytes.startsWith("VP8L")) {
                const auto sides = qFromLittleEndian<quint32>(data + 1);
                const bool hasAlpha = (sides >> (2 * kSideBits) & 1) != 0;
                header[0] = static_cast<char>(hasAlpha ? kHasAlpha : 0);
                setSides(header, sides & kSideMask, sides >> kSideBits & kSideMask);
            } else if (part.bytes.startsWith("VP8 ")) {
                setSides(header,
                    (qFromLittleEndian<quint16>(data + 6) & kSideMask) - 1,
                    (qFromLittleEndian<quint16>(data + 8) & kSideMask) - 1);
            }
        }
        return chunk("VP8X", header);
    }

    /// Both less 1, in three bytes each.
    static void setSides(QByteArray& header, quint32 width, quint32 height)
    {
        for (int i = 0; i < 3; ++i) {
            header[4 + i] = static_cast<char>(width >> (8 * i));
            header[7 + i] = static_cast<char>(height >> (8 * i));
        }
    }
};

const RKImageFileParts::Format* formatOf(const QByteArray& file)
{
    static const JpegFormat jpeg;
    static const PngFormat png;
    static const Jp2Format jp2;
    static const PhotoshopFormat photoshop;
    static const WebpFormat webp;
    for (const RKImageFileParts::Format* format :
        std::initializer_list<const RKImageFileParts::Format*>{
            &jpeg, &png, &jp2, &photoshop, &webp})
    {
        if (format->matches(file))
            return format;
    }
    return nullptr;
}

} // namespace

RKImageFileParts::RKImageFileParts(const QByteArray& file)
    : m_format(formatOf(file))
{
    if (m_format)
        m_parts = m_format->split(file).value_or(QList<Part>());
}

bool RKImageFileParts::isValid() const
{
    return !m_parts.isEmpty();
}

QByteArray RKImageFileParts::file() const
{
    return isValid() ? m_format->join(m_parts) : QByteArray();
}

QList<QByteArray> RKImageFileParts::parts(Content content) const
{
    QList<QByteArray> found;
    for (const Part& part : m_parts) {
        if (part.content == content)
            found.append(part.bytes);
    }
    return found;
}

void RKImageFileParts::replace(Content content, const QList<QByteArray>& parts)
{
    if (!isValid())
        return;
    const auto hasContent = [content](const Part& part) { return part.content == content; };
    const auto first = std::find_if(m_parts.cbegin(), m_parts.cend(), hasContent);
    qsizetype place
        = first == m_parts.cend() ? m_format->placeFor(content, m_parts) : first - m_parts.cbegin();
    m_parts.removeIf(hasContent);
    for (const QByteArray& bytes : parts)
        m_parts.insert(place++, {content, bytes});
}

QByteArray RKImageFileParts::exifBlock() const
{
    const QByteArray part = parts(Content::Exif).value(0);
    const qsizetype start = part.isEmpty() ? -1 : m_format->startOfExif(part);
    return start < 0 ? QByteArray() : part.mid(start);
}

bool RKImageFileParts::setExifBlock(const QByteArray& block)
{
    const QByteArray part = exifBlock().isEmpty() ? QByteArray() : m_format->exifPart(block);
    if (part.isEmpty())
        return false;
    std::find_if(m_parts.begin(),
        m_parts.end(),
        [](const Part& other) { return other.content == Content::Exif; })
        ->bytes
        = part;
    return true;
}

QByteArray RKImageFileParts::photoshopProfile(QIODevice* file)
{
    // Of real files at most some megabytes: previews, paths and XMP.
    constexpr qint64 kMostResources = 64 * 1024 * 1024;
    if ((!file->isOpen() && !file->open(QIODevice::ReadOnly)) || !file->seek(0))
        return {};
    QByteArray start = file->read(PhotoshopFormat::kTable + PhotoshopFormat::kLengthSize);
    if (start.size() < PhotoshopFormat::kTable + PhotoshopFormat::kLengthSize)
        return {};
    const qint64 table = number32(start, PhotoshopFormat::kTable);
    start += file->read(qMin(table, kMostResources) + PhotoshopFormat::kLengthSize);
    const qint64 resources = start.size() - PhotoshopFormat::kLengthSize;
    start += file->read(qMin<qint64>(number32(start, resources), kMostResources));

    const QList<QByteArray> found = RKImageFileParts(start).parts(Content::Icc);
    return found.isEmpty() ? QByteArray() : PhotoshopFormat::dataOf(found.constFirst());
}

bool RKImageFileParts::replaceWith(Content content, const QByteArray& part)
{
    if (part.isEmpty())
        return false;
    replace(content, {part});
    return true;
}

bool RKImageFileParts::setIccProfile(const QByteArray& profile)
{
    return isValid() && replaceWith(Content::Icc, m_format->iccPart(profile));
}

bool RKImageFileParts::setXmpPacket(const QByteArray& packet)
{
    return isValid() && replaceWith(Content::Xmp, m_format->xmpPart(packet));
}
