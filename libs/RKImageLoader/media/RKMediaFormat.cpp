#include "RKImageLoader/media/RKMediaFormat.h"

#include "RKImageLoader/media/RKImageLoaderConfig.h"
#include "RKImageLoader/media/RKLogCategories_p.h"
#include "RKImageLoader/media/RKStringConstants.h"

#include <QCoreApplication>
#include <QDebug>
#include <QRegularExpression>
#include <QUuid>

#include <algorithm>
#include <array>

namespace {

constexpr int kLongestBaseName = 200;

/// What a format is.
enum class Kind
{
    None,
    Bitmap,
    Vector,
    Video,
    Raw
};

enum class SoftRotate
{
    No,
    Yes
};

struct Properties
{
    RKMediaFormatEnum format = MEDIA_FORMAT_UNKNOWN;
    Kind kind = Kind::None;
    RKMediaFormatAlphaChannelEnum alpha = ALPHA_CHANNEL_UNKNOWN;
    bool holdsMetadata = false;
    SoftRotate softRotate = SoftRotate::No;
    const char* description = nullptr;
};

// The alpha ranks of the videos differ on purpose.
constexpr std::array kProperties{
    Properties{.format = MEDIA_FORMAT_BMP,
        .kind = Kind::Bitmap,
        .alpha = ALPHA_CHANNEL_NONE,
        .description = QT_TRANSLATE_NOOP("RKMediaFormat", "BMP - Windows Bitmap")},
    Properties{.format = MEDIA_FORMAT_WEBP,
        .kind = Kind::Bitmap,
        .alpha = ALPHA_CHANNEL_FULL,
        .description = QT_TRANSLATE_NOOP("RKMediaFormat", "WebP")},
    Properties{.format = MEDIA_FORMAT_GIF,
        .kind = Kind::Bitmap,
        .alpha = ALPHA_CHANNEL_BINARY,
        .description = QT_TRANSLATE_NOOP("RKMediaFormat", "GIF - Graphics Interchange Format")},
    Properties{.format = MEDIA_FORMAT_HDP, .kind = Kind::Bitmap, .alpha = ALPHA_CHANNEL_FULL},
    Properties{.format = MEDIA_FORMAT_ICO,
        .kind = Kind::Bitmap,
        .alpha = ALPHA_CHANNEL_NONE,
        .description = QT_TRANSLATE_NOOP("RKMediaFormat", "ICO - Windows Icon Datei")},
    Properties{.format = MEDIA_FORMAT_JP2,
        .kind = Kind::Bitmap,
        .alpha = ALPHA_CHANNEL_FULL,
        .holdsMetadata = true},
    Properties{.format = MEDIA_FORMAT_JPC, .kind = Kind::Bitmap},
    Properties{.format = MEDIA_FORMAT_JPG,
        .kind = Kind::Bitmap,
        .alpha = ALPHA_CHANNEL_NONE,
        .holdsMetadata = true,
        .softRotate = SoftRotate::Yes,
        .description
        = QT_TRANSLATE_NOOP("RKMediaFormat", "JPEG - Joint Photographics Experts Group")},
    Properties{.format = MEDIA_FORMAT_MNG, .kind = Kind::Bitmap, .alpha = ALPHA_CHANNEL_FULL},
    Properties{.format = MEDIA_FORMAT_PGM, .kind = Kind::Bitmap},
    Properties{.format = MEDIA_FORMAT_PNG,
        .kind = Kind::Bitmap,
        .alpha = ALPHA_CHANNEL_FULL,
        .holdsMetadata = true,
        .softRotate = SoftRotate::Yes,
        .description = QT_TRANSLATE_NOOP("RKMediaFormat", "PNG - Portable Network Graphics")},
    Properties{.format = MEDIA_FORMAT_TIFF,
        .kind = Kind::Bitmap,
        .alpha = ALPHA_CHANNEL_FULL,
        .holdsMetadata = true,
        .description = QT_TRANSLATE_NOOP("RKMediaFormat", "TIFF - Tagged Image File Format")},
    Properties{.format = MEDIA_FORMAT_XBM, .kind = Kind::Bitmap, .alpha = ALPHA_CHANNEL_NONE},
    Properties{.format = MEDIA_FORMAT_XPM, .kind = Kind::Bitmap, .alpha = ALPHA_CHANNEL_BINARY},
    Properties{.format = MEDIA_FORMAT_SVG,
        .kind = Kind::Vector,
        .alpha = ALPHA_CHANNEL_FULL,
        .description = QT_TRANSLATE_NOOP("RKMediaFormat", "SVG - Scalable Vector Graphics")},
    Properties{.format = MEDIA_FORMAT_MOD, .kind = Kind::Video, .alpha = ALPHA_CHANNEL_NONE},
    Properties{.format = MEDIA_FORMAT_MPG, .kind = Kind::Video, .alpha = ALPHA_CHANNEL_NONE},
    Properties{.format = MEDIA_FORMAT_WMV, .kind = Kind::Video},
    Properties{.format = MEDIA_FORMAT_MP4, .kind = Kind::Video},
    Properties{.format = MEDIA_FORMAT_MOV, .kind = Kind::Video},
    Properties{.format = MEDIA_FORMAT_M4V, .kind = Kind::Video},
    Properties{.format = MEDIA_FORMAT_MTS, .kind = Kind::Video},
    Properties{.format = MEDIA_FORMAT_AVI, .kind = Kind::Video, .alpha = ALPHA_CHANNEL_NONE},
    Properties{.format = MEDIA_FORMAT_3GP, .kind = Kind::Video, .alpha = ALPHA_CHANNEL_NONE},
    Properties{.format = MEDIA_FORMAT_VRO, .kind = Kind::Video, .alpha = ALPHA_CHANNEL_NONE},
    Properties{.format = MEDIA_FORMAT_VOB, .kind = Kind::Video, .alpha = ALPHA_CHANNEL_NONE},
    Properties{.format = MEDIA_FORMAT_CRW, .kind = Kind::Raw},
    Properties{.format = MEDIA_FORMAT_CR2, .kind = Kind::Raw},
    Properties{.format = MEDIA_FORMAT_ARW, .kind = Kind::Raw},
    Properties{.format = MEDIA_FORMAT_NEF, .kind = Kind::Raw},
    Properties{.format = MEDIA_FORMAT_RAF, .kind = Kind::Raw},
    Properties{.format = MEDIA_FORMAT_DNG, .kind = Kind::Raw},
    Properties{.format = MEDIA_FORMAT_RW2, .kind = Kind::Raw},
    Properties{.format = MEDIA_FORMAT_MKV, .kind = Kind::Video, .alpha = ALPHA_CHANNEL_NONE},
    Properties{.format = MEDIA_FORMAT_OGG, .kind = Kind::Video, .alpha = ALPHA_CHANNEL_NONE},
    Properties{.format = MEDIA_FORMAT_HEIC,
        .kind = Kind::Bitmap,
        .description = QT_TRANSLATE_NOOP("RKMediaFormat", "HEIC - High Efficiency Image Coding")},
    Properties{.format = MEDIA_FORMAT_PSD, .kind = Kind::Bitmap},
};

/// The row of a single format; the default row for unknown and combined values.
const Properties& propertiesOf(const RKMediaFormat& format)
{
    static constexpr Properties kNone;
    const auto* found = std::find_if(kProperties.begin(),
        kProperties.end(),
        [&format](const Properties& row) { return format == row.format; });
    return found == kProperties.end() ? kNone : *found;
}

QString translated(const char* text)
{
    return QCoreApplication::translate("RKMediaFormat", text);
}

} // namespace

