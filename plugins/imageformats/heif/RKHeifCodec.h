#pragma once

#include "imageformats/common/RKOpenPicture.h"
#include "imageformats/heif/RKHeifFormat.h"

#include <memory>

/// HEIF files for the plug-in, read by the module RKHeifCodec, which is loaded with the first one.
///
/// Qt loads every plug-in to list its formats, and to write a PNG or BMP file. libheif and what
/// decodes for it take 25 ms to load.
class RKHeifCodec : public RKHeifFormat
{
public:
    /// The function of the module, which lies in a folder beside that of the plug-in.
    using Open = std::unique_ptr<RKOpenPicture>(const QByteArray& file, QByteArray* undecodable);
    static constexpr char kOpen[] = "rkOpenHeif";

    /// As RKHeifPicture::open(). If the module can't be loaded, which a warning says once, null,
    /// and HEVC is undecodable.
    static std::unique_ptr<RKOpenPicture> open(const QByteArray& file, QByteArray* undecodable);
};
