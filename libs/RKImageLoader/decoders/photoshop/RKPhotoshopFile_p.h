#pragma once

#include "RKImageLoader/RKImageLoaderExport.h"

#include <QByteArrayView>
#include <QSize>
#include <QtGlobal>

#include <optional>

/// What a Photoshop file (PSD, or PSB for large documents) says of its merged picture, and where
/// its parts lie in the file's bytes, which it refers to.
///
/// The layout is that of Adobe's "Photoshop File Formats", whose sections are named in the source.
struct RKPhotoshopFile
{
    /// Larger sides are refused: the limits of the two formats ("File Header Section").
    static constexpr int kMaxSide = 30'000;
    static constexpr int kMaxSideOfLarge = 300'000;

    enum class Mode : quint16
    {
        Bitmap = 0,
        Gray = 1,
        Indexed = 2,
        Rgb = 3,
        Cmyk = 4,
        Multichannel = 7,
        Duotone = 8,
        Lab = 9
    };

    /// There is also zip with prediction, whose merged pictures nobody has seen or described.
    enum class Compression : quint16
    {
        Raw = 0,
        PackBits = 1,
        Zip = 2
    };

    bool isLarge = false;
    int channels = 0;
    QSize size;
    /// Bits a sample: 1, 8, 16 or 32.
    int depth = 0;
    Mode mode = Mode::Rgb;

    /// 256 bytes each of red, green and blue; empty in other modes than Indexed.
    QByteArrayView palette;
    /// An ICC profile; may be empty.
    QByteArrayView profile;
    /// A JPEG file; may be empty.
    QByteArrayView thumbnail;
    /// The thumbnail's red and blue are swapped.
    bool isThumbnailBgr = false;
    /// The file was saved with its merged picture.
    bool hasMergedPicture = true;
    /// The channel after the colours is the merged picture's opacity.
    bool hasOpacity = false;

    Compression compression = Compression::Raw;
    QByteArrayView pixels;

    /// nullopt if the header can't be read. Parts that are missing or damaged are left
    /// empty.
    static std::optional<RKPhotoshopFile> parse(QByteArrayView data);

    /// How many of the channels make the colour.
    int colorChannels() const;
};