RKMediaFormat::RKMediaFormat(RKMediaFormatEnum format)
    : RKEnumWrapper(format)
{
}

RKMediaFormat::RKMediaFormat(const QString& extension)
    : RKMediaFormat(fromFileExtension(extension))
{
}

RKMediaFormat::RKMediaFormat(const char* extension)
    : RKMediaFormat(QString::fromUtf8(extension))
{
}

RKMediaFormat::RKMediaFormat(const QByteArray& extension)
    : RKMediaFormat(QString::fromUtf8(extension))
{
}

RKMediaFormat::RKMediaFormat(const QFileInfo& file)
    : RKMediaFormat(file.suffix())
{
}

RKMediaFormat RKMediaFormat::fromFileExtension(const QString& extension)
{
    QString keywords = extension;
    keywords.remove(STR_ANY_FILENAME);
    const RKMediaFormat format(RKMediaFormat().enumToStringTable()->decodeCSV(keywords));
    if (!format.isValid())
        qCWarning(rkLoad).noquote().nospace() << "RKMediaFormat no RKMediaFormat for " << extension;
    return format;
}

RKMediaFormat RKMediaFormat::fromMimeType(
    const QString& mime, const RKMediaFormat& imageDefault, const RKMediaFormat& videoDefault)
{
    const qsizetype slash = mime.indexOf(u'/');
    RKMediaFormatEnum format = MEDIA_FORMAT_UNKNOWN;
    if (slash >= 0 && RKMediaFormat().enumToStringTable()->decode(mime.mid(slash + 1), format))
        return format;
    const QString kind = mime.left(slash);
    if (kind == QLatin1String("image"))
        return imageDefault;
    if (kind == QLatin1String("video"))
        return videoDefault;
    return {};
}

