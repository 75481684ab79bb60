#include "RKImageLoader/video/RKVideoDecoderDummy.h"

#include "RKImageLoader/metadata/RKMetaDataField.h"

#include <QCoreApplication>
#include <QFont>
#include <QPainter>

#include <algorithm>

namespace {

constexpr QSize kNominalSize(300, 300);

QFont fontForWidth(int width)
{
    // Fonts of 0 points are refused. The product needs more than 32 bits for widths that an image
    // can have.
    const qint64 points = 26 * qint64(width) / 300;
    return QFont(QStringLiteral("Arial"), std::max(int(points), 1), QFont::Bold);
}

} // namespace

RKMediaFormatList RKVideoDecoderDummy::supportedVideoFileFormats() const
{
    static const RKMediaFormatList formats{MEDIA_FORMAT_AVI, MEDIA_FORMAT_MPG, MEDIA_FORMAT_WMV};
    return formats;
}

QImage RKVideoDecoderDummy::decode(const RKMediaDescriptor& descriptor, const QSize& wanted) const
{
    QImage image(wanted.isValid() ? wanted : QSize(640, 480), QImage::Format_ARGB32_Premultiplied);
    if (image.isNull())
        return {};
    image.fill(Qt::yellow);
    QPainter painter(&image);
    painter.setPen(Qt::darkBlue);
    painter.setFont(fontForWidth(image.width()));
    painter.drawText(image.rect(),
        Qt::AlignCenter,
        QCoreApplication::translate("RKVideoDecoderDummy", "Video Datei:\n%1\n\nFrame Nummer:\n%2")
            .arg(descriptor.fileName(), QString::number(descriptor.frameIndex().frame())));
    return image;
}

RKMetaData RKVideoDecoderDummy::metaData(const RKMediaDescriptor& descriptor) const
{
    RKMetaData metaData;
    metaData.forceSetSize(kNominalSize);
    metaData.setPictureTaken(QDateTime::currentDateTime());
    metaData.write(RKMetaDataFieldEnum::exifImageDescription,
        QString::number(descriptor.frameIndex().frame()));
    metaData.write(RKMetaDataFieldEnum::originalFilename, descriptor.absoluteFilePath());
    return metaData;
}

QSize RKVideoDecoderDummy::size(const RKMediaDescriptor&) const
{
    return kNominalSize;
}

RKFramesPerSecond RKVideoDecoderDummy::framesPerSecond(const RKMediaDescriptor&) const
{
    return 25.0;
}

int RKVideoDecoderDummy::durationInMS(const RKMediaDescriptor&) const
{
    return 5400000;
}

QString RKVideoDecoderDummy::usedCodec(const RKMediaDescriptor&) const
{
    return {};
}
