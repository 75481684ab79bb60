#include "RKImageLoader/loading/RKImageLoader.h"

#include "RKImageLoader/color/RKColorProfileConverter.h"
#include "RKImageLoader/decoders/RKBitmapDecoder.h"
#include "RKImageLoader/decoders/RKBitmapDecoderRegistry.h"
#include "RKImageLoader/drawables/RKImageRotator.h"
#include "RKImageLoader/drawables/RKQtScaler_p.h"
#include "RKImageLoader/files/RKBinaryFile_p.h"
#include "RKImageLoader/loading/RKLoadingReason_p.h"
#include "RKImageLoader/media/RKFileReason_p.h"
#include "RKImageLoader/media/RKLogCategories_p.h"
#include "RKImageLoader/media/RKMemory_p.h"
#include "RKImageLoader/metadata/RKExiv2Wrapper.h"
#include "RKImageLoader/metadata/RKMetaData.h"
#include "RKImageLoader/metadata/RKMetaDataCache.h"

#include <QBuffer>
#include <QColorSpace>
#include <QDebug>
#include <QMutex>
#include <QMutexLocker>

#include <algorithm>
#include <utility>

namespace {

using RKLoadingReason::Outcome;

constexpr int kLargestThumbnailSide = 160;

bool fitsThumbnail(int side)
{
    return side >= 0 && side <= kLargestThumbnailSide;
}

/// The picture of a drawable that is given up, so that nobody else shares it.
QImage takeImage(RKDrawable&& drawable)
{
    const RKDrawable last = std::move(drawable);
    return last.image();
}

/// Without a profile, a picture is taken for sRGB. Qt makes one of the gamma and the primaries that
/// a PNG file states: saved with the picture, it would change the colours once it is read again.
RKDrawable takenForSrgb(RKDrawable&& drawable)
{
    QImage image = takeImage(std::move(drawable));
    if (image.colorSpace() != QColorSpace(QColorSpace::SRgb))
        image.setColorSpace({});
    return RKDrawable(image);
}

template <typename Measure>
QSize concludedSize(const RKImageLoader& loader,
    const RKMediaDescriptor& descriptor,
    RKLoadContext& context,
    const Measure& measure)
{
    if (!loader.hasSupportedMediaFormat(descriptor)) {
        RKLoadingReason::noteUnsupported(descriptor, context);
        return {};
    }
    const QSize size = RKMemory::noted(context, measure);
    RKLoadingReason::conclude(
        descriptor, size.isValid() ? Outcome::Loaded : Outcome::Failed, context);
    return size;
}

bool mustSwap(const QSize& displayed)
{
    return displayed.isValid() && displayed.width() != displayed.height();
}

void store(const RKMediaError& reason, RKMediaError* error)
{
    if (error)
        *error = reason;
}

/// For the file of a decoded picture, which is in sRGB.
RKMetaData withoutProfile(RKMetaData metaData)
{
    metaData.setIccData(QByteArray());
    return metaData;
}

/// Drops the held metadata of a file before and after it is written: a reader in between may have
/// parsed the old file.
class MetaDataInvalidation
{
public:
    MetaDataInvalidation(const RKImageLoader& loader, const RKMediaDescriptor& descriptor)
        : m_loader(loader)
        , m_descriptor(descriptor)
    {
        m_loader.invalidateMetaData(m_descriptor);
    }

    ~MetaDataInvalidation()
    {
        m_loader.invalidateMetaData(m_descriptor);
    }

    MetaDataInvalidation(const MetaDataInvalidation&) = delete;
    MetaDataInvalidation& operator=(const MetaDataInvalidation&) = delete;

private:
    const RKImageLoader& m_loader;
    const RKMediaDescriptor& m_descriptor;
};

} // namespace

struct RKImageLoader::Source
{
    QByteArray bytes;
    RKMetaData metaData;
};

RKImageLoader::RKImageLoader()
{
    RKExiv2Wrapper::initialize();
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
    // A question to the registry would make a format one that has decoders.
    return supportsMediaFormat(format) ? bitmapDecoders()->listOfDecoders(format)
                                       : QList<RKBitmapDecoder*>();
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
    return bitmapDecoders()->isReadable(format);
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
    RKLoadContext context;
    return drawable(descriptor, wanted, option, context);
}

