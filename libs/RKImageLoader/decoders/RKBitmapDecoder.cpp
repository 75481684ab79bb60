#include "RKImageLoader/decoders/RKBitmapDecoder.h"

#include "RKImageLoader/files/RKBinaryFile_p.h"

#include <QFile>

namespace {

constexpr qsizetype kJpegSignatureSize = 3;

bool storeSaved(bool isSaved, RKMediaError* error)
{
    if (error)
        *error = RKMediaError(isSaved ? RKMediaErrorCode::None : RKMediaErrorCode::NotWritable);
    return isSaved;
}

} // namespace

RKBitmapDecoder::~RKBitmapDecoder() = default;

bool RKBitmapDecoder::canRead(const RKMediaFormat& format) const
{
    return readableImageFileFormats().contains(format);
}

bool RKBitmapDecoder::canWrite(const RKMediaFormat& format) const
{
    return writableImageFileFormats().contains(format);
}

RKDrawable RKBitmapDecoder::decodeDrawable(const QByteArray& data,
    const QByteArray& format,
    const QSize& wantedSize,
    const RKMediaDescriptor& descriptor) const
{
    return RKDrawable(decode(data, format, wantedSize, descriptor));
}

QImage RKBitmapDecoder::decode(const QByteArray& data,
    const QByteArray& format,
    const QSize& wantedSize,
    const RKMediaDescriptor& descriptor,
    RKLoadContext&) const
{
    return decode(data, format, wantedSize, descriptor);
}

RKDrawable RKBitmapDecoder::decodeDrawable(const QByteArray& data,
    const QByteArray& format,
    const QSize& wantedSize,
    const RKMediaDescriptor& descriptor,
    RKLoadContext&) const
{
    return decodeDrawable(data, format, wantedSize, descriptor);
}

bool RKBitmapDecoder::save(const QFileInfo& file, const QImage& image) const
{
    return save(file, RKDrawable(image));
}

bool RKBitmapDecoder::save(
    const QFileInfo& file, const RKDrawable& drawable, RKMediaError* error) const
{
    return storeSaved(save(file, drawable), error);
}

bool RKBitmapDecoder::save(QIODevice* device,
    const RKMediaFormat& format,
    const RKDrawable& drawable,
    RKMediaError* error) const
{
    return storeSaved(save(device, format, drawable), error);
}

QSize RKBitmapDecoder::size(const QFileInfo& file, const QByteArray& format, RKLoadContext&) const
{
    return size(file, format);
}

std::optional<bool> RKBitmapDecoder::exchangesSides(const QFileInfo&, const QByteArray&) const
{
    return {};
}

QByteArray RKBitmapDecoder::readBinaryFile(const QFileInfo& file) const
{
    return RKBinaryFile::readAll(file);
}

bool RKBitmapDecoder::startsWithJpegSignature(const QByteArray& data)
{
    return data.startsWith("\xff\xd8\xff");
}

bool RKBitmapDecoder::startsWithJpegSignature(const QFileInfo& file)
{
    QFile device(file.absoluteFilePath());
    return !RKBinaryFile::mayBlock(file) && device.open(QIODevice::ReadOnly)
        && startsWithJpegSignature(device.read(kJpegSignatureSize));
}

QSize RKBitmapDecoder::calculateRealTargetSize(const QSize& targetSize, const QSize& imageSize)
{
    const QSize size
        = targetSize == imageSize ? imageSize : imageSize.scaled(targetSize, Qt::KeepAspectRatio);
    return {size.width() == 0 ? 1 : size.width(), size.height() == 0 ? 1 : size.height()};
}
