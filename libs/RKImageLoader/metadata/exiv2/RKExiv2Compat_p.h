#pragma once

// The only file that includes exiv2; it evens out the differences between exiv2 0.27 and 0.28.

#include <QByteArray>
#include <QString>

// exiv2 0.27 declares its interface with the deprecated std::auto_ptr.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
#include <exiv2/exiv2.hpp>
#pragma GCC diagnostic pop

#include <memory>
#include <string>

using RKExiv2ImagePtr = std::unique_ptr<Exiv2::Image>;

namespace RKExiv2Compat {

/// The number of an error; the same error has different numbers in 0.27 and 0.28, so that numbers
/// are for messages only.
inline int errorNumber(const Exiv2::Error& error)
{
    return static_cast<int>(error.code());
}

inline bool hasCode(const Exiv2::Error& error, Exiv2::ErrorCode code)
{
    return errorNumber(error) == static_cast<int>(code);
}

/// The file, or the memory, holds no image type that exiv2 knows.
inline bool isUnknownImageType(const Exiv2::Error& error)
{
    return hasCode(error, Exiv2::ErrorCode::kerFileContainsUnknownImageType)
        || hasCode(error, Exiv2::ErrorCode::kerMemoryContainsUnknownImageType);
}

/// A file that remembers errors, which exiv2 often takes for the end of the file.
class ObservedFile final : public Exiv2::FileIo
{
public:
    /// Sets the flag when it is closed; the flag has to outlive it.
    ObservedFile(const std::string& path, bool* hasReadError)
        : FileIo(path)
        , m_hasReadError(hasReadError)
    {
    }

    ~ObservedFile() override
    {
        ObservedFile::close();
    }

    /// exiv2 takes a file that cannot be opened a second time for one of an unknown type.
    int open() override
    {
        const int result = FileIo::open();
        *m_hasReadError = *m_hasReadError || (m_hasBeenOpen && result != 0);
        m_hasBeenOpen = m_hasBeenOpen || result == 0;
        return result;
    }

