#include "panel/FileFacts.h"

#include "RKImageLoader/faces/RKFacePositions.h"
#include "RKImageLoader/loading/RKMediaLoader.h"
#include "RKImageLoader/metadata/RKMetaDataField.h"
#include "RKImageLoader/video/RKVideoDecoderRegistry.h"

#include <QColorSpace>
#include <QCoreApplication>
#include <QFileInfo>
#include <QLocale>
#include <QTime>

namespace {

struct Text
{
    Q_DECLARE_TR_FUNCTIONS(FileFacts)
};

/// A number of Exif, such as "28/10"; 0 if there is none.
double number(const QString& text)
{
    const double denominator = text.contains(u'/') ? text.section(u'/', 1).toDouble() : 1.0;
    return denominator > 0 ? text.section(u'/', 0, 0).section(u' ', 0, 0).toDouble() / denominator
                           : 0.0;
}

QString sizeText(const QSize& size)
{
    return size.isValid() ? QStringLiteral("%1 × %2").arg(size.width()).arg(size.height())
                          : QString();
}

QString cameraText(const RKMetaData& metaData)
{
    const QString make = metaData.read(RKMetaDataFieldEnum::exifMake);
    const QString model = metaData.read(RKMetaDataFieldEnum::exifModel);
    // Most makers begin the model with their name.
    return model.startsWith(make.section(u' ', 0, 0), Qt::CaseInsensitive)
        ? model
        : QString(make + u' ' + model).trimmed();
}

QString exposureText(const QHash<QString, QString>& data)
{
    QStringList parts;
    const double seconds = number(data[QStringLiteral("Exif.Photo.ExposureTime")]);
    if (seconds > 0 && seconds < 0.3)
        parts << Text::tr("1/%1 s").arg(qRound(1 / seconds));
    else if (seconds > 0)
        parts << Text::tr("%1 s").arg(QLocale().toString(seconds, 'g', 3));
    if (const double stop = number(data[QStringLiteral("Exif.Photo.FNumber")]); stop > 0)
        parts << QStringLiteral("f/%1").arg(QLocale().toString(stop, 'g', 3));
    return parts.join(QStringLiteral(", "));
}

QString focalLengthText(const QHash<QString, QString>& data)
{
    const double length = number(data[QStringLiteral("Exif.Photo.FocalLength")]);
    const double equivalent = number(data[QStringLiteral("Exif.Photo.FocalLengthIn35mmFilm")]);
    if (length <= 0)
        return {};
    const QString text = Text::tr("%1 mm").arg(QLocale().toString(length, 'g', 4));
    return equivalent > 0 ? Text::tr("%1 (like %2 mm on 35 mm film)").arg(text).arg(equivalent)
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
        names << Text::tr("%n without a name", nullptr, unnamed);
    return names.join(QStringLiteral(", "));
}

QString profileText(const RKMetaData& metaData)
{
    const QByteArray profile = metaData.iccData();
    if (profile.isEmpty())
        return metaData.isAdobeRGB() ? QStringLiteral("Adobe RGB (1998)") : QString();
    const QString name = QColorSpace::fromIccProfile(profile).description();
    return name.isEmpty() ? QLocale().formattedDataSize(profile.size()) : name;
}

} // namespace

FileFacts FileFacts::read(const QString& filePath)
{
    const RKMediaDescriptor descriptor{QFileInfo(filePath)};
    const RKMediaLoader& loader = *RKMediaLoader::instance();
    const RKMediaFormat format = descriptor.mediaFormat();
    FileFacts facts;
    facts.isPicture = format.isBitmap();
    const auto add = [&facts](const char* name, const QString& text) {
        if (!text.isEmpty())
            facts.rows.append({Text::tr(name), text});
    };
    loader.invalidateMetaData(descriptor);
    RKMediaError error;
    add(QT_TRANSLATE_NOOP("FileFacts", "Kind"), format.description());
    add(QT_TRANSLATE_NOOP("FileFacts", "Size"), sizeText(loader.size(descriptor, &error)));
    facts.problem = error.text();
    add(QT_TRANSLATE_NOOP("FileFacts", "File"),
        QLocale().formattedDataSize(descriptor.fileInfo().size()));
    if (facts.isPicture) {
        facts.metaData = RKMetaData(descriptor.fileInfo());
        const QHash<QString, QString> data = facts.metaData.allData();
        const QString lens = data[QStringLiteral("Exif.Photo.LensModel")];
        add(QT_TRANSLATE_NOOP("FileFacts", "Camera"), cameraText(facts.metaData));
        add(QT_TRANSLATE_NOOP("FileFacts", "Lens"),
            (lens.isEmpty() ? data[QStringLiteral("Xmp.aux.Lens")] : lens).trimmed());
        add(QT_TRANSLATE_NOOP("FileFacts", "Exposure"), exposureText(data));
        add(QT_TRANSLATE_NOOP("FileFacts", "ISO"),
            data[QStringLiteral("Exif.Photo.ISOSpeedRatings")].section(u' ', 0, 0));
        add(QT_TRANSLATE_NOOP("FileFacts", "Focal length"), focalLengthText(data));
        add(QT_TRANSLATE_NOOP("FileFacts", "People"), peopleText(facts.metaData));
        add(QT_TRANSLATE_NOOP("FileFacts", "Colours"), profileText(facts.metaData));
        add(QT_TRANSLATE_NOOP("FileFacts", "Thumbnail"), sizeText(facts.metaData.thumbnailSize()));
    } else if (format.isVideo()) {
        const RKVideoDecoderRegistry& videos = *RKVideoDecoderRegistry::instance();
        const RKMetaData metaData = videos.metaData(descriptor);
        const int duration = videos.durationInMS(descriptor);
        const double rate = videos.framesPerSecond(descriptor).fps();
        if (duration > 0)
            add(QT_TRANSLATE_NOOP("FileFacts", "Length"),
                QTime::fromMSecsSinceStartOfDay(duration).toString(QStringLiteral("h:mm:ss.zzz")));
        if (rate > 0)
            add(QT_TRANSLATE_NOOP("FileFacts", "Rate"),
                Text::tr("%1 frames per second").arg(QLocale().toString(rate, 'g', 5)));
        add(QT_TRANSLATE_NOOP("FileFacts", "Codec"), videos.usedCodec(descriptor));
        add(QT_TRANSLATE_NOOP("FileFacts", "Recorded"),
            QLocale().toString(metaData.pictureTaken(), QLocale::ShortFormat));
        add(QT_TRANSLATE_NOOP("FileFacts", "Camera"),
            metaData.read(RKMetaDataFieldEnum::exifModel));
        videos.freeResource(descriptor);
    }
    return facts;
}
