#include "RKImageLoader/loading/RKImageLoader.h"

#include "RKImageLoader/decoders/RKBitmapDecoder.h"
#include "RKImageLoader/decoders/RKBitmapDecoderRegistry.h"
#include "RKImageLoader/drawables/RKImageRotator.h"
#include "RKImageLoader/media/RKBinaryFile.h"

#include <QBuffer>
#include <QDebug>

namespace {

constexpr int kLargestThumbnailSide = 160;

bool isInvalid(const QSize& size)
{
    return size.width() < 0 || size.height() < 0;
}

bool fitsThumbnail(int side)
{
    return side >= 0 && side <= kLargestThumbnailSide;
}

} // namespace

RKImageLoader::RKImageLoader()
{
    dumpSupportedFormats();
}

void RKImageLoader::setFlags(ImageLoaderFlags flags)
{
    m_flags = flags;
}

ImageLoaderFlags RKImageLoader::setFlag(ImageLoaderFlags flag, bool on)
{
    return on ? m_flags.fetch_or(flag) : m_flags.fetch_and(~flag);
}

ImageLoaderFlags RKImageLoader::flags() const
{
    return m_flags;
}

const RKBitmapDecoderRegistry* RKImageLoader::bitmapDecoders() const
{
    return RKBitmapDecoderRegistry::instance();
}

RKBitmapDecoder* RKImageLoader::primaryDecoder(const RKMediaFormat& format) const
{
    return bitmapDecoders()->primaryDecoder(format);
}

RKBitmapDecoder* RKImageLoader::primaryEncoder(const RKMediaFormat& format) const
{
    return bitmapDecoders()->primaryEncoder(format);
}

QList<RKBitmapDecoder*> RKImageLoader::decoders(const RKMediaFormat& format) const
{
    return bitmapDecoders()->listOfDecoders(format);
}

RKMediaFormatList RKImageLoader::writableMediaFormats() const
{
    return bitmapDecoders()->writableImageFileFormats();
}

RKMediaFormatList RKImageLoader::supportedMediaFormats() const
{
    return bitmapDecoders()->supportedMediaFormats();
}

bool RKImageLoader::supportsMediaFormat(const RKMediaFormat& format) const
{
    return isSupportedFormat(format);
}

RKMediaFormatList RKImageLoader::compatibleWritableMediaFormats(
    const RKMediaFormat& format, bool includeFormat) const
{
    RKMediaFormatList formats = convertableFormats(format);
    if (!includeFormat)
        formats.removeAll(format);
    return formats;
}

RKDrawable RKImageLoader::drawable(
    const RKMediaDescriptor& descriptor, const QSize& wanted, const RKImageOption& option) const
{
    if (!hasSupportedMediaFormat(descriptor))
        return {};
    const RKDrawable stored = readDrawable(swapSizeRatio(descriptor, wanted), descriptor, option);
    return stored.isBitmap() ? autoRotate(descriptor, stored) : stored;
}

RKDrawable RKImageLoader::unrotatedDrawable(
    const RKMediaDescriptor& descriptor, const QSize& wanted, const RKImageOption& option) const
{
    return hasSupportedMediaFormat(descriptor) ? readDrawable(wanted, descriptor, option)
                                               : RKDrawable();
}

RKDrawable RKImageLoader::readDrawable(
    const QSize& wanted, const RKMediaDescriptor& descriptor, const RKImageOption& option) const
{
    RKDrawable result;
    if (option.testFlag(RKImageOption::UseEmbeddedThumbnail)
        || shouldIUseTheExifThumbnail(wanted, descriptor))
        result = decodeExifThumbnail(descriptor, wanted, option);
    return result.isNull() ? decodeBigDrawable(descriptor, wanted) : result;
}

bool RKImageLoader::shouldIUseTheExifThumbnail(
    const QSize& wanted, const RKMediaDescriptor& descriptor) const
{
    return (flags() & kUseExifThumbnail) && fitsThumbnail(wanted.width())
        && fitsThumbnail(wanted.height()) && descriptor.hasMediaFormat(MEDIA_FORMAT_JPG);
}

RKDrawable RKImageLoader::decodeBigDrawable(
    const RKMediaDescriptor& descriptor, const QSize& wanted) const
{
    const QByteArray data = readBinaryFile(descriptor.fileInfo());
    const RKDrawable decoded
        = tryAllDecoders(data, descriptor.fileFormatAsByteArray(), wanted, descriptor);
    if (decoded.isNull())
        qWarning().noquote() << "could not decode" << descriptor.absoluteFilePath();
    return convertColorProfile(descriptor, decoded);
}

RKDrawable RKImageLoader::tryAllDecoders(const QByteArray& data,
    const QByteArray& format,
    const QSize& wanted,
    const RKMediaDescriptor& descriptor) const
{
    const QList<RKBitmapDecoder*> candidates = decoders(RKMediaFormat(format));
    for (const RKBitmapDecoder* decoder : candidates) {
        RKDrawable decoded = decoder->decodeDrawable(data, format, wanted, descriptor);
        if (!decoded.isNull())
            return decoded;
    }
    return {};
}