RKDrawable RKImageLoader::drawable(const RKMediaDescriptor& descriptor,
    const QSize& wanted,
    const RKImageOption& option,
    RKLoadContext& context) const
{
    return loadSupported(descriptor, wanted, option, Turning::Upright, context);
}

RKDrawable RKImageLoader::unrotatedDrawable(
    const RKMediaDescriptor& descriptor, const QSize& wanted, const RKImageOption& option) const
{
    RKLoadContext context;
    return unrotatedDrawable(descriptor, wanted, option, context);
}

RKDrawable RKImageLoader::unrotatedDrawable(const RKMediaDescriptor& descriptor,
    const QSize& wanted,
    const RKImageOption& option,
    RKLoadContext& context) const
{
    return loadSupported(descriptor, wanted, option, Turning::AsStored, context);
}

RKDrawable RKImageLoader::unrotatedDrawable(const RKMediaDescriptor& descriptor,
    const QSize& wanted,
    const RKImageOption& option,
    RKMediaError* error) const
{
    RKLoadContext context;
    RKDrawable made = unrotatedDrawable(descriptor, wanted, option, context);
    if (error)
        *error = context.error();
    return made;
}

RKDrawable RKImageLoader::readDrawable(
    const QSize& wanted, const RKMediaDescriptor& descriptor, const RKImageOption& option) const
{
    RKLoadContext context;
    return load(descriptor, wanted, option, Turning::AsStored, context);
}

RKDrawable RKImageLoader::loadSupported(const RKMediaDescriptor& descriptor,
    const QSize& wanted,
    const RKImageOption& option,
    Turning turning,
    RKLoadContext& context) const
{
    if (!hasSupportedMediaFormat(descriptor)) {
        RKLoadingReason::noteUnsupported(descriptor, context);
        return {};
    }
    RKDrawable made = RKMemory::noted(
        context, [&] { return load(descriptor, wanted, option, turning, context); });
    RKLoadingReason::conclude(
        descriptor, made.isNull() ? Outcome::Failed : Outcome::Loaded, context);
    return made;
}

RKDrawable RKImageLoader::load(const RKMediaDescriptor& descriptor,
    const QSize& wanted,
    const RKImageOption& option,
    Turning turning,
    RKLoadContext& context) const
{
    const auto finished = [&](const auto& makeDrawable, const RKMetaData& metaData) {
        if (turning == Turning::AsStored)
            return makeDrawable(wanted);
        RKDrawable stored = makeDrawable(swapSizeRatio(descriptor, wanted, metaData));
        if (!stored.isBitmap() || !mustTurn(descriptor) || context.isCancelled())
            return stored;
        return RKDrawable(
            RKImageRotator::rotate(takeImage(std::move(stored)), metaData.imageOrientation()));
    };

    if (option.testFlag(RKImageOption::UseEmbeddedThumbnail)
        || shouldIUseTheExifThumbnail(wanted, descriptor))
    {
        const RKMetaData metaData = copyMetaData(descriptor);
        const RKDrawable thumbnail = finished(
            [&](const QSize& size) {
                return decodeExifThumbnail(descriptor, size, option, metaData);
            },
            metaData);
        if (!thumbnail.isNull())
            return thumbnail;
    }
    if (context.isCancelled())
        return {};
    const Source source = readSource(descriptor, context);
    if (context.isCancelled())
        return {};
    return finished([&](const QSize& size) { return decode(descriptor, size, source, context); },
        source.metaData);
}

bool RKImageLoader::shouldIUseTheExifThumbnail(
    const QSize& wanted, const RKMediaDescriptor& descriptor) const
{
    return (flags() & kUseExifThumbnail) && fitsThumbnail(wanted.width())
        && fitsThumbnail(wanted.height()) && descriptor.hasMediaFormat(MEDIA_FORMAT_JPG);
}

