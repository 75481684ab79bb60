#include "RKImageLoader/decoders/RKBitmapDecoderQt.h"

#include "RKImageLoader/decoders/RKBitmapDecoderMacCoreGraphics.h"
#include "RKImageLoader/decoders/RKDeviceOpener_p.h"
#include "RKImageLoader/decoders/RKReducedTiff_p.h"
#include "RKImageLoader/decoders/RKReducedWebp_p.h"
#include "RKImageLoader/decoders/RKRefusal_p.h"
#include "RKImageLoader/decoders/RKStoppableBuffer_p.h"
#include "RKImageLoader/decoders/RKTiffPicture_p.h"
#include "RKImageLoader/drawables/RKImageAttributes_p.h"
#include "RKImageLoader/drawables/RKImageScaler_p.h"
#include "RKImageLoader/drawables/RKQtScaler_p.h"
#include "RKImageLoader/files/RKBinaryFile_p.h"
#include "RKImageLoader/files/RKFileSaving.h"
#include "RKImageLoader/files/RKFileSnapshot_p.h"
#include "RKImageLoader/files/RKHugePages_p.h"
#include "RKImageLoader/guards/RKImageLimits_p.h"
#include "RKImageLoader/guards/RKMngLoops_p.h"
#include "RKImageLoader/guards/RKPictureHeaderCheck_p.h"
#include "RKImageLoader/guards/RKPngChunks_p.h"
#include "RKImageLoader/guards/RKTruncation_p.h"
#include "RKImageLoader/media/RKErrorText_p.h"
#include "RKImageLoader/media/RKImageLoadingReporter.h"
#include "RKImageLoader/media/RKLogCategories_p.h"
#include "RKImageLoader/media/RKMemory_p.h"

#include <QBuffer>
#include <QDebug>
#include <QFile>
#include <QImageReader>
#include <QImageWriter>

#include <algorithm>
#include <array>
#include <climits>
#include <utility>

