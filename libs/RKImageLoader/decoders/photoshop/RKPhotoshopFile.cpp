#include "RKImageLoader/decoders/photoshop/RKPhotoshopFile_p.h"
#include "RKImageLoader/files/RKByteReader_p.h"
#include "RKImageLoader/files/RKPhotoshopResources_p.h"

#include <algorithm>
#include <array>

namespace {

using Mode = RKPhotoshopFile::Mode;

// "File Header Section".
constexpr quint16 kVersion = 1;
constexpr quint16 kVersionOfLarge = 2;
constexpr int kReserved = 6;
constexpr int kMaxChannels = 56;

// "Thumbnail resource format".
constexpr quint32 kJpegThumbnail = 1;
constexpr int kThumbnailFieldsBeforeJpeg = 24;

constexpr qsizetype kPaletteSize = 3 * 256;

// What a mode can be: the number of its channels, and the depths there are of it ("File Header
// Section").
bool isPossible(const RKPhotoshopFile& file)
{
    switch (file.mode) {
    case Mode::Bitmap: return file.depth == 1;
    case Mode::Indexed: return file.depth == 8;
    case Mode::Gray:
    case Mode::Rgb:
    case Mode::Cmyk:
    case Mode::Multichannel:
    case Mode::Duotone:
    case Mode::Lab: return file.depth == 8 || file.depth == 16 || file.depth == 32;
    }
    return false;
}

bool readHeader(RKByteReader& reader, RKPhotoshopFile& file)
{
    if (reader.take(4) != "8BPS")
        return false;
    const auto version = reader.number<quint16>();
    if (version != kVersion && version != kVersionOfLarge)
        return false;
    file.isLarge = version == kVersionOfLarge;
    reader.take(kReserved);
    file.channels = reader.number<quint16>();
    const auto height = reader.number<quint32>();
    const auto width = reader.number<quint32>();
    file.depth = reader.number<quint16>();
    file.mode = Mode(reader.number<quint16>());

    const quint32 maxSide
        = quint32(file.isLarge ? RKPhotoshopFile::kMaxSideOfLarge : RKPhotoshopFile::kMaxSide);
    if (!reader.isGood() || width == 0 || height == 0 || std::max(width, height) > maxSide)
        return false;
    file.size = QSize(int(width), int(height));
    return isPossible(file) && file.channels >= file.colorChannels()
        && file.channels <= kMaxChannels;
}

void readThumbnail(QByteArrayView resource, RKPhotoshopFile& file, quint16 id)
{
    RKByteReader reader(resource);
    const bool isJpeg = reader.number<quint32>() == kJpegThumbnail;
    reader.take(kThumbnailFieldsBeforeJpeg);
    if (!isJpeg || reader.rest().isEmpty())
        return;
    file.thumbnail = reader.rest();
    file.isThumbnailBgr = id == RKPhotoshopResources::kThumbnailBgr;
}

void readVersionInfo(QByteArrayView resource, RKPhotoshopFile& file)
{
    RKByteReader reader(resource);
    reader.number<quint32>();
    const auto hasMergedPicture = reader.number<quint8>();
    file.hasMergedPicture = !reader.isGood() || hasMergedPicture != 0;
}

void readResources(QByteArrayView section, RKPhotoshopFile& file)
{
    const RKPhotoshopResources resources(section);
    for (const RKPhotoshopResources::Resource& resource : resources.all()) {
        switch (resource.number) {
        case RKPhotoshopResources::kIccProfile: file.profile = resource.data; break;
        case RKPhotoshopResources::kVersionInfo: readVersionInfo(resource.data, file); break;
        case RKPhotoshopResources::kThumbnailBgr:
            if (!file.thumbnail.isEmpty())
                break;
            [[fallthrough]];
        case RKPhotoshopResources::kThumbnail:
            readThumbnail(resource.data, file, resource.number);
            break;
        default: break;
        }
    }
}

quint64 readLength(RKByteReader& reader, bool isLong)
{
    return isLong ? reader.number<quint64>() : reader.number<quint32>();
}

bool isNegativeLayerCount(QByteArrayView layerInfo)
{
    return RKByteReader(layerInfo).number<qint16>() < 0;
}

// "Additional Layer Information": where the layers of files with 16 and 32 bits are.
bool isNegativeLayerCountInBlocks(RKByteReader& reader, bool isLarge)
{
    constexpr std::array kLayers{"Layr", "Lr16", "Lr32"};
    // Their lengths have eight bytes in large documents.
    constexpr std::array kLong{"LMsk",
        "Lr16",
        "Lr32",
        "Layr",
        "Mt16",
        "Mt32",
        "Mtrn",
        "Alph",
        "FMsk",
        "lnk2",
        "FEid",
        "FXid",
        "PxSD"};
    const auto isOneOf = [](QByteArrayView key, const auto& keys) {
        return std::any_of(keys.begin(), keys.end(), [&](const char* one) { return key == one; });
    };

    while (reader.isGood() && !reader.rest().isEmpty()) {
        const QByteArrayView signature = reader.take(4);
        if (signature != "8BIM" && signature != "8B64")
            return false;
        const QByteArrayView key = reader.take(4);
        const quint64 length = readLength(reader, isLarge && isOneOf(key, kLong));
        const QByteArrayView block = reader.take(length);
        if (isOneOf(key, kLayers))
            return isNegativeLayerCount(block);
        reader.take(length % 4 == 0 ? 0 : 4 - length % 4);
    }
    return false;
}

// "Layer and Mask Information Section". A negative number of layers says that the first channel
// after the colours is the opacity of the merged picture ("Layer info").
bool hasOpacity(QByteArrayView section, bool isLarge)
{
    RKByteReader reader(section);
    const QByteArrayView layerInfo = reader.take(readLength(reader, isLarge));
    if (!layerInfo.isEmpty())
        return isNegativeLayerCount(layerInfo);
    reader.take(reader.number<quint32>()); // the global layer mask
    return isNegativeLayerCountInBlocks(reader, isLarge);
}

} // namespace

std::optional<RKPhotoshopFile> RKPhotoshopFile::parse(QByteArrayView data)
{
    RKPhotoshopFile file;
    RKByteReader reader(data);
    if (!readHeader(reader, file))
        return {};

    // "Color Mode Data Section". What it holds for a duotone is nobody's business but Photoshop's.
    const QByteArrayView modeData = reader.take(reader.number<quint32>());
    if (file.mode == Mode::Indexed && modeData.size() >= kPaletteSize)
        file.palette = modeData.first(kPaletteSize);
    readResources(reader.take(reader.number<quint32>()), file);
    const QByteArrayView layers = reader.take(readLength(reader, file.isLarge));
    file.hasOpacity = file.channels > file.colorChannels() && ::hasOpacity(layers, file.isLarge);

    // "Image Data Section".
    file.compression = Compression(reader.number<quint16>());
    file.pixels = reader.rest();
    return file;
}

int RKPhotoshopFile::colorChannels() const
{
    constexpr int kInks = 4;
    switch (mode) {
    case Mode::Rgb:
    case Mode::Lab: return 3;
    case Mode::Cmyk: return kInks;
    // Pictures of inks, at first cyan, magenta and yellow; less than these are seen as grey.
    case Mode::Multichannel: return channels < 3 ? 1 : std::min(channels, kInks);
    case Mode::Bitmap:
    case Mode::Gray:
    case Mode::Indexed:
    case Mode::Duotone: break;
    }
    return 1;
}
