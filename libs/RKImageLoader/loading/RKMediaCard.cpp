#include "RKImageLoader/loading/RKMediaCard.h"

#include "RKImageLoader/color/RKColorProfileConverter.h"
#include "RKImageLoader/faces/RKFacePositions.h"
#include "RKImageLoader/loading/RKImageLoader.h"
#include "RKImageLoader/loading/RKMediaLoader.h"
#include "RKImageLoader/metadata/RKMetaData.h"
#include "RKImageLoader/metadata/RKMetaDataField.h"
#include "RKImageLoader/video/RKVideoDecoderRegistry.h"

#include <QFileInfo>
#include <QStringList>
#include <QTime>

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

namespace {

using Item = RKMediaCard::Item;
using Field = RKMetaDataFieldEnum;

/// In the order of the items.
constexpr std::array<const char*, 21> kLabels{QT_TRANSLATE_NOOP("RKMediaCard", "File"),
    QT_TRANSLATE_NOOP("RKMediaCard", "Size"),
    QT_TRANSLATE_NOOP("RKMediaCard", "Video"),
    QT_TRANSLATE_NOOP("RKMediaCard", "Taken"),
    QT_TRANSLATE_NOOP("RKMediaCard", "Place"),
    QT_TRANSLATE_NOOP("RKMediaCard", "Position"),
    QT_TRANSLATE_NOOP("RKMediaCard", "Camera"),
    QT_TRANSLATE_NOOP("RKMediaCard", "Lens"),
    QT_TRANSLATE_NOOP("RKMediaCard", "Exposure"),
    QT_TRANSLATE_NOOP("RKMediaCard", "Focal length"),
    QT_TRANSLATE_NOOP("RKMediaCard", "Rating"),
    QT_TRANSLATE_NOOP("RKMediaCard", "Title"),
    QT_TRANSLATE_NOOP("RKMediaCard", "Description"),
    QT_TRANSLATE_NOOP("RKMediaCard", "Comment"),
    QT_TRANSLATE_NOOP("RKMediaCard", "Keywords"),
    QT_TRANSLATE_NOOP("RKMediaCard", "Faces"),
    QT_TRANSLATE_NOOP("RKMediaCard", "Author"),
    QT_TRANSLATE_NOOP("RKMediaCard", "Copyright"),
    QT_TRANSLATE_NOOP("RKMediaCard", "Colours"),
    QT_TRANSLATE_NOOP("RKMediaCard", "Thumbnail"),
    QT_TRANSLATE_NOOP("RKMediaCard", "Software")};

QString joined(QStringList parts, const QString& separator = QStringLiteral(", "))
{
    parts.removeAll(QString());
    return parts.join(separator);
}

QString sizeText(const QSize& size)
{
    return size.width() > 0 ? QStringLiteral("%1 × %2").arg(size.width()).arg(size.height())
                            : QString();
}

QString dateText(const QDateTime& date)
{
    QString text = date.toString(Qt::ISODate).replace(u'T', u' ');
    // The offset from UTC, if there is one.
    constexpr qsizetype kDateLength = 19;
    if (text.size() > kDateLength)
        text.insert(kDateLength, u' ');
    return text;
}

QString placeText(const RKCaptureSettings& capture)
{
    return joined({capture.city, capture.state, capture.country});
}

QString cameraText(const RKCaptureSettings& capture)
{
    // Most models begin with the maker's name, though not always as the maker is written.
    const bool isNamed
        = capture.model.startsWith(capture.make.section(u' ', 0, 0), Qt::CaseInsensitive);
    return isNamed && !capture.model.isEmpty()
        ? capture.model
        : joined({capture.make, capture.model}, QStringLiteral(" "));
}

QString ratingText(const RKMetaData& metaData)
{
    if (metaData.isRejected())
        return RKMediaCard::tr("rejected");
    constexpr int kStars = 5;
    const int rating = metaData.adobeRating();
    return rating == 0 ? QString() : QString(rating, u'★') + QString(kStars - rating, u'☆');
}

QString facesText(const RKMetaData& metaData)
{
    QStringList names;
    const QList<RKFacePosition> faces = metaData.facePositions().facePositions();
    for (const RKFacePosition& face : faces)
        names << face.name();
    const auto nameless = names.removeAll(QString());
    if (nameless > 0)
        names << RKMediaCard::tr("%1 without a name").arg(nameless);
    return joined(names);
}

QString colorsText(const RKMetaData& metaData)
{
    const QString name = RKColorProfileConverter::profileName(metaData);
    return name.isEmpty() && !metaData.iccData().isEmpty() ? RKMediaCard::tr("unnamed profile")
                                                           : name;
}

QString codecText(const QString& codec)
{
    static constexpr std::array<std::pair<const char*, const char*>, 12> kNames{{{"h264", "H.264"},
        {"hevc", "H.265 (HEVC)"},
        {"libdav1d", "AV1"},
        {"libvpx", "VP8"},
        {"libvpx-vp9", "VP9"},
        {"mpeg4", "MPEG-4 Part 2"},
        {"mpeg2video", "MPEG-2"},
        {"mpeg1video", "MPEG-1"},
        {"mjpeg", "Motion JPEG"},
        {"h263", "H.263"},
        {"dvvideo", "DV"},
        {"theora", "Theora"}}};
    for (const auto& [name, title] : kNames) {
        if (codec == QLatin1String(name))
            return QLatin1String(title);
    }
    return codec.toUpper();
}

/// Also of days, which a QTime doesn't hold. Empty if unknown, which is no more than 0.
QString durationText(int ms)
{
    if (ms <= 0)
        return {};
    constexpr int kMsPerHour = 3600 * 1000;
    const QTime rest = QTime(0, 0).addMSecs(ms % kMsPerHour);
    const int hours = ms / kMsPerHour;
    return hours > 0 ? QStringLiteral("%1:%2").arg(hours).arg(rest.toString(u"mm:ss.zzz"))
                     : rest.toString(u"m:ss.zzz");
}

RKMetaData readMetaData(const RKMediaDescriptor& descriptor)
{
    const RKMediaFormat format = descriptor.mediaFormat();
    if (format.isVideo())
        return RKVideoDecoderRegistry::instance()->metaData(descriptor);
    return format.isBitmap() ? RKImageLoader::instance()->copyMetaData(descriptor) : RKMetaData();
}

/// Writes what has numbers or units in it.
class Writer
{
public:
    explicit Writer(const QLocale& locale)
        : m_locale(locale)
    {
        m_locale.setNumberOptions(QLocale::OmitGroupSeparator);
    }