namespace {

// Bitmaps that hosts have no use for, and the vector formats, which have a decoder of their own.
constexpr std::array kNotRead{"pbm", "ppm", "svg", "svgz", "wbmp", "dds", "icns", "tga", "cur"};

constexpr std::array kNotWritten{"pbm",
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

// Formats whose readers leave parts of a damaged picture as they find them, for instance where the
// run lengths of a BMP file end early. What was in memory before must not show there.
constexpr std::array kWithGaps{"bmp"};

constexpr qsizetype kSignatureSize = 16;

// Values of RKMediaFormat::preferredEncoderOptionEnum().
constexpr int kCompressionOption = 1;
constexpr int kQualityOption = 2;

template <typename Names>
void removeNames(QList<QByteArray>& names, const Names& unwanted)
{
    for (const auto& name : unwanted)
        names.removeAll(name);
}

QList<QByteArray> readableOf(QList<QByteArray> names)
{
    removeNames(names, kNotRead);
    removeNames(names, RKBitmapDecoderMacCoreGraphics::staticReadableImageFileFormats());
    return names;
}

QList<QByteArray> writableOf(QList<QByteArray> names)
{
    removeNames(names, kNotWritten);
    return names;
}

// All names that Qt may have for a format; none for a combination of formats, which is not one.
QList<QByteArray> namesOf(const RKMediaFormat& format)
{
    QList<QByteArray> names;
    if (!format.defaultExtension().isEmpty()) {
        const QStringList extensions = format.fileExtensions();
        for (const QString& extension : extensions)
            names << extension.toLatin1();
    }
    return names;
}

// As Qt recognises drawings.
bool mayBeDrawing(QByteArrayView start)
{
    const QByteArrayView first = start.first(std::min(start.size(), kSignatureSize));
    const auto contains = [first](QByteArrayView text) { return first.indexOf(text) >= 0; };
    return first.startsWith("\x1f\x8b") || contains("<?xml") || contains("<svg") || contains("<!--")
        || contains("<!DOC");
}

// Where the name of the format is all that counts. Before Qt takes one of its own readers, it loads
// the plug-ins of all formats and asks them whether they know the content. And it would take a
// drawing with the suffix of a picture for what it is, without the limits of our decoder.
void restrict(QImageReader& reader, QByteArrayView start, const QByteArray& name)
{
    const bool isKnown
        = (name == "png" && RKPngChunks::isPng(start)) || (name == "bmp" && start.startsWith("BM"));
    if (isKnown || mayBeDrawing(start))
        reader.setAutoDetectImageFormat(false);
}

// The list of all names would load every plug-in; this loads that of the name, if it has one.
bool hasReader(const QByteArray& name)
{
    QBuffer nothing;
    nothing.open(QIODevice::ReadOnly);
    QImageReader reader(&nothing, name);
    reader.setAutoDetectImageFormat(false);
    reader.canRead();
    return reader.error() != QImageReader::UnsupportedFormatError;
}

// Qt asks the plug-ins by turns, until one writes the format.
bool hasWriter(const QByteArray& name)
{
    QBuffer nothing;
    nothing.open(QIODevice::WriteOnly);
    return QImageWriter(&nothing, name).canWrite();
}

void refuseSize(const QSize& size, RKLoadContext& context)
{
    const int side = std::min(size.width(), size.height());
    const QString text = RKDrawable::isAcceptableSize({side, side})
        ? RKErrorText::tr("%1x%2 pixels are too thin for a picture.")
        : RKErrorText::tr("%1x%2 pixels are too small for a picture.");
    context.fail(RKMediaErrorCode::TooSmall, text.arg(size.width()).arg(size.height()));
}

// A cut-off picture may come all the same: readers fill up what is missing.
void noteCutOff(const QByteArray& data, RKLoadContext& context)
{
    if (RKTruncation::isCutOff(data))
        context.fail(RKMediaErrorCode::Truncated);
}

bool isHeic(const QByteArray& format)
{
    return format.toLower().startsWith("hei");
}

// Whether the reader has to turn the picture. Qt's own readers of JPEG and TIFF could do so, too,
// but the loader does it by the metadata; such pictures often have the name of what they were made
// of.
bool isTurnedByReader(QByteArrayView start, const QByteArray& format)
{
    const bool isQts
        = start.startsWith("\xff\xd8\xff") || start.startsWith("II") || start.startsWith("MM");
    return isHeic(format) && !isQts;
}

// Our plug-in's sub-type is the coding that it has no decoder for.
void noteMissingDecoder(const QByteArray& data, const QByteArray& format, RKLoadContext& context)
{
    if (!isHeic(format))
        return;
    QBuffer buffer;
    buffer.setData(data);
    buffer.open(QIODevice::ReadOnly);
    const QByteArray coding = QImageReader(&buffer, format).subType();
    if (!coding.isEmpty()) {
        context.fail(RKMediaErrorCode::NoDecoder,
            RKErrorText::tr("There is no decoder for HEIC that is coded as %1.")
                .arg(QString::fromLatin1(coding)));
    }
}

void noteUnmeasured(const QByteArray& data, const QByteArray& format, RKLoadContext& context)
{
    noteCutOff(data, context);
    noteMissingDecoder(data, format, context);
    // Some readers refuse by themselves what is far too large.
    if (!RKPictureHeaderCheck::canHold(data, QSize())) {
        context.fail(RKMediaErrorCode::TooLarge,
            RKErrorText::tr("The header promises more pixels than the file can hold."));
    }
    context.fail(RKMediaErrorCode::Damaged);
}

bool canHold(const QByteArray& data, const QSize& size)
{
    if (RKPictureHeaderCheck::canHold(data, size))
        return true;
    qCWarning(rkLoad, "Picture refused: its header promises more than its data can hold");
    return false;
}

// A wanted picture of far fewer pixels must not cost what the whole one does.
bool hasFarFewerPixels(const QSize& target, const QSize& stored)
{
    constexpr qint64 kFarFewer = 4;
    return kFarFewer * target.width() * target.height() <= qint64(stored.width()) * stored.height();
}

// The file without what would keep a reader busy and is not needed for the picture. Empty, with a
// warning, if nothing is left.
QByteArray readable(const QByteArray& data)
{
    const QByteArray bytes = RKPngChunks::repaired(RKMngLoops::removed(data));
    if (bytes.isEmpty() && !data.isEmpty())
        qCWarning(rkLoad, "Picture refused: a chunk claims more bytes than the file has");
    return bytes;
}

bool turnsByAQuarter(const QImageReader& reader)
{
    return reader.transformation().testFlag(QImageIOHandler::TransformationRotate90);
}

// Has the reader scale while it decodes; false where it can't, or would do so wrongly.
bool requestScaling(QImageReader& reader, const QSize& wanted)
{
    if (!reader.supportsOption(QImageIOHandler::ScaledSize) || !reader.size().isValid()
        || !RKQtScaler::isScalable(reader.imageFormat()))
        return false;
    // Readers scale before they turn.
    const bool isTurned = reader.autoTransform() && turnsByAQuarter(reader);
    const QSize displayed = isTurned ? reader.size().transposed() : reader.size();
    const QSize target = RKBitmapDecoder::calculateRealTargetSize(wanted, displayed);
    reader.setScaledSize(isTurned ? target.transposed() : target);
    return true;
}

enum class Content
{
    Any,
    Zero
};

// A picture for the reader to fill; it takes another one if that has a wrong size or format.
QImage roomFor(const QImageReader& reader, const QSize& size, Content content)
{
    // Where a cancelled request leaves no bytes, Qt's JPEG reader has no format, and gives any
    // number. Readers that can't scale may have no size either, but a format.
    if (reader.supportsOption(QImageIOHandler::ScaledSize) && !reader.size().isValid())
        return {};
    const QImage::Format format = reader.imageFormat();
    if (format == QImage::Format_Invalid)
        return {};
    QImage image(size, format);
    RKHugePages::advise(image.bits(), image.sizeInBytes());
    if (content == Content::Zero)
        image.fill(0);
    return image;
}

// Damaged files have pixels of colours that their palette lacks. These are black here: others would
// read on after the end of the palette, or save a file that nobody opens.
void completePalette(QImage& image)
{
    if (image.format() != QImage::Format_Indexed8)
        return;
    int greatest = 0;
    for (int y = 0; y < image.height(); ++y) {
        const uchar* const row = image.constScanLine(y);
        greatest = std::max<int>(greatest, *std::max_element(row, row + image.width()));
    }
    QList<QRgb> colors = image.colorTable();
    if (greatest < colors.size())
        return;
    while (colors.size() <= greatest)
        colors.append(qRgb(0, 0, 0));
    image.setColorTable(colors);
}

// Null, with a warning, when the picture can't be decoded.
QImage readImage(QImageReader& reader, QImage&& target, const RKLoadContext& context)
{
    QImage image = std::move(target);
    if (!reader.read(&image))
        image = QImage();
    // What Qt says of a file that has gone is of no interest.
    if (context.isCancelled())
        return {};
    if (reader.error() != QImageReader::UnknownError) {
        qCWarning(rkLoad).noquote()
            << "Bild Laden gescheitert ( Fehler im ImageReader):" << reader.errorString();
        return {};
    }
    if (image.isNull())
        qCWarning(rkLoad).noquote()
            << "Bild Laden gescheitert ( Bild leer):" << reader.errorString();
    completePalette(image);
    return image;
}

// Gives the pixels of one colour no opacity.
void makeTransparent(QImage& image, QRgba64 color)
{
    image.convertTo(QImage::Format_RGBA64);
    for (int y = 0; y < image.height(); ++y) {
        auto* const row = reinterpret_cast<QRgba64*>(image.scanLine(y));
        std::for_each(row, row + image.width(), [color](QRgba64& pixel) {
            if (pixel == color)
                pixel.setAlpha(0);
        });
    }
}

// The host is told of a HEIC picture that the reader could neither measure nor read.
void reportFailure(const QByteArray& data, const QByteArray& format)
{
    if (isHeic(format) && !data.isEmpty())
        RKImageLoadingReporter::instance()->reportHeicError();
}

// Room for a file without compression, which takes no memory before it is written to.
void reserve(QByteArray& bytes, qsizetype size)
{
    try {
        bytes.reserve(size);
        RKHugePages::advise(bytes.data(), bytes.capacity());
    } catch (const std::bad_alloc&) {
        // It grows as it is written to, and most files are smaller.
    }
}

// The bytes of a device, whose position stays.
QByteArray allBytes(QIODevice* device)
{
    const qint64 position = device->pos();
    if (!device->seek(0))
        return {};
    const QByteArray bytes = device->readAll();
    device->seek(position);
    return bytes;
}

// What follows the last pixel of a row, and was in memory before, must not get into files: writers
// of one bit a pixel, and that of BMP, write bytes and words.
QImage withoutOldBits(QImage image, const RKMediaFormat& format)
{
    const bool isWritten = image.depth() == 1 || (image.depth() == 8 && format == MEDIA_FORMAT_BMP);
    const qsizetype bits = qsizetype(image.width()) * image.depth();
    if (!isWritten || bits == CHAR_BIT * image.bytesPerLine())
        return image;
    const qsizetype bytes = bits / CHAR_BIT;
    const int free = int(CHAR_BIT - bits % CHAR_BIT) % CHAR_BIT;
    const auto kept = uchar(image.format() == QImage::Format_MonoLSB ? 0xff >> free : 0xff << free);
    for (int y = 0; y < image.height(); ++y) {
        uchar* const row = image.scanLine(y);
        const uchar last = free > 0 ? row[bytes] & kept : 0;
        std::fill(row + bytes, row + image.bytesPerLine(), uchar(0));
        if (free > 0)
            row[bytes] = last;
    }
    return image;
}

/// Whether the picture is too large, promises more than its file holds, or is wanted in a size that
/// can't be made. The context has the reason then.
bool isRefused(
    const QByteArray& bytes, const QSize& stored, const QSize& wantedSize, RKLoadContext& context)
{
    if (!RKDrawable::isAcceptableSize(stored)) {
        refuseSize(stored, context);
        return true;
    }
    if (!canHold(bytes, stored)) {
        context.fail(RKTruncation::reasonForClaim(bytes, stored));
        return true;
    }
    if (!wantedSize.isValid())
        return false;
    const QSize target = RKBitmapDecoder::calculateRealTargetSize(wantedSize, stored);
    if (!RKImageScaler::isFeasible(target)) {
        RKRefusal::wantedSize(context);
        return true;
    }
    if (hasFarFewerPixels(target, stored) && !RKPictureHeaderCheck::canBeReduced(bytes, stored)) {
        RKRefusal::reduction(context);
        return true;
    }
    return false;
}

/// Whether the reader may be asked for a smaller picture. The size of a TIFF picture may be that of
/// another directory of the file. PNG readers scale some pictures row by row and convert the others
/// as a whole.
bool mayScaleWhileDecoding(const QByteArray& bytes, const QByteArray& name, const QSize& stored)
{
    return !name.startsWith("tif")
        && (!RKPngChunks::isPng(bytes) || RKPictureHeaderCheck::wholeBytes(bytes, stored) == 0);
}

// The picture in the size, made smaller while it is read where Qt's reader can't do that; nullopt
// where that reader is needed. Null, and the context may have a reason, where it must not be.
std::optional<QImage> readReduced(
    const QByteArray& bytes, const QSize& stored, const QSize& target, RKLoadContext& context)
{
    QImage image = RKReducedWebp::read(bytes, target, context.cancellation());
    const bool isLarge = RKPictureHeaderCheck::wholeBytes(bytes, stored) > RKImageLimits::kMaxClaim;
    if (image.isNull() && isLarge)
        image = RKReducedTiff::read(bytes, target, context.cancellation());
    if (!image.isNull() || context.isCancelled())
        return image;
    if (!hasFarFewerPixels(target, stored) || RKPictureHeaderCheck::canBeHeld(bytes, stored))
        return {};
    context.fail(RKMediaErrorCode::Damaged);
    return QImage();
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

bool RKBitmapDecoderQt::canRead(const RKMediaFormat& format) const
{
    if (format.isVideo())
        return false;
    const QList<QByteArray> names = readableOf(namesOf(format));
    // Some plug-ins want to see a file before they say yes.
    return std::any_of(names.begin(), names.end(), hasReader)
        || readableImageFileFormats().contains(format);
}

bool RKBitmapDecoderQt::canWrite(const RKMediaFormat& format) const
{
    const QList<QByteArray> names = writableOf(namesOf(format));
    return std::any_of(names.begin(), names.end(), hasWriter)
        || writableImageFileFormats().contains(format);
}

QImage RKBitmapDecoderQt::decode(const QByteArray& data,
    const QByteArray& format,
    const QSize& wantedSize,
    const RKMediaDescriptor& descriptor) const
{
    RKLoadContext context;
    return decode(data, format, wantedSize, descriptor, context);
}

RKDrawable RKBitmapDecoderQt::decodeDrawable(const QByteArray& data,
    const QByteArray& format,
    const QSize& wantedSize,
    const RKMediaDescriptor& descriptor,
    RKLoadContext& context) const
{
    return RKDrawable(decode(data, format, wantedSize, descriptor, context));
}

QImage RKBitmapDecoderQt::decode(const QByteArray& data,
    const QByteArray& format,
    const QSize& wantedSize,
    const RKMediaDescriptor&,
    RKLoadContext& context) const
{
    const QByteArray bytes = readable(data);
    const QSize stored = measured(bytes, format, context);
    if (stored.isEmpty()) {
        reportFailure(data, format);
        noteUnmeasured(data, format, context);
        return {};
    }
    if (isRefused(bytes, stored, wantedSize, context) || context.isCancelled())
        return {};
    noteCutOff(data, context);
    if (const auto read = RKTiffPicture::read(bytes, stored, context.cancellation())) {
        const bool isScaled = wantedSize.isValid() && !read->isNull();
        return isScaled ? RKQtScaler::scaled(*read, wantedSize) : *read;
    }

    const QByteArray name = format.toLower();
    // Measuring may have read the picture, and few readers read it twice.
    const std::unique_ptr<QIODevice> device
        = RKStoppableBuffer::open(bytes, context.cancellation());
    QImageReader reader(device.get(), format);
    restrict(reader, bytes, name);
    if (isTurnedByReader(bytes, format))
        reader.setAutoTransform(true);
    // Scaled, no pixel has the colour of one that is transparent any more.
    const auto transparent = RKPngChunks::transparentColor(data);
    const bool isScaled = wantedSize.isValid() && !transparent
        && mayScaleWhileDecoding(bytes, name, stored) && requestScaling(reader, wantedSize);

    if (wantedSize.isValid() && !isScaled) {
        const QSize target = calculateRealTargetSize(wantedSize, stored);
        if (const auto reduced = readReduced(bytes, stored, target, context))
            return *reduced;
    }

    const bool mayHaveGaps = std::count(kWithGaps.begin(), kWithGaps.end(), name) > 0;
    QImage room
        = isScaled ? QImage() : roomFor(reader, stored, mayHaveGaps ? Content::Zero : Content::Any);
    QImage image
        = RKImageAttributes::withoutMetaDataTexts(readImage(reader, std::move(room), context));
    if (context.isCancelled())
        return {};
    if (image.isNull()) {
        reportFailure(data, format);
        noteMissingDecoder(data, format, context);
        context.fail(RKMemory::isShortFor(stored) ? RKMediaErrorCode::OutOfMemory
                                                  : RKMediaErrorCode::Damaged);
        return {};
    }
    if (transparent)
        makeTransparent(image, *transparent);
    const bool fits = image.width() == wantedSize.width() || image.height() == wantedSize.height();
    if (!wantedSize.isValid() || (isScaled && fits))
        return image;
    return RKQtScaler::scaled(std::move(image), wantedSize);
}

bool RKBitmapDecoderQt::save(const QFileInfo& file, const RKDrawable& drawable) const
{
    return save(file, drawable, nullptr);
}

bool RKBitmapDecoderQt::save(
    const QFileInfo& file, const RKDrawable& drawable, RKMediaError* error) const
{
    const QString path = file.absoluteFilePath();
    // Encoded in memory and written as a whole, so that a failure leaves the old file.
    QBuffer encoded;
    reserve(encoded.buffer(), drawable.numBytes());
    RKMediaError reason;
    if (save(&encoded, RKMediaFormat(file), drawable, &reason)) {
        // An encoder that writes nothing has failed, too; nobody wants an empty file.
        reason = encoded.data().isEmpty() ? RKMediaError(RKMediaErrorCode::UnsupportedForWriting)
                                          : RKFileSaving::write(path, encoded.data());
    }
    if (reason.isError())
        qCWarning(rkLoad).noquote() << "failed to save" << path;
    if (error)
        *error = reason;
    return !reason.isError();
}

bool RKBitmapDecoderQt::save(
    QIODevice* device, const RKMediaFormat& format, const QImage& image) const
{
    if (!canWrite(format))
        return false;
    const RKDeviceOpener opener(device, QIODevice::WriteOnly);
    if (!opener.isOpen())
        return false;

    QImageWriter writer(device, format.defaultExtension().toLatin1());
    // Kept: no format has the first option, so PNG is written with its quality and not with its
    // compression.
    switch (format.preferredEncoderOptionEnum()) {
    case kCompressionOption: writer.setCompression(format.preferredEncoderCompression()); break;
    case kQualityOption: writer.setQuality(format.preferredEncoderQuality()); break;
    default: break;
    }
    return writer.write(withoutOldBits(image, format)) && opener.isFlushed();
}

bool RKBitmapDecoderQt::save(
    QIODevice* device, const RKMediaFormat& format, const RKDrawable& drawable) const
{
    return save(device, format, drawable.image());
}

bool RKBitmapDecoderQt::save(QIODevice* device,
    const RKMediaFormat& format,
    const RKDrawable& drawable,
    RKMediaError* error) const
{
    const bool isSaved = save(device, format, drawable);
    if (!error)
        return isSaved;
    *error = isSaved ? RKMediaError() : reasonForUnwritten(*device, format, drawable.size());
    if (!isSaved && !drawable.size().isEmpty() && drawable.image().isNull())
        *error = RKMediaError(RKMediaErrorCode::OutOfMemory);
    return isSaved;
}

RKMediaError RKBitmapDecoderQt::reasonForUnwritten(
    const QIODevice& device, const RKMediaFormat& format, const QSize& size) const
{
    using Code = RKMediaErrorCode;
    if (!canWrite(format))
        return RKMediaError(Code::UnsupportedForWriting);
    if (size.isEmpty())
        return RKMediaError(Code::NotWritable, RKErrorText::tr("There is no picture to save."));
    const auto* const file = qobject_cast<const QFileDevice*>(&device);
    if ((device.isOpen() && !device.isWritable())
        || (file && file->error() != QFileDevice::NoError))
        return RKMediaError(Code::NotWritable);
    return RKMediaError(Code::UnsupportedForWriting,
        RKErrorText::tr("A picture of %1x%2 pixels can't be written in this format.")
            .arg(size.width())
            .arg(size.height()));
}

QSize RKBitmapDecoderQt::size(QIODevice* device, const QByteArray& format) const
{
    const RKDeviceOpener opener(device, QIODevice::ReadOnly);
    if (!opener.isOpen()) {
        qCWarning(rkLoad).noquote() << "could not open theIODevice" << device->errorString();
        return {};
    }
    // Readers go back and forth, and these two formats have to be made safe first.
    const QByteArray signature = device->peek(kSignatureSize);
    if (device->isSequential() || RKMngLoops::isMng(signature))
        return size(device->readAll(), format);
    RKLoadContext context;
    if (RKPngChunks::isPng(signature))
        return measured(RKPngChunks::header(*device), format, context);
    if (!RKPictureHeaderCheck::hasFewSegments(*device))
        return {};
    QImageReader reader(device, format);
    restrict(reader, signature, format.toLower());
    return heicAwareSize(reader);
}

QSize RKBitmapDecoderQt::size(const QByteArray& data, const QByteArray& format) const
{
    RKLoadContext context;
    return measured(readable(data), format, context);
}

QSize RKBitmapDecoderQt::size(const QFileInfo& file, const QByteArray& format) const
{
    if (RKBinaryFile::mayBlock(file)) {
        qCWarning(rkLoad).noquote() << "could not open theIODevice"
                                    << "Not a regular file";
        return {};
    }
    QFile device(file.absoluteFilePath());
    return size(&device, format);
}

QSize RKBitmapDecoderQt::size(
    const QFileInfo& file, const QByteArray& format, RKLoadContext& context) const
{
    const QSize measured = size(file, format);
    QByteArray bytes;
    if (!measured.isValid() && RKFileSnapshot(file.absoluteFilePath()).readAll(&bytes))
        noteUnmeasured(bytes, format, context);
    return measured;
}

QSize RKBitmapDecoderQt::heicAwareSize(QImageReader& reader) const
{
    // HEIC files say how far the picture has to be turned, and the reader turns it.
    const bool mustSwap = reader.format() == "heic"
        && isTurnedByReader(reader.device()->peek(kSignatureSize), reader.format())
        && turnsByAQuarter(reader);
    QSize size = reader.supportsOption(QImageIOHandler::Size) ? reader.size() : QSize();
    if (!size.isValid()) {
        const QImage image = canHold(allBytes(reader.device()), QSize()) ? reader.read() : QImage();
        size = image.isNull() ? QSize() : image.size();
    }
    return mustSwap ? size.transposed() : size;
}

QSize RKBitmapDecoderQt::measured(
    const QByteArray& bytes, const QByteArray& format, RKLoadContext& context) const
{
    QBuffer buffer;
    buffer.setData(bytes);
    buffer.open(QIODevice::ReadOnly);
    if (bytes.isEmpty())
        return {};
    if (!RKPictureHeaderCheck::hasFewSegments(buffer)) {
        context.fail(RKMediaErrorCode::TooLarge,
            RKErrorText::tr("The picture is refused: it has too many segments."));
        return {};
    }
    QImageReader reader(&buffer, format);
    restrict(reader, bytes, format.toLower());
    return heicAwareSize(reader);
}

QString RKBitmapDecoderQt::name() const
{
    return QStringLiteral("Qt");
}

RKMediaFormatList RKBitmapDecoderQt::createReadableImageFileFormats()
{
    return RKMediaFormatList(readableOf(QImageReader::supportedImageFormats()));
}

RKMediaFormatList RKBitmapDecoderQt::createWritableImageFileFormats()
{
    return RKMediaFormatList(writableOf(QImageWriter::supportedImageFormats()));
}
