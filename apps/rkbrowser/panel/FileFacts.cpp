#include "panel/FileFacts.h"

#include "RKImageLoader/color/RKColorProfileConverter.h"
#include "RKImageLoader/faces/RKFacePositions.h"
#include "RKImageLoader/loading/RKMediaLoader.h"
#include "RKImageLoader/metadata/RKCaptureSettings.h"
#include "RKImageLoader/metadata/RKMetaDataField.h"
#include "RKImageLoader/video/RKVideoDecoderRegistry.h"

#include <QFileInfo>
#include <QLocale>
#include <QTime>

using namespace Qt::StringLiterals;

namespace {

QString sizeText(const QSize& size)
{
    return size.isValid() ? u"%1 × %2"_s.arg(size.width()).arg(size.height()) : QString();
}

QString cameraText(const RKCaptureSettings& settings)
{
    // Most makers begin the model with their name.
    const bool isNamed
        = settings.model.startsWith(settings.make.section(u' ', 0, 0), Qt::CaseInsensitive);
    return isNamed ? settings.model : QString(settings.make + u' ' + settings.model).trimmed();
}

QString exposureText(const RKCaptureSettings& settings)
{
    constexpr double kLongestFraction = 0.3;
    const double seconds = settings.exposureTime;
    QStringList parts;
    if (seconds > 0)
        parts << (seconds < kLongestFraction
                ? FileFacts::tr("1/%1 s").arg(qRound(1 / seconds))
                : FileFacts::tr("%1 s").arg(QLocale().toString(seconds, 'g', 3)));
    if (settings.fNumber > 0)
        parts << u"f/%1"_s.arg(QLocale().toString(settings.fNumber, 'g', 3));
    return parts.join(u", "_s);
}

QString focalLengthText(const RKCaptureSettings& settings)
{
    if (settings.focalLength <= 0)
        return {};
    const QString text
        = FileFacts::tr("%1 mm").arg(QLocale().toString(settings.focalLength, 'g', 4));
    return settings.focalLengthIn35mm > 0 ? FileFacts::tr("%1 (like %2 mm on 35 mm film)")
                                                .arg(text)
                                                .arg(qRound(settings.focalLengthIn35mm))
                                          : text;
}

QString peopleText(const RKMetaData& metaData)
{
    QStringList names;
    int unnamed = 0;
    const QList<RKFacePosition> faces = metaData.facePositions().facePositions();
    for (const RKFacePosition& face : faces)
        face.name().isEmpty() ? void(++unnamed) : names.append(face.name());
    if (unnamed > 0)
        names << FileFacts::tr("%n without a name", nullptr, unnamed);
    return names.join(u", "_s);
}

} // namespace

FileFacts FileFacts::read(const QString& filePath)
{
    const RKMediaDescriptor descriptor{QFileInfo(filePath)};
    const RKMediaLoader& loader = *RKMediaLoader::instance();
    const RKMediaFormat format = descriptor.mediaFormat();
    FileFacts facts;
    facts.isPicture = format.isBitmap();
    const auto add = [&facts](const QString& name, const QString& text) {
        if (!text.isEmpty())
            facts.rows.append({name, text});
    };
    loader.invalidateMetaData(descriptor);
    RKMediaError error;
    add(tr("Kind"), format.description());
    add(tr("Size"), sizeText(loader.size(descriptor, &error)));
    facts.problem = error.text();
    add(tr("File"), QLocale().formattedDataSize(descriptor.fileInfo().size()));
    if (facts.isPicture) {
        facts.metaData = RKMetaData(descriptor.fileInfo());
        const RKCaptureSettings settings = facts.metaData.captureSettings();
        add(tr("Camera"), cameraText(settings));
        add(tr("Lens"), settings.lens);
        add(tr("Exposure"), exposureText(settings));
        if (settings.iso > 0)
            add(tr("ISO"), QString::number(settings.iso));
        add(tr("Focal length"), focalLengthText(settings));
        add(tr("People"), peopleText(facts.metaData));
        add(tr("Colours"), RKColorProfileConverter::profileName(facts.metaData));
        add(tr("Thumbnail"), sizeText(facts.metaData.thumbnailSize()));
    } else if (format.isVideo()) {
        const RKVideoDecoderRegistry& videos = *RKVideoDecoderRegistry::instance();
        const RKMetaData metaData = videos.metaData(descriptor);
        const int duration = videos.durationInMS(descriptor);
        const double rate = videos.framesPerSecond(descriptor).fps();
        if (duration > 0)
            add(tr("Length"), QTime::fromMSecsSinceStartOfDay(duration).toString(u"h:mm:ss.zzz"_s));
        if (rate > 0)
            add(tr("Rate"), tr("%1 frames per second").arg(QLocale().toString(rate, 'g', 5)));
        add(tr("Codec"), videos.usedCodec(descriptor));
        add(tr("Recorded"), QLocale().toString(metaData.pictureTaken(), QLocale::ShortFormat));
        add(tr("Camera"), metaData.read(RKMetaDataFieldEnum::exifModel));
        videos.freeResource(descriptor);
    }
    return facts;
}