RKImageLoader::Source RKImageLoader::readSource(
    const RKMediaDescriptor& descriptor, RKLoadContext& context) const
{
    // The file may be replaced while its old bytes are decoded.
    const quint64 changesBefore = metaDataCache()->changeCount();
    std::error_code error;
    const QByteArray bytes
        = RKBinaryFile::readAll(descriptor.fileInfo(), &error, context.cancellation());
    context.fail(RKFileReason::ofReading(error, descriptor.absoluteFilePath()));
    // A file that could not be read is tried again next time.
    if (bytes.isEmpty())
        return {};
    const RKMetaData metaData
        = metaDataCache()->metaDataValue(descriptor.fileInfo(), bytes, changesBefore);
    // Without all of it, the picture could lie on its side, in wrong colours.
    if (metaData.readFailure().isError()) {
        context.fail(metaData.readFailure());
        return {};
    }
    return {bytes, metaData};
}

RKDrawable RKImageLoader::decodeBigDrawable(
    const RKMediaDescriptor& descriptor, const QSize& wanted) const
{
    RKLoadContext context;
    return decode(descriptor, wanted, readSource(descriptor, context), context);
}

RKDrawable RKImageLoader::decode(const RKMediaDescriptor& descriptor,
    const QSize& wanted,
    const Source& source,
    RKLoadContext& context) const
{
    RKDrawable decoded = tryAllDecoders(
        source.bytes, descriptor.fileFormatAsByteArray(), wanted, descriptor, context);
    if (context.isCancelled())
        return {};
    if (decoded.isNull())
        qCWarning(rkLoad).noquote() << "could not decode" << descriptor.absoluteFilePath();
    if (!mustConvert(descriptor, decoded))
        return decoded;
    if (!source.metaData.hasIccData())
        return takenForSrgb(std::move(decoded));
    bool hasChanged = false;
    return toSrgb(
        takeImage(std::move(decoded)), source.metaData, &hasChanged, context.cancellation());
}

RKDrawable RKImageLoader::tryAllDecoders(const QByteArray& data,
    const QByteArray& format,
    const QSize& wanted,
    const RKMediaDescriptor& descriptor) const
{
    RKLoadContext context;
    return tryAllDecoders(data, format, wanted, descriptor, context);
}

