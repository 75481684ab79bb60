#include "RKImageLoader/files/RKBinaryFile_p.h"
#include "RKImageLoader/files/RKByteReader_p.h"
#include "RKImageLoader/files/RKDeviceSource_p.h"
#include "RKImageLoader/files/RKImageFileParts_p.h"
#include "RKImageLoader/metadata/exiv2/RKExiv2ImageReader_p.h"
#include "RKImageLoader/metadata/exiv2/RKExiv2Library_p.h"

#include <QBuffer>
#include <QDebug>
#include <QFile>
#include <QFileInfo>
#include <QImageReader>
#include <QSet>

#include <algorithm>
#include <limits>

namespace {

// Larger sizes are often mistakes, and QImageReader is asked, too.
constexpr int kMaxCredibleSide = 20000;

/// The first bytes of an image.
QByteArray startOf(const Exiv2::Image& image, size_t atMost)
{
    Exiv2::BasicIo& io = image.io();
    io.open();
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
    if (!image.good() || RKExiv2Compat::isVideo(image))
        return false;
    return !RKExiv2Compat::isBmff(image) || hasPictureBrand(image);
}

QSize sizeOf(const Exiv2::Image& image)
{
    return QSize(static_cast<int>(image.pixelWidth()), static_cast<int>(image.pixelHeight()));
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
        return;
    }
    try {
        read(RKExiv2Compat::openFile(path.toStdString()));
    } catch (const Exiv2::Error& error) {
        RKExiv2Library::describeError(
            QStringLiteral("RKExiv2WrapperImpl::RKExiv2WrapperImpl(const QString &)"), error);
    } catch (...) {
        qWarning() << "No Exif Data in this file:" << path;
    }
    QFile file(path);
    complete(&file);
}

void RKExiv2ImageReader::read(const QByteArray& data)
{
    if (data.isEmpty())
        return;
    try {
        read(RKExiv2Compat::openMemory(data));
    } catch (const Exiv2::Error& error) {
        RKExiv2Library::describeError(
            QStringLiteral("RKExiv2WrapperImpl::RKExiv2WrapperImpl(const QByteArray &)"), error);
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

void RKExiv2ImageReader::read(const RKExiv2ImagePtr& image)
{
    if (!image || !isReadable(*image))
        return;
    RKExiv2Library::readMetadata(*image);
    m_target.size = sizeOf(*image);
    // Bitmaps whose rows are stored from the bottom up have a negative height.
    if (m_target.size.height() < 0 && m_target.size.width() >= 1)
        m_target.size.setHeight(-qMax(m_target.size.height(), -std::numeric_limits<int>::max()));
    m_target.exif = RKExiv2ExifData(image);
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
    if (!isTooLarge && !isMissing)
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
