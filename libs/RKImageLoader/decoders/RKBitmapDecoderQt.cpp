#include "RKImageLoader/decoders/RKBitmapDecoderQt.h"

#include "RKImageLoader/decoders/RKDeviceOpener_p.h"
#include "RKImageLoader/drawables/RKImageScaler_p.h"
#include "RKImageLoader/media/RKBinaryFile.h"
#include "RKImageLoader/media/RKImageLoadingReporter.h"
#include "RKImageLoader/media/RKSafeFileWriter.h"

#include <QBuffer>
#include <QDebug>
#include <QFile>
#include <QImageReader>
#include <QImageWriter>

namespace {

// Vector drawings have a decoder of their own; the others are no pictures that people bring.
constexpr const char* kNotRead[]
    = {"pbm", "ppm", "svg", "svgz", "wbmp", "dds", "icns", "tga", "cur"};

// Photoshop and camera raw files: plug-ins for them deliver a preview at best.
constexpr const char* kLeftToOthers[] = {"psd", "crw", "cr2", "arw", "nef", "raf", "dng", "rw2"};

constexpr const char* kNotWritten[] = {"pbm",
    "ppm",
    "svg",
    "svgz",
    "wbmp",
    "jp2",
    "webp",
    "pgm",
    "xpm",
    "xbm",
    "dds",
    "icns",
    "tga",
    "cur",
    "heic",
    "heics",
    "heif",
    "heifs"};

template <typename Names>
void removeAll(QList<QByteArray>& formats, const Names& names)
{
    for (const char* name : names)
        formats.removeAll(name);
}

bool isInvalid(const QSize& size)
{
    return size.width() < 0 || size.height() < 0;
}

bool turnsByAQuarter(const QImageReader& reader)
{
    return reader.transformation().testFlag(QImageIOHandler::TransformationRotate90);
}

/// Switches scaling on for the reader, where it can scale. False where it can't.
bool requestScaling(QImageReader& reader, const QSize& wanted)
{
    if (!reader.supportsOption(QImageIOHandler::ScaledSize))
        return false;
    // The reader scales first and turns then.
    const bool turns = reader.autoTransform() && turnsByAQuarter(reader);
    const QSize displayed = turns ? reader.size().transposed() : reader.size();
    if (isInvalid(displayed))
        return false;
    const QSize target = RKBitmapDecoder::calculateRealTargetSize(wanted, displayed);
    reader.setScaledSize(turns ? target.transposed() : target);
    return true;
}

/// The image, or null and a warning.
QImage readOrWarn(QImageReader& reader)
{
    QImage image = reader.read();
    if (reader.error() != QImageReader::UnknownError) {
        qWarning().noquote().nospace()
            << "Bild Laden gescheitert ( Fehler im ImageReader): " << reader.errorString();
        return {};
    }
    if (image.isNull()) {
        qWarning().noquote().nospace()
            << "Bild Laden gescheitert ( Bild leer): " << reader.errorString();
    }
    return image;
}

QImage fitted(const QImage& image, const QSize& wanted)
{
    return image.isNull() || isInvalid(wanted)
        ? image
        : image.scaled(wanted, Qt::KeepAspectRatio, Qt::SmoothTransformation);
}

} // namespace

RKMediaFormatList RKBitmapDecoderQt::readableImageFileFormats() const
{
    static const RKMediaFormatList formats = createReadableImageFileFormats();
    return formats;
}

RKMediaFormatList RKBitmapDecoderQt::writableImageFileFormats() const
{
    static const RKMediaFormatList formats = createWritableImageFileFormats();
    return formats;
}

RKMediaFormatList RKBitmapDecoderQt::createReadableImageFileFormats()
{
    QList<QByteArray> formats = QImageReader::supportedImageFormats();
    removeAll(formats, kNotRead);
    removeAll(formats, kLeftToOthers);
    return RKMediaFormatList(formats);
}

RKMediaFormatList RKBitmapDecoderQt::createWritableImageFileFormats()
{
    QList<QByteArray> formats = QImageWriter::supportedImageFormats();
    removeAll(formats, kNotWritten);
    return RKMediaFormatList(formats);
}

