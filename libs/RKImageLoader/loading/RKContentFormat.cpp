#include "RKImageLoader/files/RKByteReader_p.h"
#include "RKImageLoader/files/RKTiffTags_p.h"
#include "RKImageLoader/loading/RKContentFormat_p.h"

#include <algorithm>
#include <array>

namespace {

struct Signature
{
    RKMediaFormatEnum format = MEDIA_FORMAT_UNKNOWN;
    QByteArrayView bytes;
    qint64 place = 0;
};

template <size_t size>
constexpr QByteArrayView view(const char (&bytes)[size])
{
    return {bytes, qsizetype(size - 1)};
}

// The beginnings that the formats' descriptions ask for. Longer ones come before shorter ones.
constexpr std::array kSignatures{Signature{MEDIA_FORMAT_PNG, view("\x89PNG\r\n\x1a\n")},
    Signature{MEDIA_FORMAT_MNG, view("\x8aMNG\r\n\x1a\n")},
    Signature{MEDIA_FORMAT_JPG, view("\xff\xd8\xff")},
    Signature{MEDIA_FORMAT_GIF, view("GIF8")},
    Signature{MEDIA_FORMAT_BMP, view("BM")},
    Signature{MEDIA_FORMAT_ICO, view("\0\0\1\0")},
    Signature{MEDIA_FORMAT_JP2, view("\0\0\0\x0cjP  ")},
    Signature{MEDIA_FORMAT_JP2, view("\xff\x4f\xff\x51")},
    Signature{MEDIA_FORMAT_PSD, view("8BPS")},
    Signature{MEDIA_FORMAT_XPM, view("/* XPM */")},
    Signature{MEDIA_FORMAT_XBM, view("#define ")},
    Signature{MEDIA_FORMAT_PGM, view("P2")},
    Signature{MEDIA_FORMAT_PGM, view("P5")},
    Signature{MEDIA_FORMAT_WEBP, view("WEBP"), 8},
    Signature{MEDIA_FORMAT_AVI, view("AVI "), 8},
    Signature{MEDIA_FORMAT_RAF, view("FUJIFILMCCD-RAW ")},
    Signature{MEDIA_FORMAT_CRW, view("HEAPCCDR"), 6},
    Signature{MEDIA_FORMAT_RW2, view("IIU\0")},
    Signature{MEDIA_FORMAT_HDP, view("II\xbc")},
    Signature{MEDIA_FORMAT_CR2, view("CR\2"), 8},
    Signature{MEDIA_FORMAT_MKV, view("\x1a\x45\xdf\xa3")},
    Signature{MEDIA_FORMAT_OGG, view("OggS")},
    Signature{MEDIA_FORMAT_WMV, view("\x30\x26\xb2\x75\x8e\x66\xcf\x11")},
    Signature{MEDIA_FORMAT_MPG, view("\0\0\1\xba")},
    Signature{MEDIA_FORMAT_MPG, view("\0\0\1\xb3")},
    // The only compressed format is that of compressed drawings.
    Signature{MEDIA_FORMAT_SVG, view("\x1f\x8b")},
    // QuickTime without a brand.
    Signature{MEDIA_FORMAT_MOV, view("moov"), 4},
    Signature{MEDIA_FORMAT_MOV, view("mdat"), 4},
    Signature{MEDIA_FORMAT_MOV, view("wide"), 4}};

// ISO/IEC 14496-12, 4.3: the major brand, as its first letters.
constexpr std::array kBrands{Signature{MEDIA_FORMAT_HEIC, view("hei")},
    Signature{MEDIA_FORMAT_HEIC, view("hev")},
    Signature{MEDIA_FORMAT_HEIC, view("mif1")},
    Signature{MEDIA_FORMAT_HEIC, view("msf1")},
    Signature{MEDIA_FORMAT_MOV, view("qt  ")},
    Signature{MEDIA_FORMAT_3GP, view("3gp")},
    Signature{MEDIA_FORMAT_3GP, view("3g2")},
    Signature{MEDIA_FORMAT_M4V, view("M4V")},
    Signature{MEDIA_FORMAT_MP4, view("iso")},
    Signature{MEDIA_FORMAT_MP4, view("mp4")},
    Signature{MEDIA_FORMAT_MP4, view("avc1")}};

template <typename Signatures>
RKMediaFormatEnum firstOf(const Signatures& signatures, QByteArrayView bytes)
{
    const RKByteReader reader(bytes);
    const auto found = std::find_if(signatures.begin(), signatures.end(), [&](const auto& one) {
        return reader.has(one.bytes, one.place);
    });
    return found == signatures.end() ? MEDIA_FORMAT_UNKNOWN : found->format;
}

// TIFF 6.0, section 2, and BigTIFF. Raw files of that structure say so in their first directory.
RKMediaFormatEnum tiffFormat(QByteArrayView start)
{
    constexpr quint16 kTiff = 42;
    constexpr quint16 kBigTiff = 43;
    constexpr quint16 kMake = 0x010f;
    constexpr quint16 kDngVersion = 0xc612;

    const bool isLittle = start.startsWith("II");
    if (!isLittle && !start.startsWith("MM"))
        return MEDIA_FORMAT_UNKNOWN;
    const RKByteReader reader(start, isLittle ? QSysInfo::LittleEndian : QSysInfo::BigEndian);
    const quint16 magic = reader.numberAt<quint16>(2).value_or(0);
    if (magic != kTiff)
        return magic == kBigTiff ? MEDIA_FORMAT_TIFF : MEDIA_FORMAT_UNKNOWN;

    const qint64 directory = reader.numberAt<quint32>(4).value_or(0);
    const int count = reader.numberAt<quint16>(directory).value_or(0);
    bool hasOthers = false;
    QByteArrayView make;
    for (int i = 0; i < count; ++i) {
        const qint64 entry = directory + 2 + 12LL * i;
        switch (reader.numberAt<quint16>(entry).value_or(0)) {
        case kMake: make = reader.from(reader.numberAt<quint32>(entry + 8).value_or(0)); break;
        case RKTiffTag::kSubDirectories: hasOthers = true; break;
        case kDngVersion: return MEDIA_FORMAT_DNG;
        default: break;
        }
    }
    if (hasOthers && make.startsWith("NIKON"))
        return MEDIA_FORMAT_NEF;
    return hasOthers && make.startsWith("SONY") ? MEDIA_FORMAT_ARW : MEDIA_FORMAT_TIFF;
}

// ISO/IEC 13818-1, 2.4.3.2: packets of 188 bytes, with four more before each in AVCHD.
bool isTransportStream(QByteArrayView start)
{
    constexpr char kSync = 0x47;
    constexpr qint64 kPacket = 188;
    const auto isSyncAt
        = [&](qint64 place) { return place < start.size() && start[place] == kSync; };
    return (isSyncAt(0) && isSyncAt(kPacket)) || (isSyncAt(4) && isSyncAt(4 + kPacket + 4));
}

bool isDrawing(QByteArrayView start)
{
    const qsizetype root = start.indexOf("<svg");
    return start.trimmed().startsWith('<') && root >= 0;
}

} // namespace

