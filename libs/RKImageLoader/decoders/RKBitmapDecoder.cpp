#include "RKImageLoader/decoders/RKBitmapDecoder.h"

#include "RKImageLoader/media/RKBinaryFile.h"

#include <QFile>

namespace {

constexpr QByteArrayView kJpegSignature("\xff\xd8\xff");

} // namespace

RKBitmapDecoder::~RKBitmapDecoder() = default;

RKDrawable RKBitmapDecoder::decodeDrawable(const QByteArray& data,
    const QByteArray& format,
    const QSize& wantedSize,
    const RKMediaDescriptor& descriptor) const
{
    return decode(data, format, wantedSize, descriptor);
}

bool RKBitmapDecoder::save(const QFileInfo& file, const QImage& image) const
{
    return save(file, RKDrawable(image));
}

QByteArray RKBitmapDecoder::readBinaryFile(const QFileInfo& file) const
{
    return RKBinaryFile::readAll(file);
}

bool RKBitmapDecoder::startsWithJpegSignature(const QByteArray& data)
{
    return data.startsWith(kJpegSignature);
}

bool RKBitmapDecoder::startsWithJpegSignature(const QFileInfo& file)
{
    QFile device(file.absoluteFilePath());
    return RKBinaryFile::isRegular(file) && device.open(QIODevice::ReadOnly)
        && startsWithJpegSignature(device.read(kJpegSignature.size()));
}

QSize RKBitmapDecoder::calculateRealTargetSize(const QSize& targetSize, const QSize& imageSize)
{
    const QSize fitted
        = targetSize == imageSize ? imageSize : imageSize.scaled(targetSize, Qt::KeepAspectRatio);
    return fitted.expandedTo(QSize(1, 1));
}
