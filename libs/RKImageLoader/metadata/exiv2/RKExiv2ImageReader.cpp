#include "RKImageLoader/files/RKBinaryFile_p.h"
#include "RKImageLoader/files/RKByteReader_p.h"
#include "RKImageLoader/files/RKDeviceSource_p.h"
#include "RKImageLoader/files/RKFileSnapshot_p.h"
#include "RKImageLoader/files/RKHeifProfile_p.h"
#include "RKImageLoader/files/RKImageFileParts_p.h"
#include "RKImageLoader/guards/RKPictureHeaderCheck_p.h"
#include "RKImageLoader/media/RKErrorText_p.h"
#include "RKImageLoader/media/RKFileReason_p.h"
#include "RKImageLoader/metadata/exiv2/RKExiv2ImageReader_p.h"
#include "RKImageLoader/metadata/exiv2/RKExiv2Library_p.h"
#include "RKImageLoader/xmp/RKXmpLimits_p.h"
#include "RKImageLoader/xmp/RKXmpPacketParser_p.h"

#include <QBuffer>
#include <QDebug>
#include <QFile>
#include <QFileInfo>
#include <QImageReader>
#include <QSet>

#include <algorithm>
#include <limits>
#include <utility>

namespace {

// Larger sizes are often mistakes, and QImageReader is asked, too.
constexpr int kMaxCredibleSide = 20000;
// Of a file in boxes that is read as a whole, in bytes; exiv2 does so, too. A photograph of 200
// megapixels takes 100 MB.
constexpr qint64 kMaxBoxes = 1024 * 1024 * 1024;

/// The first bytes of an image.
QByteArray startOf(const Exiv2::Image& image, size_t atMost)
{
    Exiv2::BasicIo& io = image.io();
    // exiv2 ends the process if a file is used that could not be opened again.
    if (io.open() != 0)
        return {};
    io.seek(0, Exiv2::BasicIo::beg);
    const auto size = static_cast<long>(std::min<size_t>(io.size(), atMost));
    const QByteArray content = RKExiv2Compat::toByteArray(io.read(size));
    io.close();
    return content;
}

/// A file in boxes holds pictures: HEIF, AVIF, CR3 or JPEG XL, and no video (ISO/IEC 14496-12, 4.3;
/// ISO/IEC 23008-12, 10).
bool hasPictureBrand(const Exiv2::Image& image)
{
    static const QSet<QByteArray> brands = {"heic",
        "heix",
        "heim",
        "heis",
        "hevc",
        "hevx",
        "mif1",
        "mif2",
        "msf1",
        "avif",
        "avis",
        "crx ",
        "jxl "};
    constexpr quint64 kBrandSize = 4;
    constexpr size_t kMaxList = 512;

    const QByteArray start = startOf(image, kMaxList);
    RKByteReader box(start);
    const auto size = box.number<quint32>();
    const QByteArrayView type = box.take(kBrandSize);
    if (type == "JXL ")
        return true;
    if (type != "ftyp")
        return false;
    // The major brand, its version, and the brands that the file is compatible with.
    while (box.position() + qint64(kBrandSize) <= size && box.isGood()) {
        if (brands.contains(box.take(kBrandSize).toByteArray()))
            return true;
    }
    return false;
}

/// exiv2's readers of videos hang on some files and write beyond their memory on others; and a
/// video in boxes is no picture with a size and an orientation.
bool isReadable(const Exiv2::Image& image)
{
    return !RKExiv2Compat::isVideo(image)
        && (!RKExiv2Compat::isBmff(image) || hasPictureBrand(image));
}

/// exiv2 would take minutes. Other files are limited by what they may hold, or rarely have so much.
bool isExcessiveSidecar(const Exiv2::Image& image)
{
    constexpr size_t kMaxSize = RKXmpPacketParser::kMaxPacketSize;
    return RKExiv2Compat::isSidecar(image)
        && RKXmpLimits::areExceededBy(
            RKXmpPacketParser::inUtf8(startOf(image, kMaxSize).toStdString()),
            std::numeric_limits<int>::max());
}

QSize sizeOf(const Exiv2::Image& image)
{
    return QSize(static_cast<int>(image.pixelWidth()), static_cast<int>(image.pixelHeight()));
}

/// The system did not let us open or map a file.
bool isSystemError(const Exiv2::Error& error)
{
    return RKExiv2Compat::hasCode(error, Exiv2::ErrorCode::kerDataSourceOpenFailed)
        || RKExiv2Compat::hasCode(error, Exiv2::ErrorCode::kerCallFailed);
}

/// The profile without bytes beyond its end, as a whole phone model appends; also one that lacks
/// some at the end of its last tag; empty for bytes that are no profile (ICC.1:2022, 7.2 and 7.3).
QByteArray usablePart(const QByteArray& profile)
{
    constexpr qint64 kSignature = 36;
    constexpr qint64 kTagCount = 128;
    constexpr qint64 kFirstTag = 132;
    constexpr qint64 kTagSize = 12;
    const RKByteReader reader(profile);
    const qint64 tags = reader.numberAt<quint32>(kTagCount).value_or(0);
    if (!reader.has("acsp", kSignature) || tags > (reader.size() - kFirstTag) / kTagSize)
        return {};
    for (qint64 tag = 0; tag < tags; ++tag) {
        const qint64 place = kFirstTag + tag * kTagSize + qint64(sizeof(quint32));
        if (reader.numberAt<quint32>(place).value_or(0) >= reader.size())
            return {};
    }
    return profile.left(qsizetype(reader.numberAt<quint32>(0).value_or(0)));
}

} // namespace