QByteArray RKImageLoader::readBinaryFile(const QFileInfo& file) const
{
    return RKBinaryFile::readAll(file);
}

RKImageOrientation RKImageLoader::imageOrientation(const RKMediaDescriptor& descriptor) const
{
    return RKMediaLoaderAbstract::imageOrientation(descriptor);
}

bool RKImageLoader::imageIsTiltedByMetadata(const RKMediaDescriptor& descriptor) const
{
    return isTransposingOrientation(imageOrientation(descriptor));
}

bool RKImageLoader::isTransposingOrientation(RKImageOrientation orientation)
{
    return ::isTransposingOrientation(orientation);
}

QSize RKImageLoader::swapSizeRatio(
    const RKMediaDescriptor& descriptor, const QSize& displayed) const
{
    // The orientation comes last: it is the one question that parses the file's metadata. TIFF
    // pictures are never turned, so their size is never swapped.
    const bool mustSwap = !isInvalid(displayed) && displayed.width() != displayed.height()
        && !descriptor.fileFormatAsByteArray().startsWith("tif")
        && imageIsTiltedByMetadata(descriptor);
    return mustSwap ? displayed.transposed() : displayed;
}

RKDrawable RKImageLoader::autoRotate(
    const RKMediaDescriptor& descriptor, const RKDrawable& drawable) const
{
    // Kept: pictures of these two kinds are shown as they are stored.
    const RKMediaFormat format = mediaFormat(descriptor);
    if (format == MEDIA_FORMAT_TIFF || format.isRaw())
        return drawable;
    return RKImageRotator::rotate(drawable.image(), imageOrientation(descriptor));
}

RKDrawable RKImageLoader::decodeExifThumbnail(
    const RKMediaDescriptor&, const QSize&, const RKImageOption&) const
{
    return {};
}

RKDrawable RKImageLoader::convertColorProfile(
    const RKMediaDescriptor&, const RKDrawable& drawable) const
{
    return drawable;
}

QSize RKImageLoader::size(const RKMediaDescriptor& descriptor) const
{
    return unrotatedSize(descriptor);
}

QSize RKImageLoader::unrotatedSize(const RKMediaDescriptor& descriptor) const
{
    const QList<RKBitmapDecoder*> candidates = decoders(mediaFormat(descriptor));
    for (const RKBitmapDecoder* decoder : candidates) {
        const QSize size = decoder->size(descriptor.fileInfo(), descriptor.fileFormatAsByteArray());
        if (!isInvalid(size))
            return size;
    }
    qWarning().noquote() << "Größe nicht bekannt bei" << descriptor.absoluteFilePath();
    return {};
}

QDateTime RKImageLoader::recordingDate(const RKMediaDescriptor& descriptor) const
{
    return fileCreationDate(descriptor);
}

bool RKImageLoader::save(
    QBuffer* buffer, const RKMediaFormat& format, const RKDrawable& drawable) const
{
    if (!buffer || (!buffer->isOpen() && !buffer->open(QIODevice::WriteOnly)))
        return false;
    return primaryEncoder(format)->save(buffer, format, drawable);
}

bool RKImageLoader::save(const RKMediaDescriptor& descriptor, const RKDrawable& drawable) const
{
    return primaryEncoder(mediaFormat(descriptor))->save(descriptor.fileInfo(), drawable);
}

QFileInfoList RKImageLoader::extractSupportedImageFiles(const QFileInfoList& files) const
{
    QFileInfoList supported;
    for (const QFileInfo& file : files) {
        if (hasSupportedMediaFormat(RKMediaDescriptor(file)))
            supported.append(file);
    }
    return supported;
}

QString RKImageLoader::removeImageSuffixFromPath(const QString& path) const
{
    const QString suffix = QFileInfo(path).suffix();
    const bool isImage
        = supportedMediaFormats().fileExtensions().contains(suffix, Qt::CaseInsensitive);
    return isImage ? path.chopped(suffix.size() + 1) : path;
}

void RKImageLoader::dumpSupportedFormats() const
{
    const RKMediaFormatList formats = supportedMediaFormats();
    QStringList names;
    for (const RKMediaFormat& format : formats)
        names << format.defaultExtension();
    qDebug().noquote() << QStringLiteral("supported formats: %1").arg(names.join(u' '));

    for (const RKMediaFormat& format : formats) {
        QStringList others;
        const QList<RKBitmapDecoder*> all = decoders(format);
        for (const RKBitmapDecoder* decoder : all)
            others << decoder->name();
        const QString primary = others.isEmpty() ? QString() : others.takeFirst();
        qDebug().noquote() << QStringLiteral("format %1 - primary decoder: %2, other decoders: %3")
                                  .arg(format.defaultExtension(), primary, others.join(u' '));
    }
}