    int close() override
    {
        if (isopen() && error() != 0)
            *m_hasReadError = true;
        return FileIo::close();
    }

private:
    bool* const m_hasReadError;
    bool m_hasBeenOpen = false;
};

/// Opens an image; null for an unknown image type, throws for one that cannot be opened.
inline RKExiv2ImagePtr open(std::unique_ptr<Exiv2::BasicIo> io)
{
#if EXIV2_TEST_VERSION(0, 28, 0)
    return Exiv2::ImageFactory::open(std::move(io));
#else
    // clang also warns where the deprecated name is used.
#    pragma GCC diagnostic push
#    pragma GCC diagnostic ignored "-Wdeprecated-declarations"
    return RKExiv2ImagePtr(
        Exiv2::ImageFactory::open(Exiv2::BasicIo::AutoPtr(io.release())).release());
#    pragma GCC diagnostic pop
#endif
}

/// Opens a file; null for an unknown image type, throws for one that cannot be opened.
///
/// Never ImageFactory::open(path): it takes "-" for the standard input and "http://" for a request.
inline RKExiv2ImagePtr openFile(const std::string& path)
{
    return open(std::make_unique<Exiv2::FileIo>(path));
}

/// The same; sets the flag, which has to outlive the image, when reading fails.
inline RKExiv2ImagePtr openFile(const std::string& path, bool* hasReadError)
{
    return open(std::make_unique<ObservedFile>(path, hasReadError));
}

/// Opens an image in memory; throws for an unknown image type. The bytes are not copied and have to
/// outlive the image; writing a TIFF-based image changes them in place.
inline RKExiv2ImagePtr openMemory(const QByteArray& data)
{
    return RKExiv2ImagePtr(Exiv2::ImageFactory::open(
        reinterpret_cast<const Exiv2::byte*>(data.constData()), data.size())
                               .release());
}

/// TIFF and the raw formats that exiv2 reads as TIFF.
inline bool isTiffFamily(const Exiv2::Image& image)
{
    return image.imageType() == Exiv2::ImageType::tiff;
}

/// HEIC, AVIF, CR3 and JPEG XL: boxes after ISO/IEC 14496-12.
inline bool isBmff([[maybe_unused]] const Exiv2::Image& image)
{
#if EXIV2_TEST_VERSION(0, 28, 0) || defined(EXV_ENABLE_BMFF)
    return image.imageType() == Exiv2::ImageType::bmff;
#else
    return false;
#endif
}

/// QuickTime, RIFF, ASF and Matroska.
///
/// Doesn't use Image::mimeType(): called before the metadata is read, it makes a TIFF-based image
/// take its first directory for its main picture from then on.
inline bool isVideo(const Exiv2::Image& image)
{
#if EXIV2_TEST_VERSION(0, 28, 0)
    using namespace Exiv2;
    constexpr auto kAsf = ImageType::asf;
    constexpr auto kMkv = ImageType::mkv;
    constexpr auto kQtime = ImageType::qtime;
    constexpr auto kRiff = ImageType::riff;
#else
    // The headers that define them do not compile outside exiv2.
    constexpr int kAsf = 24;
    constexpr int kMkv = 21;
    constexpr int kQtime = 22;
    constexpr int kRiff = 20;
#endif
    const auto type = image.imageType();
    return type == kAsf || type == kMkv || type == kQtime || type == kRiff;
}

/// The formats whose directories describe the pictures of the file itself.
inline bool isTiffBased(const Exiv2::Image& image)
{
    return isTiffFamily(image) || image.imageType() == Exiv2::ImageType::cr2
        || image.imageType() == Exiv2::ImageType::orf || image.imageType() == Exiv2::ImageType::rw2;
}

/// A file of its own with the XMP of another one.
inline bool isSidecar(const Exiv2::Image& image)
{
    return image.imageType() == Exiv2::ImageType::xmp;
}

/// The type of an image by its first bytes.
inline auto typeOf(const QByteArray& data)
{
    return Exiv2::ImageFactory::getType(
        reinterpret_cast<const Exiv2::byte*>(data.constData()), data.size());
}

inline bool isSidecar(const QByteArray& data)
{
    return typeOf(data) == Exiv2::ImageType::xmp;
}

inline bool isPhotoshop(const Exiv2::Image& image)
{
    return image.imageType() == Exiv2::ImageType::psd;
}

inline bool isWebp(const Exiv2::Image& image)
{
#if EXIV2_TEST_VERSION(0, 28, 0)
    return image.imageType() == Exiv2::ImageType::webp;
#else
    // Its header doesn't compile outside exiv2 either.
    constexpr int kWebp = 23;
    return image.imageType() == kWebp;
#endif
}

inline bool isCrw(const Exiv2::Image& image)
{
    return image.imageType() == Exiv2::ImageType::crw;
}

/// The formats that keep XMP in one APP1 segment.
inline bool isJpegFamily(const Exiv2::Image& image)
{
    return image.imageType() == Exiv2::ImageType::jpeg
        || image.imageType() == Exiv2::ImageType::exv;
}

/// An empty value of a type.
inline std::unique_ptr<Exiv2::Value> makeValue(Exiv2::TypeId type)
{
    return std::unique_ptr<Exiv2::Value>(Exiv2::Value::create(type).release());
}

/// The number of components of a datum or a value.
template <typename T>
qsizetype count(const T& valueOrDatum)
{
    return static_cast<qsizetype>(valueOrDatum.count());
}

/// The size of a datum or a value in bytes.
template <typename T>
qsizetype size(const T& valueOrDatum)
{
    return static_cast<qsizetype>(valueOrDatum.size());
}

/// A component of a datum or a value as an integer. Ask count() first: a missing component may
/// throw std::out_of_range.
template <typename T>
qint64 toInt64(const T& valueOrDatum, qsizetype component = 0)
{
#if EXIV2_TEST_VERSION(0, 28, 0)
    return valueOrDatum.toInt64(static_cast<size_t>(component));
#else
    return valueOrDatum.toLong(static_cast<long>(component));
#endif
}

/// A component as text.
template <typename T>
std::string toString(const T& valueOrDatum, qsizetype component)
{
#if EXIV2_TEST_VERSION(0, 28, 0)
    return valueOrDatum.toString(static_cast<size_t>(component));
#else
    return valueOrDatum.toString(static_cast<long>(component));
#endif
}

inline QByteArray toByteArray(const Exiv2::DataBuf& buffer)
{
#if EXIV2_TEST_VERSION(0, 28, 0)
    return QByteArray(
        reinterpret_cast<const char*>(buffer.c_data()), static_cast<qsizetype>(buffer.size()));
#else
    return QByteArray(
        reinterpret_cast<const char*>(buffer.pData_), static_cast<qsizetype>(buffer.size_));
#endif
}

/// The next bytes of an opened file, fewer at its end. Asks the system nothing else, unlike
/// BasicIo::read(long), which looks at the size of the file every time.
inline QByteArray read(Exiv2::BasicIo& io, qsizetype size)
{
    QByteArray bytes(size, Qt::Uninitialized);
    bytes.resize(static_cast<qsizetype>(
        io.read(reinterpret_cast<Exiv2::byte*>(bytes.data()), static_cast<long>(size))));
    return bytes;
}

inline Exiv2::DataBuf toDataBuf(const QByteArray& bytes)
{
    return Exiv2::DataBuf(reinterpret_cast<const Exiv2::byte*>(bytes.constData()), bytes.size());
}

inline Exiv2::WriteMethod encodeExif(
    Exiv2::Blob& blob, const QByteArray& old, Exiv2::ByteOrder order, const Exiv2::ExifData& data)
{
    // From 0.28 on data that may be changed are asked for; they are not.
    Exiv2::ExifData copy = data;
    return Exiv2::ExifParser::encode(blob,
        old.isEmpty() ? nullptr : reinterpret_cast<const Exiv2::byte*>(old.constData()),
        static_cast<uint32_t>(old.size()),
        order,
        copy);
}

inline QByteArray iccProfile(Exiv2::Image& image)
{
#if EXIV2_TEST_VERSION(0, 28, 0)
    return toByteArray(image.iccProfile());
#else
    return toByteArray(*image.iccProfile());
#endif
}

/// Throws for bytes that are not a profile.
inline void setIccProfile(Exiv2::Image& image, const QByteArray& profile)
{
    Exiv2::DataBuf buffer = toDataBuf(profile);
#if EXIV2_TEST_VERSION(0, 28, 0)
    image.setIccProfile(std::move(buffer));
#else
    image.setIccProfile(buffer);
#endif
}

/// Has the image write the packet as it is, instead of its XMP data.
inline void setXmpPacket(Exiv2::Image& image, const std::string& packet)
{
    image.xmpPacket() = packet;
    image.xmpData().setPacket(packet);
    image.writeXmpFromPacket(true);
}

/// The key of a datum.
inline QString keyText(const Exiv2::Metadatum& datum)
{
    return QString::fromStdString(datum.key());
}

} // namespace RKExiv2Compat
