#pragma once

#include "RKImageLoader/RKImageLoaderExport.h"
#include "RKImageLoader/media/RKEnumWrapper.h"

#include <QByteArray>
#include <QFileInfo>
#include <QString>
#include <QStringList>

/// The media formats, one bit each. The other bits stay unused.
enum RKMediaFormatEnum : qint64
{
    MEDIA_FORMAT_UNKNOWN = 0,
    MEDIA_FORMAT_BMP = 0x2,
    MEDIA_FORMAT_WEBP = 0x4,
    MEDIA_FORMAT_GIF = 0x8,
    MEDIA_FORMAT_HDP = 0x10,
    MEDIA_FORMAT_ICO = 0x20,
    MEDIA_FORMAT_JP2 = 0x40,
    MEDIA_FORMAT_JPC = 0x80,
    MEDIA_FORMAT_JPG = 0x100,
    MEDIA_FORMAT_MNG = 0x200,
    MEDIA_FORMAT_PGM = 0x800,
    MEDIA_FORMAT_PNG = 0x1000,
    MEDIA_FORMAT_TIFF = 0x2000,
    MEDIA_FORMAT_XBM = 0x8000,
    MEDIA_FORMAT_XPM = 0x10000,
    MEDIA_FORMAT_SVG = 0x80000,
    MEDIA_FORMAT_MOD = 0x100000,
    MEDIA_FORMAT_MPG = 0x200000,
    MEDIA_FORMAT_WMV = 0x400000,
    MEDIA_FORMAT_MP4 = 0x800000,
    MEDIA_FORMAT_MOV = 0x1000000,
    MEDIA_FORMAT_M4V = 0x2000000,
    MEDIA_FORMAT_MTS = 0x4000000,
    MEDIA_FORMAT_AVI = 0x8000000,
    MEDIA_FORMAT_3GP = 0x10000000,
    MEDIA_FORMAT_VRO = 0x20000000,
    MEDIA_FORMAT_VOB = 0x40000000,
    MEDIA_FORMAT_CRW = 0x80000000,
    MEDIA_FORMAT_CR2 = 0x100000000,
    MEDIA_FORMAT_ARW = 0x200000000,
    MEDIA_FORMAT_NEF = 0x400000000,
    MEDIA_FORMAT_RAF = 0x800000000,
    MEDIA_FORMAT_DNG = 0x1000000000,
    MEDIA_FORMAT_HEIC = 0x4000000000,
    MEDIA_FORMAT_RW2 = 0x40000000000,
    MEDIA_FORMAT_MKV = 0x80000000000,
    MEDIA_FORMAT_OGG = 0x100000000000,
    MEDIA_FORMAT_PSD = 0x200000000000
};

/// How much transparency a format can hold; a greater value includes the smaller ones.
enum RKMediaFormatAlphaChannelEnum : int
{
    ALPHA_CHANNEL_UNKNOWN = 0,
    ALPHA_CHANNEL_NONE = 1,
    ALPHA_CHANNEL_BINARY = 2,
    ALPHA_CHANNEL_FULL = 4
};

/// The format of a medium, as its file name's extension says, and what is known of that
/// format.
///
/// A value may combine several formats; such a value has no properties of its own and answers like
/// an unknown format, except for its extensions. Reentrant.
class RKIMAGELOADER_EXPORT RKMediaFormat : public RKEnumWrapper<RKMediaFormatEnum>
{
public:
    /// The unknown format.
    RKMediaFormat() = default;
    /// One format, or several combined bit by bit.
    RKMediaFormat(RKMediaFormatEnum format);
    /// From an extension or a comma-separated list of them, see fromFileExtension().
    RKMediaFormat(const QString& extension);
    /// The same from UTF-8.
    RKMediaFormat(const char* extension);
    /// From the UTF-8 text of an extension.
    RKMediaFormat(const QByteArray& extension);
    /// From the file name's suffix; the file itself is not opened.
    RKMediaFormat(const QFileInfo& file);

