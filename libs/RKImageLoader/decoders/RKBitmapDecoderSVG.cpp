#include "RKImageLoader/decoders/RKBitmapDecoderSVG.h"

#include "RKImageLoader/decoders/RKDeviceOpener_p.h"
#include "RKImageLoader/drawables/RKImageScaler_p.h"
#include "RKImageLoader/files/RKSafeFileWriter_p.h"
#include "RKImageLoader/guards/RKSvgPaintCost_p.h"
#include "RKImageLoader/guards/RKSvgSanitizer_p.h"
#include "RKImageLoader/media/RKLogCategories_p.h"

#include <QBuffer>
#include <QDebug>
#include <QMutex>
#include <QMutexLocker>
#include <QPainter>
#include <QSvgGenerator>
#include <QSvgRenderer>

namespace {

// Serialises every use of the renderer. Nothing else is locked while it is held.
QMutex& rendererMutex()
{
    static QMutex mutex;
    return mutex;
}

void load(QSvgRenderer& renderer, const QByteArray& safeSvg)
{
    // An animated document would start a timer, which needs a thread with an event loop.
    renderer.setFramesPerSecond(0);
    renderer.load(safeSvg);
}

// A document without sides, and with nothing to be seen that could stand in for them, has no size.
bool hasSize(const QSize& size)
{
    if (!size.isEmpty())
        return true;
    qCWarning(rkLoad, "SVG document refused: it has no size");
    return false;
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
    const QByteArray& format,
    const QSize& wantedSize,
    const RKMediaDescriptor& descriptor) const
{
    RKLoadContext context;
    return decode(data, format, wantedSize, descriptor, context);
}

RKDrawable RKBitmapDecoderSVG::decodeDrawable(const QByteArray& data,
    const QByteArray& format,
    const QSize& wantedSize,
    const RKMediaDescriptor& descriptor) const
{
    RKLoadContext context;
    return decodeDrawable(data, format, wantedSize, descriptor, context);
}

QImage RKBitmapDecoderSVG::decode(const QByteArray& data,
    const QByteArray&,
    const QSize& wantedSize,
    const RKMediaDescriptor&,
    RKLoadContext&) const
{
    const QByteArray safeSvg = RKSvgSanitizer::sanitized(data);
    const QMutexLocker locker(&rendererMutex());
    QSvgRenderer renderer;
    load(renderer, safeSvg);
    const QSize ownSize = renderer.defaultSize();
    if (!renderer.isValid() || !ownSize.isValid() || !hasSize(ownSize))
        return {};
    const bool isOwnSize = !wantedSize.isValid();
    const QSize target = calculateRealTargetSize(isOwnSize ? ownSize : wantedSize, ownSize);
    if (!RKImageScaler::isFeasible(target)
        || (isOwnSize && qint64(ownSize.width()) * ownSize.height() > kMaxPixels))
    {
        qCWarning(rkLoad, "SVG document refused: it wants to be too large");
        return {};
    }
    if (!RKSvgPaintCost::isAffordable(renderer))
        return {};
    QImage image(target, QImage::Format_ARGB32_Premultiplied);
    if (image.isNull())
        return {};
    image.fill(Qt::transparent);
    QPainter painter(&image);
    renderer.render(&painter);
    painter.end();
    return image;
}

RKDrawable RKBitmapDecoderSVG::decodeDrawable(const QByteArray& data,
    const QByteArray&,
    const QSize& wantedSize,
    const RKMediaDescriptor&,
    RKLoadContext&) const
{
    const RKDrawable drawable(data);
    if (!drawable.isNull() && !hasSize(drawable.size()))
        return {};
    return wantedSize.isValid() ? drawable.scaled(wantedSize) : drawable;
}

bool RKBitmapDecoderSVG::save(const QFileInfo& file, const RKDrawable& drawable) const
{
    const QString path = file.absoluteFilePath();
    const QByteArray svg = drawable.svg();
    if (!svg.isEmpty() && RKSafeFileWriter(path).write(svg) == RKSafeFileWriter::Result::Done)
        return true;
    qCWarning(rkLoad).noquote() << "failed to save" << path;
    return false;
}

bool RKBitmapDecoderSVG::save(QIODevice* device, const RKMediaFormat&, const QImage& image) const
{
    const RKDeviceOpener opener(device, QIODevice::WriteOnly);
    if (!opener.isOpen() || image.isNull())
        return false;

    QSvgGenerator generator;
    generator.setOutputDevice(device);
    generator.setSize(image.size());
    generator.setViewBox(image.rect());
    generator.setTitle(QStringLiteral("converted QImage of RKBitmapDecoderSVG"));
    QPainter painter;
    if (!painter.begin(&generator))
        return false;
    painter.drawImage(generator.viewBoxF(), image);
    return painter.end() && opener.isFlushed();
}

bool RKBitmapDecoderSVG::save(
    QIODevice* device, const RKMediaFormat&, const RKDrawable& drawable) const
{
    const RKDeviceOpener opener(device, QIODevice::WriteOnly);
    const QByteArray svg = drawable.svg();
    return opener.isOpen() && !svg.isEmpty() && device->write(svg) == svg.size()
        && opener.isFlushed();
}

QSize RKBitmapDecoderSVG::size(QIODevice* device, const QByteArray& format) const
{
    const RKDeviceOpener opener(device, QIODevice::ReadOnly);
    if (!opener.isOpen()) {
        qCWarning(rkLoad).noquote() << "could not open theIODevice" << device->errorString();
        return {};
    }
    return size(device->readAll(), format);
}

QSize RKBitmapDecoderSVG::size(const QByteArray& data, const QByteArray&) const
{
    const QByteArray safeSvg = RKSvgSanitizer::sanitized(data);
    const QMutexLocker locker(&rendererMutex());
    QSvgRenderer renderer;
    load(renderer, safeSvg);
    const QSize size = renderer.defaultSize();
    return !size.isValid() || hasSize(size) ? size : QSize();
}

QSize RKBitmapDecoderSVG::size(const QFileInfo& file, const QByteArray& format) const
{
    return size(readBinaryFile(file), format);
}

QSize RKBitmapDecoderSVG::size(
    const QFileInfo& file, const QByteArray& format, RKLoadContext&) const
{
    return size(file, format);
}

QString RKBitmapDecoderSVG::name() const
{
    return QStringLiteral("SVG");
}