    QString file(const RKMediaDescriptor& descriptor) const
    {
        return joined({descriptor.mediaFormat().description(),
            m_locale.formattedDataSize(descriptor.fileInfo().size(), 1)});
    }

    QString pictureSize(const QSize& size, RKImageOrientation orientation) const
    {
        if (sizeText(size).isEmpty())
            return {};
        const double pixels = double(size.width()) * size.height();
        return joined({RKMediaCard::tr("%1 pixels").arg(sizeText(size)),
            pixels < 1e6 ? QString()
                         : RKMediaCard::tr("%1 megapixels").arg(number(pixels / 1e6, 1)),
            int(orientation) > 1 ? RKMediaCard::tr("turned by orientation %1").arg(int(orientation))
                                 : QString()});
    }

    QString video(const RKMediaDescriptor& descriptor) const
    {
        // In videos whose rate varies, a higher one is that of a clock which all times fit.
        constexpr double kMaxRate = 1000;
        const RKVideoDecoderRegistry& decoders = *RKVideoDecoderRegistry::instance();
        const int ms = decoders.durationInMS(descriptor);
        const double rate = decoders.framesPerSecond(descriptor).fps();
        return joined({durationText(ms),
            rate > 0 && rate <= kMaxRate ? RKMediaCard::tr("%1 fps").arg(number(rate, 2))
                                         : QString(),
            codecText(decoders.usedCodec(descriptor)),
            bitRate(8.0 * double(descriptor.fileInfo().size()), ms)});
    }

    QString position(const RKGeoPosition& position, const std::optional<double>& altitude) const
    {
        if (!position.isValid())
            return {};
        const double latitude = position.latitude().degrees();
        const double longitude = position.longitude().degrees();
        return joined({number(std::abs(latitude), 6)
                + (latitude < 0 ? RKMediaCard::tr("° S") : RKMediaCard::tr("° N")),
            number(std::abs(longitude), 6)
                + (longitude < 0 ? RKMediaCard::tr("° W") : RKMediaCard::tr("° E")),
            altitude ? RKMediaCard::tr("%1 m").arg(number(*altitude, 0)) : QString()});
    }

    QString exposure(const RKCaptureSettings& capture, bool flashUsed) const
    {
        QStringList parts{exposureTime(capture.exposureTime)};
        if (capture.fNumber > 0)
            parts << QStringLiteral("f/") + number(capture.fNumber, 1);
        if (capture.iso > 0)
            parts << RKMediaCard::tr("ISO %1").arg(capture.iso);
        if (const double bias = capture.exposureBias.value_or(0); std::abs(bias) >= 0.05)
            parts << RKMediaCard::tr("%1 EV").arg(
                (bias > 0 ? QStringLiteral("+") : QString()) + number(bias, 1));
        if (flashUsed)
            parts << RKMediaCard::tr("flash");
        return joined(parts);
    }