    /// The formats of a comma-separated list of extensions or filter entries ("*.jpg"), whatever
    /// their case. Logs a warning if none is known.
    static RKMediaFormat fromFileExtension(const QString& extension);

    /// The format of a MIME type by its subtype, or else the given default for images or videos;
    /// unknown for other kinds. Logs nothing.
    static RKMediaFormat fromMimeType(
        const QString& mime, const RKMediaFormat& imageDefault, const RKMediaFormat& videoDefault);

    /// The value, for switch statements.
    RKMediaFormatEnum fileFormatEnum() const;

    /// All extensions, without a dot, in lower case, the default one of each format first.
    QStringList fileExtensions() const;
    /// The first one, without a dot; empty for an unknown format.
    QString defaultExtension() const;
    /// Whether it is one of fileExtensions(), in lower or upper case.
    bool isValidExtension(const QString& extension) const;
    /// "*." and the extension, for every extension.
    QStringList fileExtensionFilters() const;
    /// The format's entry in a file dialog: its description and, in brackets, its filters.
    QString fileExtensionFilterEntry() const;

    /// A file name without forbidden characters: the base name and the extension, or the default
    /// extension if the given one is not the format's. A base name of more than 200 UTF-16 units is
    /// replaced by a random UUID. An unknown format adds no extension.
    QString createFilename(const QString& baseName, const QString& extension) const;

    /// For bitmaps PNG if the format can be transparent, else JPG; any other format itself.
    RKMediaFormat preferredSaveFormat() const;
    /// The place in lists of formats, from 1; lower ones come first.
    int priority() const;
    /// The option that encoders should use: 1 the compression, 2 the quality, 0 neither.
    int preferredEncoderOptionEnum() const;
    /// 9 for PNG, else 0. Has no effect: no format prefers the option 1.
    int preferredEncoderCompression() const;
    /// 0 to 100: 50 for PNG, for JPG that of the configuration, which must be set before; else 100.
    int preferredEncoderQuality() const;

    /// Whether it is decoded to pixels; true for camera raw formats, false for videos.
    bool isBitmap() const;
    /// Whether it has frames and a duration and is decoded through RKVideoLoader.
    bool isVideo() const;
    /// Whether it is a camera raw format. These are bitmaps too.
    bool isRaw() const;
    /// Whether it is SVG, the only vector format.
    bool isSVG() const;
    /// Whether programs usually keep metadata in such files. What can really be saved depends on
    /// the file's content, see docs/metadata.md.
    bool canHandleMetadata() const;
    /// Whether neither TIFF nor HEIC is among the formats of the value.
    bool exiv2Supported() const;
    /// Whether files of the format should be copied as they are instead of being converted.
    bool preferFastCopy() const;
    /// Whether it is a video that browsers don't show as it is: any but MP4 and MOV.
    bool mustConvertVideo() const;
    /// Whether the orientation can be changed in the metadata alone.
    bool supportsSoftRotate() const;
    /// How much transparency files of the format hold; unknown if it varies.
    RKMediaFormatAlphaChannelEnum supportedAlphaCannel() const;
    /// Whether this format can hold all the transparency of the other. Unknown counts as less than
    /// none.
    /// @{
    bool isAlphaChannelAsGoodAs(RKMediaFormatAlphaChannelEnum other) const;
    bool isAlphaChannelAsGoodAs(const RKMediaFormat& other) const;
    /// @}

    /// The uniform type identifier of the format.
    QString toUti() const;

    /// Texts for people, translated; their source language is German.
    QString shortDescription() const;
    /// "Bitmap", "Vektorformat" or "Video"; empty for the unknown format.
    QString describeSuperFormat() const;
    /// " mit binärer Transparenz" or " mit Transparenzen", with the leading space; empty for other
    /// formats.
    QString describeTransparency() const;
    /// "PNG - Portable Network Graphics (Bitmap mit Transparenzen)".
    QString description() const;

    void fillTable(RKEnumToStringTable<RKMediaFormatEnum>* table) const override;
};