RKDrawable RKImageLoader::tryAllDecoders(const QByteArray& data,
    const QByteArray& format,
    const QSize& wanted,
    const RKMediaDescriptor& descriptor,
    RKLoadContext& context) const
{
    const QList<RKBitmapDecoder*> candidates = decoders(RKMediaFormat(format));
    for (const RKBitmapDecoder* decoder : candidates) {
        RKDrawable decoded = decoder->decodeDrawable(data, format, wanted, descriptor, context);
        if (!decoded.isNull() || context.isCancelled())
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
    return copyMetaData(descriptor).imageOrientation();
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
    // The question comes last: it looks into the file.
    return mustSwap(displayed) ? swapSizeRatio(descriptor, displayed, copyMetaData(descriptor))
                               : displayed;
}

QSize RKImageLoader::swapSizeRatio(
    const RKMediaDescriptor& descriptor, const QSize& displayed, const RKMetaData& metaData) const
{
    return mustSwap(displayed) && exchangesSides(descriptor, metaData) ? displayed.transposed()
                                                                       : displayed;
}

bool RKImageLoader::exchangesSides(
    const RKMediaDescriptor& descriptor, const RKMetaData& metaData) const
{
    const QByteArray name = descriptor.fileFormatAsByteArray();
    if (name.startsWith("tif") && !(flags() & kTurnTiff))
        return false;
    const RKMediaFormat format = mediaFormat(descriptor);
    const QList<RKBitmapDecoder*> turning
        = format.isRaw() ? decoders(format) : QList<RKBitmapDecoder*>();
    for (const RKBitmapDecoder* decoder : turning) {
        if (const auto answer = decoder->exchangesSides(descriptor.fileInfo(), name))
            return *answer;
    }
    return metaData.imageIsTiltedByMetadata();
}

RKDrawable RKImageLoader::autoRotate(
    const RKMediaDescriptor& descriptor, const RKDrawable& drawable) const
{
    return mustTurn(descriptor)
        ? RKDrawable(RKImageRotator::rotate(drawable.image(), imageOrientation(descriptor)))
        : drawable;
}

bool RKImageLoader::mustTurn(const RKMediaDescriptor& descriptor) const
{
    // Kept: hosts get TIFF pictures as they are stored unless they ask for others.
    const RKMediaFormat format = mediaFormat(descriptor);
    const bool staysAsStored = format == MEDIA_FORMAT_TIFF && !(flags() & kTurnTiff);
    return !staysAsStored && !format.isRaw();
}

RKDrawable RKImageLoader::decodeExifThumbnail(
    const RKMediaDescriptor& descriptor, const QSize& wanted, const RKImageOption& option) const
{
    return decodeExifThumbnail(descriptor, wanted, option, copyMetaData(descriptor));
}

RKDrawable RKImageLoader::decodeExifThumbnail(const RKMediaDescriptor& descriptor,
    const QSize& wanted,
    const RKImageOption& option,
    const RKMetaData& metaData) const
{
    // One at a time in the process; the metadata's own locks are taken under it.
    static QMutex extractionMutex;
    QMutexLocker locker(&extractionMutex);
    QImage thumbnail = metaData.thumbnail(option);
    locker.unlock();
    if (!thumbnail.isNull() && wanted.isValid())
        thumbnail = RKQtScaler::scaled(std::move(thumbnail), wanted);
    // Decoders give camera raw pictures upright, so nobody turns them later.
    return mediaFormat(descriptor).isRaw()
        ? RKImageRotator::rotate(thumbnail, metaData.imageOrientation())
        : thumbnail;
}

RKDrawable RKImageLoader::convertColorProfile(
    const RKMediaDescriptor& descriptor, const RKDrawable& drawable) const
{
    if (!mustConvert(descriptor, drawable))
        return drawable;
    const RKMetaData metaData = copyMetaData(descriptor);
    if (!metaData.hasIccData())
        return drawable;
    bool hasChanged = false;
    const QImage converted = toSrgb(drawable.image(), metaData, &hasChanged);
    return hasChanged ? RKDrawable(converted) : drawable;
}

bool RKImageLoader::mustConvert(
    const RKMediaDescriptor& descriptor, const RKDrawable& drawable) const
{
    // The others are in sRGB already. The decoder of Photoshop files has used the profile, for
    // nobody can do so later with inks or Lab; and what the metadata of a raw file says of colours
    // is about its previews and not about what is developed from the sensor.
    return drawable.isBitmap() && !descriptor.hasMediaFormat(MEDIA_FORMAT_PSD)
        && !mediaFormat(descriptor).isRaw();
}

QImage RKImageLoader::toSrgb(QImage image,
    const RKMetaData& metaData,
    bool* hasChanged,
    const RKCancellation& cancellation) const
{
    if (image.format() != QImage::Format_ARGB32_Premultiplied) {
        return colorProfileConverter()->convert(
            std::move(image), metaData, hasChanged, cancellation);
    }
    // Some files hold colours multiplied with their alpha, but profiles are about colours as they
    // are: converted all the same, some would become greater than their alpha.
    QImage converted = colorProfileConverter()->convert(
        image.convertToFormat(QImage::Format_ARGB32), metaData, hasChanged, cancellation);
    return *hasChanged ? converted : image;
}

RKColorProfileConverter* RKImageLoader::colorProfileConverter() const
{
    return RKColorProfileConverter::instance();
}

QSize RKImageLoader::size(const RKMediaDescriptor& descriptor) const
{
    RKLoadContext context;
    return displayedSize(descriptor, context);
}

QSize RKImageLoader::size(const RKMediaDescriptor& descriptor, RKLoadContext& context) const
{
    return concludedSize(
        *this, descriptor, context, [&] { return displayedSize(descriptor, context); });
}

QSize RKImageLoader::displayedSize(
    const RKMediaDescriptor& descriptor, RKLoadContext& context) const
{
    // The decoders know the size of these better than the metadata.
    const RKMediaFormat format = mediaFormat(descriptor);
    const bool isMeasured = format == MEDIA_FORMAT_TIFF || format == MEDIA_FORMAT_WEBP;
    // Kept: hosts get the stored sizes of these unless they ask for others.
    if (isMeasured && !(flags() & kTurnTiff))
        return storedSize(descriptor, context);
    const RKMetaData metaData = copyMetaData(descriptor);
    // Without all of it, the sides could be swapped wrongly.
    if (metaData.readFailure().isError()) {
        context.fail(metaData.readFailure());
        return {};
    }
    if (isMeasured || format.isRaw()) {
        const QSize stored = storedSize(descriptor, context);
        if (stored.isValid() || isMeasured)
            return swapSizeRatio(descriptor, stored, metaData);
    }

    QSize size = metaData.unrotatedSize();
    if (!size.isValid()) {
        qCWarning(rkLoad).noquote() << "Groesse nicht bekannt bei" << descriptor.absoluteFilePath();
        // Drawings and some pictures have no size in their metadata, but their decoder knows it.
        size = storedSize(descriptor, context);
    }
    return metaData.imageIsTiltedByMetadata() ? size.transposed() : size;
}

QSize RKImageLoader::unrotatedSize(const RKMediaDescriptor& descriptor) const
{
    RKLoadContext context;
    return storedSize(descriptor, context);
}

QSize RKImageLoader::unrotatedSize(
    const RKMediaDescriptor& descriptor, RKLoadContext& context) const
{
    return concludedSize(
        *this, descriptor, context, [&] { return storedSize(descriptor, context); });
}

QSize RKImageLoader::storedSize(const RKMediaDescriptor& descriptor, RKLoadContext& context) const
{
    const QList<RKBitmapDecoder*> candidates = decoders(mediaFormat(descriptor));
    for (const RKBitmapDecoder* decoder : candidates) {
        const QSize size
            = decoder->size(descriptor.fileInfo(), descriptor.fileFormatAsByteArray(), context);
        if (size.isValid())
            return size;
    }
    qCWarning(rkLoad).noquote() << "Größe nicht bekannt bei" << descriptor.absoluteFilePath();
    return {};
}

QDateTime RKImageLoader::recordingDate(const RKMediaDescriptor& descriptor) const
{
    const QDateTime taken = copyMetaData(descriptor).pictureTaken();
    return taken.isValid() ? taken : fileCreationDate(descriptor);
}

bool RKImageLoader::save(
    QBuffer* buffer, const RKMediaFormat& format, const RKDrawable& drawable) const
{
    return saveWritable(buffer, format, drawable, nullptr);
}

bool RKImageLoader::save(QBuffer* buffer,
    const RKMediaFormat& format,
    const RKDrawable& drawable,
    RKMediaError* error) const
{
    return isWritable(format, error) && saveWritable(buffer, format, drawable, error);
}

bool RKImageLoader::saveWritable(QBuffer* buffer,
    const RKMediaFormat& format,
    const RKDrawable& drawable,
    RKMediaError* error) const
{
    if (!buffer || (!buffer->isOpen() && !buffer->open(QIODevice::WriteOnly))) {
        store(RKMediaError(RKMediaErrorCode::NotWritable), error);
        return false;
    }
    return RKMemory::stored(
        error, [&] { return primaryEncoder(format)->save(buffer, format, drawable, error); });
}

bool RKImageLoader::save(const RKMediaDescriptor& descriptor, const RKDrawable& drawable) const
{
    return saveWritable(descriptor, drawable, nullptr);
}

bool RKImageLoader::save(
    const RKMediaDescriptor& descriptor, const RKDrawable& drawable, RKMediaError* error) const
{
    RKMediaError reason;
    const bool isSaved = isWritable(mediaFormat(descriptor), &reason)
        && saveWritable(descriptor, drawable, &reason);
    if (reason.isError())
        reason.setFilePath(descriptor.absoluteFilePath());
    store(reason, error);
    return isSaved;
}

bool RKImageLoader::saveWritable(
    const RKMediaDescriptor& descriptor, const RKDrawable& drawable, RKMediaError* error) const
{
    const MetaDataInvalidation invalidation(*this, descriptor);
    return RKMemory::stored(error, [&] {
        return primaryEncoder(mediaFormat(descriptor))
            ->save(descriptor.fileInfo(), drawable, error);
    });
}

bool RKImageLoader::isWritable(const RKMediaFormat& format, RKMediaError* error) const
{
    // A host that has asked for the list has made the format writable, even without an encoder.
    if (bitmapDecoders()->isWritable(format) && !bitmapDecoders()->listOfEncoders(format).isEmpty())
        return true;
    store(RKMediaError(RKMediaErrorCode::UnsupportedForWriting), error);
    return false;
}

bool RKImageLoader::save(QBuffer* buffer,
    const RKMediaFormat& format,
    const RKDrawable& drawable,
    const RKMetaData& metaData) const
{
    return save(buffer, format, drawable) && metaData.save(buffer);
}

bool RKImageLoader::save(QBuffer* buffer,
    const RKMediaFormat& format,
    const RKDrawable& drawable,
    const RKMetaData& metaData,
    RKMediaError* error) const
{
    return save(buffer, format, drawable, error) && metaData.save(buffer, error);
}

bool RKImageLoader::save(const RKMediaDescriptor& descriptor,
    const RKDrawable& drawable,
    const RKMetaData& metaData) const
{
    return save(descriptor, drawable) && save(descriptor, withoutProfile(metaData));
}

bool RKImageLoader::save(const RKMediaDescriptor& descriptor,
    const RKDrawable& drawable,
    const RKMetaData& metaData,
    RKMediaError* error) const
{
    return save(descriptor, drawable, error) && save(descriptor, withoutProfile(metaData), error);
}

bool RKImageLoader::save(const RKMediaDescriptor& descriptor, const RKMetaData& metaData) const
{
    return save(descriptor, metaData, nullptr);
}

bool RKImageLoader::save(
    const RKMediaDescriptor& descriptor, const RKMetaData& metaData, RKMediaError* error) const
{
    const MetaDataInvalidation invalidation(*this, descriptor);
    return metaData.save(descriptor.fileInfo(), error);
}

void RKImageLoader::invalidateMetaData(const RKMediaDescriptor& descriptor) const
{
    metaDataCache()->invalidate(descriptor.fileInfo());
}

RKMetaDataCache* RKImageLoader::metaDataCache() const
{
    return RKMetaDataCache::instance();
}

RKMetaData* RKImageLoader::metaData(const RKMediaDescriptor& descriptor) const
{
    return metaDataCache()->metaData(descriptor.fileInfo());
}

RKMetaData* RKImageLoader::metaData(
    const RKMediaDescriptor& descriptor, const QByteArray& data) const
{
    return metaDataCache()->metaData(descriptor.fileInfo(), data);
}

RKMetaData RKImageLoader::copyMetaData(const RKMediaDescriptor& descriptor) const
{
    return metaDataCache()->metaDataValue(descriptor.fileInfo());
}

void RKImageLoader::clearMetaDataCache() const
{
    metaDataCache()->clear();
}

void RKImageLoader::softRotate(const RKMediaDescriptor& descriptor, bool clockwise)
{
    // Brings the metadata into the cache; those of a picture that can't be measured stay out.
    copyMetaData(descriptor);
    if (RKMetaData* held = metaDataCache()->retrieve(descriptor.fileInfo()))
        held->rotate(clockwise);
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
    // To know all formats means to load all codecs.
    if (!rkFormats().isDebugEnabled())
        return;
    const RKMediaFormatList formats = bitmapDecoders()->supportedMediaFormats();
    QStringList names;
    for (const RKMediaFormat& format : formats)
        names << format.defaultExtension();
    qCDebug(rkFormats).noquote() << QStringLiteral("supported formats: %1").arg(names.join(u' '));

    for (const RKMediaFormat& format : formats) {
        QStringList others;
        const QList<RKBitmapDecoder*> all = bitmapDecoders()->listOfDecoders(format);
        for (const RKBitmapDecoder* decoder : all)
            others << decoder->name();
        const QString primary = others.isEmpty() ? QString() : others.takeFirst();
        qCDebug(rkFormats).noquote()
            << QStringLiteral("format %1 - primary decoder: %2, other decoders: %3")
                   .arg(format.defaultExtension(), primary, others.join(u' '));
    }
}
