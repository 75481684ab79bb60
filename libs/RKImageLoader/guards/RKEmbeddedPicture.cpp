#include "RKImageLoader/guards/RKEmbeddedPicture_p.h"
#include "RKImageLoader/guards/RKImageLimits_p.h"
#include "RKImageLoader/guards/RKPictureHeaderCheck_p.h"
#include "RKImageLoader/guards/RKPngChunks_p.h"

#include <QBuffer>
#include <QImageReader>

namespace {

// Their readers draw, or follow loops, before there is a size to be checked.
bool isRaster(const QByteArray& format)
{
    return !format.isEmpty() && !format.startsWith("svg") && format != "mng" && format != "pdf";
}

QSize measured(const QByteArray& data, const QByteArray& format)
{
    QBuffer buffer;
    buffer.setData(data);
    buffer.open(QIODevice::ReadOnly);
    return QImageReader(&buffer, format).size();
}

bool isSmall(const QSize& size)
{
    return !size.isEmpty() && qint64(size.width()) * size.height() <= RKImageLimits::kSmallGraphic;
}

} // namespace

QByteArray RKEmbeddedPicture::format(const QByteArray& data)
{
    // For all other bytes Qt loads the plug-ins of all formats and asks them.
    if (data.isEmpty())
        return {};
    if (data.startsWith("\xff\xd8\xff"))
        return "jpeg";
    QBuffer buffer;
    buffer.setData(data);
    buffer.open(QIODevice::ReadOnly);
    return QImageReader::imageFormat(&buffer);
}

QSize RKEmbeddedPicture::size(const QByteArray& data)
{
    return size(data, format(data));
}

QSize RKEmbeddedPicture::size(const QByteArray& data, const QByteArray& name)
{
    // Measuring reads the chunks.
    const bool isHarmless = !RKPngChunks::isPng(data) || RKPngChunks::areHarmless(data);
    const QSize size = isRaster(name) && isHarmless ? measured(data, name) : QSize();
    return !size.isEmpty() && RKPictureHeaderCheck::canHold(data, size) ? size : QSize();
}

QImage RKEmbeddedPicture::thumbnail(const QByteArray& data)
{
    const QByteArray name = format(data);
    return isSmall(size(data, name)) ? QImage::fromData(data, name.constData()) : QImage();
}

QSize RKEmbeddedPicture::thumbnailSize(const QByteArray& data)
{
    if (!RKPictureHeaderCheck::isPlainJpeg(data)) {
        const QImage decoded = thumbnail(data);
        return decoded.isNull() ? QSize() : decoded.size();
    }
    const QSize found = size(data);
    return isSmall(found) ? found : QSize();
}
