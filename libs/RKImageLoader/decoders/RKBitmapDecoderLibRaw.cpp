#include "RKImageLoader/decoders/RKBitmapDecoderLibRaw_p.h"
#include "RKImageLoader/decoders/RKBitmapDecoderMacCoreGraphics.h"
#include "RKImageLoader/decoders/RKDeviceOpener_p.h"
#include "RKImageLoader/decoders/RKRawPicture_p.h"
#include "RKImageLoader/decoders/RKRefusal_p.h"
#include "RKImageLoader/decoders/photoshop/RKPhotoshopReader_p.h"
#include "RKImageLoader/drawables/RKImageScaler_p.h"
#include "RKImageLoader/files/RKBinaryFile_p.h"
#include "RKImageLoader/media/RKLogCategories_p.h"

#include <QDebug>
#include <QFile>

namespace {

bool isPhotoshop(const QByteArray& format)
{
    return RKMediaFormat(format) == MEDIA_FORMAT_PSD;
}

// Asks for something that needs little of a file's bytes.
template <typename Question>
auto withBytes(const QFileInfo& file, const Question& question) -> decltype(question(QByteArray()))
{
    QFile device(file.absoluteFilePath());
    if (RKBinaryFile::mayBlock(file) || !device.open(QIODevice::ReadOnly)) {
        qCWarning(rkLoad).noquote() << "could not open theIODevice" << device.errorString();
        return {};
    }
    const uchar* const bytes = device.map(0, device.size());
    return question(bytes ? QByteArray::fromRawData(
                        reinterpret_cast<const char*>(bytes), qsizetype(device.size()))
                          : device.readAll());
}

} // namespace

RKMediaFormatList RKBitmapDecoderLibRaw::readableImageFileFormats() const
{
    static const RKMediaFormatList formats = RKRawPicture::isAvailable()
        ? RKMediaFormatList(RKBitmapDecoderMacCoreGraphics::staticReadableImageFileFormats())
        : RKMediaFormatList{MEDIA_FORMAT_PSD};
    return formats;
}

RKMediaFormatList RKBitmapDecoderLibRaw::writableImageFileFormats() const
{
    return {};
}

QImage RKBitmapDecoderLibRaw::decode(const QByteArray& data,
    const QByteArray& format,
    const QSize& wantedSize,
    const RKMediaDescriptor& descriptor) const
{
    RKLoadContext context;
    return decode(data, format, wantedSize, descriptor, context);
}

RKDrawable RKBitmapDecoderLibRaw::decodeDrawable(const QByteArray& data,
    const QByteArray& format,
    const QSize& wantedSize,
    const RKMediaDescriptor& descriptor,
    RKLoadContext& context) const
{
    return RKDrawable(decode(data, format, wantedSize, descriptor, context));
}

QImage RKBitmapDecoderLibRaw::decode(const QByteArray& data,
    const QByteArray& format,
    const QSize& wantedSize,
    const RKMediaDescriptor&,
    RKLoadContext& context) const
{
    if (isPhotoshop(format))
        return RKPhotoshopReader::read(data, wantedSize, context);

    RKRawPicture raw(data, context.cancellation());
    if (!raw.isOpen()) {
        context.fail(raw.openError());
        return {};
    }
    const QSize upright = raw.uprightSize();
    if (!wantedSize.isValid())
        return raw.developed(upright, context);

    // The wanted size is one of the stored pixels.
    const QSize box = raw.isTransposed() ? wantedSize.transposed() : wantedSize;
    const QSize target = calculateRealTargetSize(box, upright);
    if (!RKImageScaler::isFeasible(target)) {
        RKRefusal::wantedSize(context);
        return {};
    }
    const QImage preview = raw.preview(target);
    if (!preview.isNull() || context.isCancelled())
        return preview;
    const QImage developed = raw.developed(target, context);
    if (developed.isNull() || developed.size() == target)
        return developed;
    return developed.scaled(target, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
}

bool RKBitmapDecoderLibRaw::save(const QFileInfo&, const RKDrawable&) const
{
    return false;
}

bool RKBitmapDecoderLibRaw::save(QIODevice*, const RKMediaFormat&, const QImage&) const
{
    return false;
}

bool RKBitmapDecoderLibRaw::save(QIODevice*, const RKMediaFormat&, const RKDrawable&) const
{
    return false;
}

QSize RKBitmapDecoderLibRaw::size(QIODevice* device, const QByteArray& format) const
{
    const RKDeviceOpener opener(device, QIODevice::ReadOnly);
    if (!opener.isOpen()) {
        qCWarning(rkLoad).noquote() << "could not open theIODevice" << device->errorString();
        return {};
    }
    return size(device->readAll(), format);
}

QSize RKBitmapDecoderLibRaw::size(const QByteArray& data, const QByteArray& format) const
{
    if (isPhotoshop(format))
        return RKPhotoshopReader::size(data);
    const RKRawPicture raw(data);
    return raw.isOpen() ? raw.storedSize() : QSize();
}

QSize RKBitmapDecoderLibRaw::size(const QFileInfo& file, const QByteArray& format) const
{
    return withBytes(file, [&](const QByteArray& data) { return size(data, format); });
}

QSize RKBitmapDecoderLibRaw::size(
    const QFileInfo& file, const QByteArray& format, RKLoadContext& context) const
{
    const QSize measured = size(file, format);
    if (!measured.isValid())
        context.fail(RKMediaErrorCode::Damaged);
    return measured;
}

QString RKBitmapDecoderLibRaw::name() const
{
    return RKRawPicture::isAvailable() ? QStringLiteral("LibRaw") : QStringLiteral("Photoshop");
}

std::optional<bool> RKBitmapDecoderLibRaw::exchangesSides(
    const QFileInfo& file, const QByteArray& format) const
{
    return withBytes(file, [&](const QByteArray& data) -> std::optional<bool> {
        if (isPhotoshop(format))
            return {};
        const RKRawPicture raw(data);
        return raw.isOpen() ? std::optional(raw.isTransposed()) : std::nullopt;
    });
}
