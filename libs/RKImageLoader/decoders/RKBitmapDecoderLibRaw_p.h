#pragma once

#include "RKImageLoader/decoders/RKBitmapDecoder.h"

/// Camera raw pictures through LibRaw, and Photoshop pictures through RKPhotoshopReader: the
/// formats of RKBitmapDecoderMacCoreGraphics, on other platforms. Stateless and thread-safe.
///
/// Raw pictures come upright, but their sizes, the wanted one and the measured one, are those of
/// the stored pixels: callers swap the sides of both if exchangesSides(), and don't turn raw
/// pictures. The measured size is that of the developed picture, which may differ by the margins of
/// the sensor from what the file's metadata says.
///
/// The colours are sRGB. A profile or the marker of Adobe RGB (1998) in a raw file's metadata is
/// about its previews, which are converted here.
class RKBitmapDecoderLibRaw : public RKBitmapDecoder
{
public:
    /// Raw pictures with more pixels are not developed, for that takes some 15 bytes a pixel. The
    /// largest cameras have 150 million.
    static constexpr qint64 kMaxPixels = 1LL << 28;

    using RKBitmapDecoder::decodeDrawable;
    using RKBitmapDecoder::save;

    RKMediaFormatList readableImageFileFormats() const override;
    /// None.
    RKMediaFormatList writableImageFileFormats() const override;

    /// Takes the file's own preview if that is large enough for the wanted size. Null if the data
    /// is damaged or cut off.
    QImage decode(const QByteArray& data,
        const QByteArray& format,
        const QSize& wantedSize,
        const RKMediaDescriptor& descriptor) const override;
    QImage decode(const QByteArray& data,
        const QByteArray& format,
        const QSize& wantedSize,
        const RKMediaDescriptor& descriptor,
        RKLoadContext& context) const override;
    RKDrawable decodeDrawable(const QByteArray& data,
        const QByteArray& format,
        const QSize& wantedSize,
        const RKMediaDescriptor& descriptor,
        RKLoadContext& context) const override;

    /// False, for nothing is written.
    bool save(const QFileInfo& file, const RKDrawable& drawable) const override;
    bool save(QIODevice* device, const RKMediaFormat& format, const QImage& image) const override;
    bool save(
        QIODevice* device, const RKMediaFormat& format, const RKDrawable& drawable) const override;

    QSize size(QIODevice* device, const QByteArray& format) const override;
    QSize size(const QByteArray& data, const QByteArray& format) const override;
    /// Reads only what it needs of the file.
    QSize size(const QFileInfo& file, const QByteArray& format) const override;
    QSize size(
        const QFileInfo& file, const QByteArray& format, RKLoadContext& context) const override;

    QString name() const override;

    std::optional<bool> exchangesSides(
        const QFileInfo& file, const QByteArray& format) const override;
};