RKMediaFormatEnum RKMediaFormat::fileFormatEnum() const
{
    return value();
}

QStringList RKMediaFormat::fileExtensions() const
{
    return enumToStringTable()->allPossibleKeywords(value());
}

QString RKMediaFormat::defaultExtension() const
{
    return enumToStringTable()->keyword(value());
}

bool RKMediaFormat::isValidExtension(const QString& extension) const
{
    return fileExtensions().contains(extension, Qt::CaseInsensitive);
}

QStringList RKMediaFormat::fileExtensionFilters() const
{
    QStringList filters = fileExtensions();
    for (QString& filter : filters)
        filter.prepend(STR_ANY_FILENAME);
    return filters;
}

QString RKMediaFormat::fileExtensionFilterEntry() const
{
    return QStringLiteral("%1 (%2)").arg(description(), fileExtensionFilters().join(u' '));
}

QString RKMediaFormat::createFilename(const QString& baseName, const QString& extension) const
{
    static const QRegularExpression forbidden(QStringLiteral(R"([<?:~\\"'`*|/>])"));
    QString base = baseName;
    if (base.size() > kLongestBaseName)
        base = QUuid::createUuid().toString(QUuid::WithoutBraces);
    else
        base.replace(forbidden, QStringLiteral("_"));

    const QStringList extensions = fileExtensions();
    if (extensions.isEmpty())
        return base;
    const bool isOwn = extensions.contains(extension, Qt::CaseInsensitive);
    return QStringLiteral("%1.%2").arg(base, isOwn ? extension : extensions.first());
}

RKMediaFormat RKMediaFormat::preferredSaveFormat() const
{
    if (!isBitmap())
        return *this;
    return isAlphaChannelAsGoodAs(ALPHA_CHANNEL_BINARY) ? MEDIA_FORMAT_PNG : MEDIA_FORMAT_JPG;
}

int RKMediaFormat::priority() const
{
    switch (value()) {
    case MEDIA_FORMAT_PNG: return 1;
    case MEDIA_FORMAT_JPG: return 2;
    case MEDIA_FORMAT_SVG: return 3;
    default: return 4;
    }
}

int RKMediaFormat::preferredEncoderOptionEnum() const
{
    constexpr int kQuality = 2;
    return *this == MEDIA_FORMAT_PNG || *this == MEDIA_FORMAT_JPG ? kQuality : 0;
}

int RKMediaFormat::preferredEncoderCompression() const
{
    return *this == MEDIA_FORMAT_PNG ? 9 : 0;
}

int RKMediaFormat::preferredEncoderQuality() const
{
    switch (value()) {
    case MEDIA_FORMAT_PNG: return 50;
    case MEDIA_FORMAT_JPG: return RKSingleton<RKImageLoaderConfig>::instance()->jpgQuality();
    default: return 100;
    }
}

bool RKMediaFormat::isBitmap() const
{
    const Kind kind = propertiesOf(*this).kind;
    return kind == Kind::Bitmap || kind == Kind::Raw;
}

bool RKMediaFormat::isVideo() const
{
    return propertiesOf(*this).kind == Kind::Video;
}

bool RKMediaFormat::isRaw() const
{
    return propertiesOf(*this).kind == Kind::Raw;
}

bool RKMediaFormat::isSVG() const
{
    return propertiesOf(*this).kind == Kind::Vector;
}

bool RKMediaFormat::canHandleMetadata() const
{
    return propertiesOf(*this).holdsMetadata;
}

bool RKMediaFormat::exiv2Supported() const
{
    constexpr auto kUnsupported = RKMediaFormatEnum(MEDIA_FORMAT_TIFF | MEDIA_FORMAT_HEIC);
    return (*this & kUnsupported) == 0;
}

bool RKMediaFormat::preferFastCopy() const
{
    return isVideo() || isRaw() || *this == MEDIA_FORMAT_HEIC;
}

bool RKMediaFormat::mustConvertVideo() const
{
    return isVideo() && *this != MEDIA_FORMAT_MP4 && *this != MEDIA_FORMAT_MOV;
}

bool RKMediaFormat::supportsSoftRotate() const
{
    return propertiesOf(*this).softRotate == SoftRotate::Yes;
}

RKMediaFormatAlphaChannelEnum RKMediaFormat::supportedAlphaCannel() const
{
    return propertiesOf(*this).alpha;
}

bool RKMediaFormat::isAlphaChannelAsGoodAs(RKMediaFormatAlphaChannelEnum other) const
{
    return supportedAlphaCannel() >= other;
}

bool RKMediaFormat::isAlphaChannelAsGoodAs(const RKMediaFormat& other) const
{
    return isAlphaChannelAsGoodAs(other.supportedAlphaCannel());
}

QString RKMediaFormat::toUti() const
{
    switch (value()) {
    case MEDIA_FORMAT_GIF: return QStringLiteral("com.compuserve.gif");
    case MEDIA_FORMAT_JPG: return QStringLiteral("public.jpeg");
    case MEDIA_FORMAT_PNG: return QStringLiteral("public.png");
    case MEDIA_FORMAT_TIFF: return QStringLiteral("public.tiff");
    default: return QStringLiteral("public.image");
    }
}

QString RKMediaFormat::shortDescription() const
{
    if (const char* known = propertiesOf(*this).description)
        return translated(known);
    return translated(QT_TRANSLATE_NOOP("RKMediaFormat", "%1-Format"))
        .arg(fileExtensions().value(0));
}

QString RKMediaFormat::describeSuperFormat() const
{
    if (isBitmap())
        return translated(QT_TRANSLATE_NOOP("RKMediaFormat", "Bitmap"));
    if (isSVG())
        return translated(QT_TRANSLATE_NOOP("RKMediaFormat", "Vektorformat"));
    if (isVideo())
        return translated(QT_TRANSLATE_NOOP("RKMediaFormat", "Video"));
    return {};
}

QString RKMediaFormat::describeTransparency() const
{
    switch (supportedAlphaCannel()) {
    case ALPHA_CHANNEL_BINARY:
        return translated(QT_TRANSLATE_NOOP("RKMediaFormat", " mit binärer Transparenz"));
    case ALPHA_CHANNEL_FULL:
        return translated(QT_TRANSLATE_NOOP("RKMediaFormat", " mit Transparenzen"));
    default: return {};
    }
}

QString RKMediaFormat::description() const
{
    const QString kind = describeSuperFormat() + describeTransparency();
    if (kind.isEmpty())
        return shortDescription();
    return translated(QT_TRANSLATE_NOOP("RKMediaFormat", "%1 (%2)")).arg(shortDescription(), kind);
}

void RKMediaFormat::fillTable(RKEnumToStringTable<RKMediaFormatEnum>* table) const
{
    // The order matters: the first keyword of a value is its default extension.
    struct Row
    {
        const char* keyword;
        RKMediaFormatEnum format;
    };

    static constexpr std::array kRows{
        Row{"bmp", MEDIA_FORMAT_BMP},
        Row{"gif", MEDIA_FORMAT_GIF},
        Row{"hdp", MEDIA_FORMAT_HDP},
        Row{"ico", MEDIA_FORMAT_ICO},
        Row{"j2k", MEDIA_FORMAT_JP2},
        Row{"jp2", MEDIA_FORMAT_JP2},
        Row{"jpc", MEDIA_FORMAT_JPC},
        Row{"jpg", MEDIA_FORMAT_JPG},
        Row{"jpeg", MEDIA_FORMAT_JPG},
        Row{"mng", MEDIA_FORMAT_MNG},
        Row{"pgm", MEDIA_FORMAT_PGM},
        Row{"png", MEDIA_FORMAT_PNG},
        Row{"svg", MEDIA_FORMAT_SVG},
        Row{"svgz", MEDIA_FORMAT_SVG},
        Row{"tiff", MEDIA_FORMAT_TIFF},
        Row{"tif", MEDIA_FORMAT_TIFF},
        Row{"xbm", MEDIA_FORMAT_XBM},
        Row{"xpm", MEDIA_FORMAT_XPM},
        Row{"webp", MEDIA_FORMAT_WEBP},
        Row{"avi", MEDIA_FORMAT_AVI},
        Row{"3gp", MEDIA_FORMAT_3GP},
        Row{"mpg", MEDIA_FORMAT_MPG},
        Row{"wmv", MEDIA_FORMAT_WMV},
        Row{"mp4", MEDIA_FORMAT_MP4},
        Row{"mov", MEDIA_FORMAT_MOV},
        Row{"mod", MEDIA_FORMAT_MOD},
        Row{"m4v", MEDIA_FORMAT_M4V},
        Row{"mts", MEDIA_FORMAT_MTS},
        Row{"vro", MEDIA_FORMAT_VRO},
        Row{"vob", MEDIA_FORMAT_VOB},
        Row{"crw", MEDIA_FORMAT_CRW},
        Row{"cr2", MEDIA_FORMAT_CR2},
        Row{"arw", MEDIA_FORMAT_ARW},
        Row{"nef", MEDIA_FORMAT_NEF},
        Row{"raf", MEDIA_FORMAT_RAF},
        Row{"dng", MEDIA_FORMAT_DNG},
        Row{"rw2", MEDIA_FORMAT_RW2},
        Row{"mkv", MEDIA_FORMAT_MKV},
        Row{"ogg", MEDIA_FORMAT_OGG},
        Row{"mpeg", MEDIA_FORMAT_MPG},
        Row{"heic", MEDIA_FORMAT_HEIC},
        Row{"heif", MEDIA_FORMAT_HEIC},
        Row{"heics", MEDIA_FORMAT_HEIC},
        Row{"heifs", MEDIA_FORMAT_HEIC},
        Row{"psd", MEDIA_FORMAT_PSD},
        Row{"quicktime", MEDIA_FORMAT_MOV},
    };
    for (const Row& row : kRows)
        table->insert(QString::fromLatin1(row.keyword), row.format);
}
