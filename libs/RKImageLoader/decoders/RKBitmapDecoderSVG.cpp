#include "RKImageLoader/decoders/RKBitmapDecoderSVG.h"

#include "RKImageLoader/decoders/RKDeviceOpener_p.h"
#include "RKImageLoader/drawables/RKImageScaler_p.h"
#include "RKImageLoader/media/RKSafeFileWriter.h"

#include <QDebug>
#include <QMutex>
#include <QMutexLocker>
#include <QPainter>
#include <QSvgGenerator>
#include <QSvgRenderer>

namespace {

/// Serialises all rendering of documents by decoders; nothing else is locked while it is held.
QMutex& renderingMutex()
{
    static QMutex mutex;
    return mutex;
}

bool isInvalid(const QSize& size)
{
    return size.width() < 0 || size.height() < 0;
}

} // namespace

RKMediaFormatList RKBitmapDecoderSVG::readableImageFileFormats() const
{
    static const RKMediaFormatList formats{MEDIA_FORMAT_SVG};
    return formats;
}

RKMediaFormatList RKBitmapDecoderSVG::writableImageFileFormats() const
{
    return {};
}

QImage RKBitmapDecoderSVG::decode(const QByteArray& data,
    const QByteArray&,
    const QSize& wantedSize,
    const RKMediaDescriptor&) const
{
    const QMutexLocker locker(&renderingMutex());
    QSvgRenderer renderer(data);
    if (!renderer.isValid())
        return {};

    const QSize defaultSize = renderer.defaultSize();
    const QSize target
        = calculateRealTargetSize(isInvalid(wantedSize) ? defaultSize : wantedSize, defaultSize);
    if (!RKImageScaler::isFeasible(target))
        return {};
    QImage image(target, QImage::Format_ARGB32_Premultiplied);
    if (image.isNull())
        return {};
    image.fill(Qt::transparent);
    QPainter painter(&image);
    renderer.render(&painter);
    return image;
}

RKDrawable RKBitmapDecoderSVG::decodeDrawable(const QByteArray& data,
    const QByteArray&,
    const QSize& wantedSize,
    const RKMediaDescriptor&) const
{
    const RKDrawable drawable(data);
    return isInvalid(wantedSize) ? drawable : drawable.scaled(wantedSize);
}

bool RKBitmapDecoderSVG::save(const QFileInfo& file, const RKDrawable& drawable) const
{
    const QByteArray svg = drawable.svg();
    return !svg.isEmpty()
        && RKSafeFileWriter(file.absoluteFilePath()).write(svg) == RKSafeFileWriter::Result::Done;
}

bool RKBitmapDecoderSVG::save(QIODevice* device, const RKMediaFormat&, const QImage& image) const
{
    if (!device || image.isNull())
        return false;
    QSvgGenerator generator;
    generator.setOutputDevice(device);
    generator.setSize(image.size());
    generator.setViewBox(image.rect());
    generator.setTitle(QStringLiteral("converted QImage of RKBitmapDecoderSVG"));
    QPainter painter;
    if (!painter.begin(&generator))
        return false;
    painter.drawImage(generator.viewBoxF(), image, image.rect());
    return painter.end();
}

bool RKBitmapDecoderSVG::save(
    QIODevice* device, const RKMediaFormat&, const RKDrawable& drawable) const
{
    const QByteArray svg = drawable.svg();
    if (!device || svg.isEmpty())
        return false;
    const RKDeviceOpener opener(device, QIODevice::WriteOnly);
    return opener.isReady() && device->write(svg) == svg.size();
}

QSize RKBitmapDecoderSVG::size(QIODevice* device, const QByteArray& format) const
{
    const RKDeviceOpener opener(device, QIODevice::ReadOnly);
    if (!opener.isReady()) {
        qWarning().noquote() << "could not open theIODevice" << device->errorString();
        return {};
    }
    return size(device->readAll(), format);
}

QSize RKBitmapDecoderSVG::size(const QByteArray& data, const QByteArray&) const
{
    const QMutexLocker locker(&renderingMutex());
    const QSvgRenderer renderer(data);
    return renderer.isValid() ? renderer.defaultSize() : QSize();
}

QSize RKBitmapDecoderSVG::size(const QFileInfo& file, const QByteArray& format) const
{
    return size(readBinaryFile(file), format);
}

QString RKBitmapDecoderSVG::name() const
{
    return QStringLiteral("SVG");
}