RKExiv2ImageReader::RKExiv2ImageReader(const Target& target)
    : m_target(target)
{
    RKExiv2Library::initialize();
}

void RKExiv2ImageReader::read(const QString& path)
{
    // A pipe would wait for somebody to write into it.
    if (RKBinaryFile::mayBlock(QFileInfo(path))) {
        qWarning() << "No Exif Data in this file:" << path;
        m_error = RKFileReason::ofReading(RKFileSnapshot(path).error(), path);
        return;
    }
    bool hasReadError = false;
    try {
        read(RKExiv2Compat::openFile(path.toStdString(), &hasReadError),
            [&path] { return std::make_shared<RKFileSnapshot>(path); });
        // exiv2 takes it for the end of the file, or for a file of an unknown type.
        if (hasReadError)
            qWarning().noquote() << "Failed to read all of the file:" << path;
    } catch (const Exiv2::Error& error) {
        m_isUnreadable = isSystemError(error) && QFileInfo::exists(path);
        // exiv2 says little of files that it can't open.
        if (isSystemError(error))
            m_error = RKFileReason::ofReading(RKFileSnapshot(path).error(), path);
        noteError(error);
        RKExiv2Library::describeError(
            QStringLiteral("RKExiv2WrapperImpl::RKExiv2WrapperImpl(const QString &)"), error);
    } catch (const std::bad_alloc&) {
        noteOutOfMemory();
    } catch (...) {
        qWarning() << "No Exif Data in this file:" << path;
    }
    if (hasReadError) {
        m_isUnreadable = true;
        m_error = RKMediaError(RKMediaErrorCode::Unreadable);
        // Without a size no cache keeps what may be complete the next time.
        m_target.size = QSize();
    }
    QFile file(path);
    complete(&file);
}

void RKExiv2ImageReader::read(const QByteArray& data)
{
    if (data.isEmpty())
        return;
    try {
        read(RKExiv2Compat::openMemory(data),
            [&data] { return std::make_shared<RKMemorySource>(data); });
    } catch (const Exiv2::Error& error) {
        noteError(error);
        RKExiv2Library::describeError(
            QStringLiteral("RKExiv2WrapperImpl::RKExiv2WrapperImpl(const QByteArray &)"), error);
    } catch (const std::bad_alloc&) {
        noteOutOfMemory();
    } catch (...) {
        qWarning() << "No Exif in data.";
    }
    QBuffer buffer;
    buffer.setData(data);
    complete(&buffer);
}

bool RKExiv2ImageReader::isTurnedByContainer() const
{
    return m_isTurnedByContainer;
}

bool RKExiv2ImageReader::isUnreadable() const
{
    return m_isUnreadable;
}

RKMediaError RKExiv2ImageReader::error() const
{
    return m_error;
}

void RKExiv2ImageReader::noteOutOfMemory()
{
    m_isUnreadable = true;
    m_error = RKMediaError(RKMediaErrorCode::OutOfMemory);
}

void RKExiv2ImageReader::noteError(const Exiv2::Error& error)
{
    if (m_error.isError())
        return;
    if (isSystemError(error))
        m_error = RKMediaError(RKMediaErrorCode::Unreadable);
    else if (RKExiv2Compat::isUnknownImageType(error))
        m_error = RKMediaError(RKMediaErrorCode::UnknownFormat);
    else
        m_error = RKMediaError(RKMediaErrorCode::Damaged,
            RKErrorText::tr("The file is damaged, or its metadata can't be read."));
}