    QString focalLength(const RKCaptureSettings& capture) const
    {
        const double length = capture.focalLength;
        const double inFilm = capture.focalLengthIn35mm;
        return joined({length > 0 ? RKMediaCard::tr("%1 mm").arg(number(length, 1)) : QString(),
            inFilm > 0 ? RKMediaCard::tr("as %1 mm on 35 mm film").arg(number(inFilm, 1))
                       : QString()});
    }

private:
    /// At most so many digits after the point, without zeros at the end.
    QString number(double value, int digits) const
    {
        QString text = m_locale.toString(value, 'f', digits);
        if (digits == 0)
            return text;
        while (text.endsWith(m_locale.zeroDigit()))
            text.chop(m_locale.zeroDigit().size());
        if (text.endsWith(m_locale.decimalPoint()))
            text.chop(m_locale.decimalPoint().size());
        return text;
    }

    QString exposureTime(double seconds) const
    {
        constexpr double kShortest = 0.3;
        if (seconds <= 0)
            return {};
        return seconds < kShortest ? RKMediaCard::tr("1/%1 s").arg(number(1 / seconds, 0))
                                   : RKMediaCard::tr("%1 s").arg(number(seconds, 1));
    }

    QString bitRate(double bits, int ms) const
    {
        constexpr double kMega = 1e6;
        if (ms <= 0)
            return {};
        const double bitsPerSecond = std::round(1000 * bits / ms);
        return bitsPerSecond < kMega
            ? RKMediaCard::tr("%1 kbit/s").arg(number(bitsPerSecond / 1000, 0))
            : RKMediaCard::tr("%1 Mbit/s").arg(number(bitsPerSecond / kMega, 1));
    }

    QLocale m_locale;
};

} // namespace

QString RKMediaCard::label(Item item)
{
    return tr(kLabels.at(static_cast<size_t>(item)));
}

QList<RKMediaCard::Group> RKMediaCard::groups(
    const RKMediaDescriptor& descriptor, const QLocale& locale)
{
    if (!descriptor.fileInfo().exists())
        return {};
    return groups(
        descriptor, RKMediaLoader::instance()->size(descriptor), readMetaData(descriptor), locale);
}

QList<RKMediaCard::Group> RKMediaCard::groups(const RKMediaDescriptor& descriptor,
    const QSize& size,
    const RKMetaData& metaData,
    const QLocale& locale)
{
    const bool isVideo = descriptor.mediaFormat().isVideo();
    const Writer writer(locale);
    const RKCaptureSettings capture = metaData.captureSettings();
    QList<Group> groups{
        {{Item::File, writer.file(descriptor)},
            {Item::Size, writer.pictureSize(size, metaData.imageOrientation())},
            {Item::Video, isVideo ? writer.video(descriptor) : QString()},
            {Item::Taken, dateText(metaData.pictureTaken())},
            {Item::Place, placeText(capture)},
            {Item::Position, writer.position(metaData.geoPosition(), capture.altitude)}},
        {{Item::Camera, cameraText(capture)},
            {Item::Lens, capture.lens},
            {Item::Exposure, writer.exposure(capture, metaData.flashUsed())},
            {Item::FocalLength, writer.focalLength(capture)}}};
    // The metadata of a video names its file and its frame in places meant for people's texts.
    if (!isVideo) {
        groups << Group{{Item::Rating, ratingText(metaData)},
            {Item::Title, metaData.read(Field::originalFilename)},
            {Item::Description, metaData.read(Field::exifImageDescription)},
            {Item::Comment, metaData.read(Field::exifUserComment)},
            {Item::Keywords, joined(metaData.keywords())},
            {Item::Faces, facesText(metaData)},
            {Item::Author, metaData.read(Field::author)},
            {Item::Copyright, metaData.read(Field::copyright)}};
    }
    groups << Group{{Item::Colors, colorsText(metaData)},
        {Item::Thumbnail, sizeText(metaData.thumbnailSize())},
        {Item::Software, metaData.read(Field::exifSoftware)}};

    for (Group& group : groups)
        group.removeIf([](const Line& line) { return line.text.isEmpty(); });
    groups.removeIf([](const Group& group) { return group.isEmpty(); });
    return groups;
}