RKMediaFormat RKContentFormat::of(QByteArrayView start)
{
    const RKByteReader reader(start);
    if (reader.has("ftyp", 4))
        return firstOf(kBrands, reader.from(8));
    if (const RKMediaFormatEnum format = firstOf(kSignatures, start))
        return format;
    if (const RKMediaFormatEnum format = tiffFormat(start))
        return format;
    if (isDrawing(start))
        return MEDIA_FORMAT_SVG;
    return isTransportStream(start) ? MEDIA_FORMAT_MTS : MEDIA_FORMAT_UNKNOWN;
}

QString RKContentFormat::nameOfForeign(QByteArrayView start)
{
    const RKByteReader reader(start);
    // AV1 Image File Format 1.1.0, section 6.
    if (reader.has("ftypavif", 4) || reader.has("ftypavis", 4))
        return QStringLiteral("AVIF");
    // ISO/IEC 18181-2: in boxes, or the codestream alone.
    const bool isJpegXl = reader.has("JXL ", 4) || reader.has("\xff\x0a");
    return isJpegXl ? QStringLiteral("JPEG XL") : QString();
}

bool RKContentFormat::isReadAs(const RKMediaFormat& content, const RKMediaFormat& named)
{
    if (content == named || (content.isVideo() && named.isVideo()))
        return true;
    // Readers of raw files look at the content, and many of these are TIFF files, too.
    if (named.isRaw())
        return content.isRaw() || content == MEDIA_FORMAT_TIFF;
    return content == MEDIA_FORMAT_JP2 && named == MEDIA_FORMAT_JPC;
}