QImage RKBitmapDecoderQt::decode(const QByteArray& data,
    const QByteArray& format,
    const QSize& wantedSize,
    const RKMediaDescriptor&) const
{
    const QSize stored = size(data, format);
    if (!RKDrawable::isAcceptableSize(stored))
        return {};
    if (!isInvalid(wantedSize)
        && !RKImageScaler::isFeasible(calculateRealTargetSize(wantedSize, stored)))
    {
        qWarning().noquote() << QStringLiteral("refused to scale a picture to %1x%2 pixels")
                                    .arg(wantedSize.width())
                                    .arg(wantedSize.height());
        return {};
    }
    QImage image = read(data, format, wantedSize);
    if (image.isNull() && format.toLower().startsWith("hei"))
        RKImageLoadingReporter::instance()->reportHeicError();
    return image;
}

QImage RKBitmapDecoderQt::read(
    const QByteArray& data, const QByteArray& format, const QSize& wantedSize) const
{
    QBuffer buffer;
    buffer.setData(data);
    buffer.open(QIODevice::ReadOnly);
    QImageReader reader(&buffer, format);
    const bool isHeic = format.toLower().startsWith("hei");
    if (isHeic)
        reader.setAutoTransform(true);

    const bool isScaled = !isInvalid(wantedSize) && requestScaling(reader, wantedSize);
    const QImage image = readOrWarn(reader);
    const bool fits = image.width() == wantedSize.width() || image.height() == wantedSize.height();
    return isScaled && fits ? image : fitted(image, wantedSize);
}

bool RKBitmapDecoderQt::save(const QFileInfo& file, const RKDrawable& drawable) const
{
    const QString path = file.absoluteFilePath();
    // Encoded in memory and written as a whole, so that a failure leaves the old file.
    QBuffer encoded;
    const bool isSaved = save(&encoded, RKMediaFormat(file), drawable) && !encoded.data().isEmpty()
        && RKSafeFileWriter(path).write(encoded.data()) == RKSafeFileWriter::Result::Done;
    if (!isSaved)
        qWarning().noquote() << QStringLiteral("failed to save %1").arg(path);
    return isSaved;
}

bool RKBitmapDecoderQt::save(
    QIODevice* device, const RKMediaFormat& format, const QImage& image) const
{
    constexpr int kCompression = 1;
    constexpr int kQuality = 2;
    if (!device || !writableImageFileFormats().contains(format))
        return false;
    const RKDeviceOpener opener(device, QIODevice::WriteOnly);
    if (!opener.isReady())
        return false;

    QImageWriter writer(device, format.fileExtensions().first().toLatin1());
    const int option = format.preferredEncoderOptionEnum();
    if (option == kCompression)
        writer.setCompression(format.preferredEncoderCompression());
    else if (option == kQuality)
        writer.setQuality(format.preferredEncoderQuality());
    return writer.write(image);
}

bool RKBitmapDecoderQt::save(
    QIODevice* device, const RKMediaFormat& format, const RKDrawable& drawable) const
{
    return save(device, format, drawable.image());
}

QSize RKBitmapDecoderQt::size(QIODevice* device, const QByteArray& format) const
{
    const RKDeviceOpener opener(device, QIODevice::ReadOnly);
    if (!opener.isReady()) {
        qWarning().noquote() << "could not open theIODevice" << device->errorString();
        return {};
    }
    QImageReader reader(device, format);
    return heicAwareSize(reader);
}

QSize RKBitmapDecoderQt::size(const QByteArray& data, const QByteArray& format) const
{
    QBuffer buffer;
    buffer.setData(data);
    return size(&buffer, format);
}

QSize RKBitmapDecoderQt::size(const QFileInfo& file, const QByteArray& format) const
{
    if (!RKBinaryFile::isRegular(file) && file.exists())
        return {};
    QFile device(file.absoluteFilePath());
    return size(&device, format);
}

QSize RKBitmapDecoderQt::heicAwareSize(QImageReader& reader) const
{
    QSize size = reader.supportsOption(QImageIOHandler::Size) ? reader.size() : QSize();
    if (isInvalid(size)) {
        const QImage image = reader.read();
        size = image.isNull() ? QSize() : image.size();
    }
    return reader.format() == "heic" && turnsByAQuarter(reader) ? size.transposed() : size;
}

QString RKBitmapDecoderQt::name() const
{
    return QStringLiteral("Qt");
}