void RKExiv2ImageReader::read(
    const RKExiv2ImagePtr& image, const std::function<Source()>& openSource)
{
    if (!image || !isReadable(*image)) {
        m_error = RKMediaError(RKMediaErrorCode::UnknownFormat);
        return;
    }
    if (isExcessiveSidecar(*image)) {
        m_error = RKMediaError(RKMediaErrorCode::TooLarge,
            RKErrorText::tr("The XMP metadata have too many namespaces or properties."));
        qWarning() << "XMP has too many namespaces or properties to be read";
        return;
    }
    try {
        RKExiv2Library::readMetadata(*image);
    } catch (const Exiv2::Error& error) {
        const bool isBadLength = RKExiv2Compat::isWebp(*image)
            && RKExiv2Compat::hasCode(error, Exiv2::ErrorCode::kerCorruptedMetadata);
        if (!isBadLength && !RKExiv2Compat::hasCode(error, Exiv2::ErrorCode::kerInvalidIccProfile))
            throw;
        if (!readRepaired(*image, openSource()))
            throw;
        RKExiv2Library::describeError(QStringLiteral("RKExiv2ImageReader::read"), error);
        return;
    }
    takeFrom(image);
}

bool RKExiv2ImageReader::readRepaired(const Exiv2::Image& image, const Source& source)
{
    QByteArray profile;
    QByteArray copy;
    if (RKExiv2Compat::isBmff(image)) {
        QByteArray file;
        if (source->size() <= kMaxBoxes)
            source->read(0, source->size(), &file);
        const RKHeifProfile boxes(file);
        profile = boxes.profile();
        copy = boxes.fileWithoutProfile();
    } else if (RKImageFileParts parts(source); parts.isValid()) {
        profile = parts.iccProfile();
        if (parts.setIccProfile({}))
            copy = parts.skeleton();
    }
    if (copy.isEmpty())
        return false;
    const RKExiv2ImagePtr other = RKExiv2Compat::openMemory(copy);
    RKExiv2Library::readMetadata(*other);
    takeFrom(other);
    if (m_target.icc.isEmpty())
        m_target.icc = RKExiv2IccData(usablePart(profile));
    return true;
}

void RKExiv2ImageReader::takeFrom(const RKExiv2ImagePtr& image)
{
    m_target.size = sizeOf(*image);
    // Bitmaps whose rows are stored from the bottom up have a negative height.
    if (m_target.size.height() < 0 && m_target.size.width() >= 1)
        m_target.size.setHeight(-qMax(m_target.size.height(), -std::numeric_limits<int>::max()));
    // The image ends here. Copies of the Exif data would take as long as exiv2's parser.
    m_target.exif
        = RKExiv2ExifData(std::move(image->exifData()), RKExiv2Compat::isTiffBased(*image));
    m_target.iptc = RKExiv2IptcData(image);
    m_target.xmp = RKExiv2XmpData(image);
    m_target.icc = RKExiv2IccData(image, m_target.exif);
    m_isTurnedByContainer = RKExiv2Compat::isBmff(*image);
    m_isPhotoshop = RKExiv2Compat::isPhotoshop(*image);
}

/// Adds what exiv2 does not know.
void RKExiv2ImageReader::complete(QIODevice* file)
{
    useOrientationOfContainer(file);
    correctWeirdImageSizes(file);
    readPhotoshopProfile(file);
}

/// The rotation of an image in boxes is the container's, and the decoder applies it: the size is
/// that of the turned picture, and an orientation in the metadata would turn it again (ISO/IEC
/// 23008-12, 6.5.10 and annex A).
void RKExiv2ImageReader::useOrientationOfContainer(QIODevice* file)
{
    if (!m_isTurnedByContainer)
        return;
    m_target.exif.removeKey("Exif.Image.Orientation");
    m_target.xmp.removeKey("Xmp.tiff.Orientation");

    QImageReader reader(file);
    if (!reader.canRead() || !reader.size().isValid())
        return;
    const bool isTransposed
        = reader.transformation().testFlag(QImageIOHandler::TransformationRotate90);
    m_target.size = isTransposed ? reader.size().transposed() : reader.size();
}

void RKExiv2ImageReader::correctWeirdImageSizes(QIODevice* file)
{
    const bool isTooLarge
        = std::max(m_target.size.width(), m_target.size.height()) > kMaxCredibleSide;
    // exiv2 stops at the first segment of a JPEG that it cannot read, which may come before the
    // size.
    const bool isMissing = m_target.size == QSize(0, 0);
    if ((!isTooLarge && !isMissing) || !RKPictureHeaderCheck::hasFewSegments(*file))
        return;
    QImageReader reader(file);
    if (reader.canRead() && reader.size().isValid() && (isTooLarge || reader.format() == "jpeg"))
        m_target.size = reader.size();
}

void RKExiv2ImageReader::readPhotoshopProfile(QIODevice* file)
{
    if (m_isPhotoshop && m_target.icc.isEmpty())
        m_target.icc
            = RKExiv2IccData(RKImageFileParts(std::make_shared<RKDeviceSource>(file)).iccProfile());
}
