#include "RKImageLoader/decoders/RKBitmapDecoderSVG.h"

#include "RKImageLoader/decoders/RKDeviceOpener_p.h"
#include "RKImageLoader/drawables/RKImageScaler_p.h"
#include "RKImageLoader/files/RKBinaryFile_p.h"
#include "RKImageLoader/files/RKFileSaving.h"
#include "RKImageLoader/guards/RKSvgPaintCost_p.h"
#include "RKImageLoader/guards/RKSvgSanitizer_p.h"
#include "RKImageLoader/media/RKErrorText_p.h"
#include "RKImageLoader/media/RKFileReason_p.h"
#include "RKImageLoader/media/RKLogCategories_p.h"

#include <QBuffer>
#include <QDebug>
#include <QMutex>
#include <QMutexLocker>
#include <QPainter>
#include <QSvgGenerator>
#include <QSvgRenderer>
#include <QXmlStreamReader>

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

RKMediaError nothingToSave()
{
    return RKMediaError(
        RKMediaErrorCode::NotWritable, RKErrorText::tr("There is no picture to save."));
}

bool endsTooEarly(const QByteArray& data)
{
    QXmlStreamReader reader(data);
    while (!reader.atEnd())
        reader.readNext();
    return reader.error() == QXmlStreamReader::PrematureEndOfDocumentError;
}

/// Why a document that is not empty gives no drawing. Looks into it once more, for few documents
/// fail.
RKMediaError reasonFor(const QByteArray& data)
{
    using Code = RKMediaErrorCode;
    if (data.isEmpty())
        return {};
    QString problem;
    const QByteArray safeSvg = RKSvgSanitizer::sanitized(data, &problem);
    if (!problem.isEmpty()) {
        return RKMediaError(
            Code::TooLarge, RKErrorText::tr("The drawing is refused: %1.").arg(problem));
    }
    if (safeSvg.isEmpty())
        return RKMediaError(endsTooEarly(data) ? Code::Truncated : Code::Damaged);
    const QMutexLocker locker(&rendererMutex());
    QSvgRenderer renderer;
    load(renderer, safeSvg);
    if (!renderer.isValid())
        return RKMediaError(Code::Damaged);
    if (renderer.defaultSize().isEmpty())
        return RKMediaError(Code::TooSmall, RKErrorText::tr("The drawing has no size."));
    return RKMediaError(
        Code::TooLarge, RKErrorText::tr("The drawing is too large or takes too long to paint."));
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
    RKLoadContext& context) const
{
    const QImage image = rendered(data, wantedSize);
    if (image.isNull())
        context.fail(reasonFor(data));
    return image;
}

/// Null if the document can't be drawn, or not in that size.
QImage RKBitmapDecoderSVG::rendered(const QByteArray& data, const QSize& wantedSize)
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
    RKLoadContext& context) const
{
    const RKDrawable drawable(data);
    if (drawable.isNull() || !hasSize(drawable.size())) {
        context.fail(reasonFor(data));
        return {};
    }
    return wantedSize.isValid() ? drawable.scaled(wantedSize) : drawable;
}

bool RKBitmapDecoderSVG::save(const QFileInfo& file, const RKDrawable& drawable) const
{
    return save(file, drawable, nullptr);
}

bool RKBitmapDecoderSVG::save(
    const QFileInfo& file, const RKDrawable& drawable, RKMediaError* error) const
{
    const QString path = file.absoluteFilePath();
    const QByteArray svg = drawable.svg();
    const RKMediaError reason = svg.isEmpty() ? nothingToSave() : RKFileSaving::write(path, svg);
    if (reason.isError())
        qCWarning(rkLoad).noquote() << "failed to save" << path;
    if (error)
        *error = reason;
    return !reason.isError();
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
    QIODevice* device, const RKMediaFormat& format, const RKDrawable& drawable) const
{
    return save(device, format, drawable, nullptr);
}

bool RKBitmapDecoderSVG::save(
    QIODevice* device, const RKMediaFormat&, const RKDrawable& drawable, RKMediaError* error) const
{
    const RKDeviceOpener opener(device, QIODevice::WriteOnly);
    const QByteArray svg = drawable.svg();
    const bool isSaved = opener.isOpen() && !svg.isEmpty() && device->write(svg) == svg.size()
        && opener.isFlushed();
    if (error && isSaved)
        *error = {};
    else if (error)
        *error = svg.isEmpty() ? nothingToSave() : RKMediaError(RKMediaErrorCode::NotWritable);
    return isSaved;
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
    const QFileInfo& file, const QByteArray& format, RKLoadContext& context) const
{
    std::error_code error;
    const QByteArray data = RKBinaryFile::readAll(file, &error);
    const QSize measured = size(data, format);
    context.fail(RKFileReason::ofReading(error, file.absoluteFilePath()));
    if (!measured.isValid())
        context.fail(reasonFor(data));
    return measured;
}

QString RKBitmapDecoderSVG::name() const
{
    return QStringLiteral("SVG");
}
