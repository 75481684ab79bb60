#include "RKImageLoader/files/RKCTime.h"
#include "RKImageLoader/files/RKFileSnapshot_p.h"
#include "RKImageLoader/files/RKSafeFileWriter_p.h"
#include "RKImageLoader/metadata/exiv2/RKExiv2Library_p.h"
#include "RKImageLoader/metadata/saving/RKImageFileUpdate_p.h"
#include "RKImageLoader/metadata/saving/RKMetaDataSaver_p.h"

#include <QBuffer>
#include <QCoreApplication>
#include <QDebug>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QMutex>
#include <QMutexLocker>
#include <QWriteLocker>

#include <algorithm>
#include <array>

namespace {

using RKExiv2Compat::errorNumber;

// How often a file is read that another program changes in the meantime.
constexpr int kMaxAttempts = 3;

/// A mutex for the saves to one file, so that no two mix; shared with some other files.
QMutex* savingMutex(const QString& path)
{
    static std::array<QMutex, 31> mutexes;
    const QString canonical = QFileInfo(path).canonicalFilePath();
    return &mutexes[qHash(canonical.isEmpty() ? path : canonical) % mutexes.size()];
}

/// The bytes of a file of a type that exiv2 knows.
QByteArray readImageFile(const QString& path, const RKFileSnapshot& file)
{
    const std::string nativePath = path.toStdString();
    if (!file.isOpen()) {
        throw Exiv2::Error(Exiv2::ErrorCode::kerDataSourceOpenFailed,
            nativePath,
            file.errorString().toStdString());
    }
    if (!RKExiv2Compat::openFile(nativePath))
        throw Exiv2::Error(Exiv2::ErrorCode::kerFileContainsUnknownImageType, nativePath);
    QByteArray bytes;
    if (!file.readAll(&bytes))
        throw Exiv2::Error(Exiv2::ErrorCode::kerInputDataReadFailed, nativePath);
    return bytes;
}

QByteArray contentOf(const Exiv2::Image& image)
{
    Exiv2::BasicIo& io = image.io();
    io.open();
    io.seek(0, Exiv2::BasicIo::beg);
    const auto size = static_cast<long>(io.size());
    const QByteArray content = RKExiv2Compat::toByteArray(io.read(size));
    io.close();
    return content;
}

bool canEncode(const Exiv2::XmpData& data)
{
    std::string packet;
    return RKExiv2Library::valueOr(
        false, [&] { return Exiv2::XmpParser::encode(packet, data) == 0; });
}

/// exiv2 writes an image whose XMP cannot be encoded as if nothing were wrong, and keeps the old
/// packet: this throws instead.
void makeSureXmpCanBeEncoded(const Exiv2::Image& image)
{
    const bool writesXmp
        = (image.checkMode(Exiv2::mdXmp) & Exiv2::amWrite) != 0 && !image.writeXmpFromPacket();
    if (!writesXmp || image.xmpData().empty() || canEncode(image.xmpData()))
        return;
    // The file may use prefixes of its own that only its packet declares.
    Exiv2::XmpData scratch;
    Exiv2::XmpParser::decode(scratch, image.xmpPacket());
    if (!canEncode(image.xmpData()))
        throw Exiv2::Error(Exiv2::ErrorCode::kerErrorMessage, "Failed to encode XMP metadata");
}

/// exiv2 can write one of the families into images of that type.
bool isWritable(const Exiv2::Image& image)
{
    constexpr std::array kFamilies = {Exiv2::mdExif, Exiv2::mdIptc, Exiv2::mdXmp};
    return std::any_of(kFamilies.begin(), kFamilies.end(), [&image](Exiv2::MetadataId family) {
        return (image.checkMode(family) & Exiv2::amWrite) != 0;
    });
}

QSize sizeOf(const Exiv2::Image& image)
{
    return QSize(static_cast<int>(image.pixelWidth()), static_cast<int>(image.pixelHeight()));
}

/// False where the file is no longer the one that was read; throws where it cannot be written.
bool replaceFile(const QString& path, const RKFileSnapshot& source, const QByteArray& content)
{
    const RKCTime created(path);
    RKSafeFileWriter writer(path);
    const RKSafeFileWriter::Result result = writer.replace(source, {{content}});
    created.writeTo(path);

    const std::string nativePath = path.toStdString();
    const std::string reason = writer.errorString().toStdString();
    switch (result) {
    case RKSafeFileWriter::Result::Done: return true;
    case RKSafeFileWriter::Result::Changed: return false;
    case RKSafeFileWriter::Result::NotWritable:
        throw Exiv2::Error(Exiv2::ErrorCode::kerFileOpenFailed, nativePath, "r+b", reason);
    case RKSafeFileWriter::Result::Failed: break;
    }
    throw Exiv2::Error(Exiv2::ErrorCode::kerTransferFailed, nativePath, reason);
}

QString describe(const QString& what, const Exiv2::Error& error)
{
    return what + QStringLiteral(" with errorCode=") + QString::number(errorNumber(error))
        + QStringLiteral(" msg=") + QString::fromUtf8(error.what());
}

QString ofImage(const QString& path)
{
    return QStringLiteral(" image=") + path;
}

void warn(const QString& text)
{
    qWarning().noquote() << text;
}

} // namespace

RKMetaDataSaver::RKMetaDataSaver(const Held& held)
    : m_held(held)
{
}

/// Merges the held data into an opened image in memory and sets the target's content to the new
/// file. False where nothing was written.
bool RKMetaDataSaver::writeIntoImage(RKExiv2ImagePtr& image, Target* target) const
{
    if (!image)
        return false;
    const QMutexLocker tiffLocker(
        RKExiv2Compat::isTiffFamily(*image) ? RKExiv2Library::tiffMutex() : nullptr);
    const QWriteLocker xmpLocker(RKExiv2Library::xmpLock());
    image->readMetadata();
    target->size = sizeOf(*image);
    const RKImageFamilies before = RKImageFamilies::of(*image);
    if (!mergeTo(image))
        return false;

    try {
        if (RKExiv2Compat::isSidecar(*image))
            before.addChangesToXmp(*image);
        m_held.xmp.editPacketOf(*image);
        RKExiv2Library::refreshNamespaces();
        makeSureXmpCanBeEncoded(*image);
        if (RKExiv2Compat::isSidecar(*image) && image->writeXmpFromPacket()) {
            if (image->xmpData().empty())
                throw Exiv2::Error(Exiv2::ErrorCode::kerInvalidXMP);
            target->content = QByteArray::fromStdString(image->xmpPacket());
            return true;
        }
        RKImageFileUpdate update(target->content, before, RKImageFamilies::of(*image));
        // exiv2 writes no packet as it is into this format, but none.
        if (RKExiv2Compat::isPhotoshop(*image))
            image->writeXmpFromPacket(false);
        update.setIccProfile(m_held.icc.asByteArray());
        if (RKExiv2Compat::isTiffBased(*image)) {
            if (const auto edited = update.editedTiff()) {
                target->content = *edited;
                return true;
            }
        }
        image->writeMetadata();
        const auto updated = update.updated(contentOf(*image));
        if (!updated)
            throw Exiv2::Error(Exiv2::ErrorCode::kerImageWriteFailed);
        target->content = *updated;
    } catch (const Exiv2::Error& error) {
        warn(describe(QStringLiteral("Caught exception"), error) + ofImage(target->name));
        cleanUpExivError(target->name);
        return false;
    } catch (...) {
        // Kept: true. The content has to pass the checks of what was written.
        warn(QStringLiteral("Caught unknown exception") + ofImage(target->name));
    }
    return true;
}

bool RKMetaDataSaver::mergeTo(RKExiv2ImagePtr& image) const
{
    const auto merge = [&](const auto& family) {
        return m_held.scope == Scope::Changes ? family.mergeChangesTo(image)
                                              : family.mergeTo(image);
    };
    const bool takesExif = merge(m_held.exif);
    const bool takesIptc = merge(m_held.iptc);
    const bool takesXmp = merge(m_held.xmp);
    if (!m_held.icc.isEmpty())
        RKExiv2Compat::setIccProfile(*image, m_held.icc.asByteArray());
    return takesExif || takesIptc || takesXmp;
}

/// Removes what older versions of exiv2 leave behind when they cannot write a file.
void RKMetaDataSaver::cleanUpExivError(const QString& path) const
{
    // A buffer has no path; a file named like one must not be touched.
    if (QFileInfo(path).isRelative())
        return;
    const QString temporary = path + QString::number(QCoreApplication::applicationPid());
    if (QFile::exists(temporary))
        QFile::remove(temporary);
}

/// Merges the held data into the target's content. False where the format takes none of them;
/// throws where the result is not the same picture.
bool RKMetaDataSaver::writeInto(Target* target) const
{
    // A copy that is not shared: writing changes the bytes of TIFF-based images in place.
    const QByteArray twin(target->content.constData(), target->content.size());
    RKExiv2ImagePtr image = RKExiv2Compat::openMemory(twin);
    if (!isWritable(*image) || !writeIntoImage(image, target))
        return false;

    constexpr auto kFailed = Exiv2::ErrorCode::kerImageWriteFailed;
    if (target->content.isEmpty())
        throw Exiv2::Error(kFailed);
    const RKExiv2ImagePtr written = RKExiv2Compat::openMemory(target->content);
    RKExiv2Library::readMetadata(*written);
    if (written->imageType() != image->imageType() || sizeOf(*written) != target->size)
        throw Exiv2::Error(kFailed);
    // exiv2 has no place for most data in this format, and says nothing.
    if (RKExiv2Compat::isCrw(*image) && !RKImageFamilies::of(*written).hasSameExif(*image))
        throw Exiv2::Error(kFailed);
    return true;
}

bool RKMetaDataSaver::save(const QFileInfo& file) const
{
    const QString path = QDir::toNativeSeparators(file.absoluteFilePath());
    const QMutexLocker savingLocker(savingMutex(path));
    try {
        for (int attempt = 0; attempt < kMaxAttempts; ++attempt) {
            const RKFileSnapshot source(path, RKFileSnapshot::Use::Replace);
            Target target{path, readImageFile(path, source), {}};
            if (!writeInto(&target))
                return false;
            if (replaceFile(path, source, target.content))
                return true;
        }
        throw Exiv2::Error(Exiv2::ErrorCode::kerTransferFailed,
            path.toStdString(),
            "another program keeps changing the file");
    } catch (const Exiv2::Error& error) {
        warn(describe(QStringLiteral("caught exception"), error) + ofImage(path));
        // Kept: an image type that exiv2 does not know counts as saved.
        return RKExiv2Compat::hasCode(error, Exiv2::ErrorCode::kerMemoryContainsUnknownImageType);
    } catch (const std::exception& error) {
        warn(QStringLiteral("caught exception with msg=") + QString::fromUtf8(error.what())
            + ofImage(path));
    } catch (...) {
        warn(QStringLiteral("caught unknown exception") + ofImage(path));
    }
    return false;
}

bool RKMetaDataSaver::save(QBuffer* buffer) const
{
    if (!buffer)
        return false;
    try {
        Target target{QStringLiteral("QBuffer"), buffer->data(), {}};
        const bool isWritten = writeInto(&target);
        // An open buffer ignores new data.
        buffer->close();
        if (isWritten)
            buffer->setData(target.content);
        return isWritten;
    } catch (const Exiv2::Error& error) {
        warn(describe(QStringLiteral("caught exception"), error));
        // Kept: see above.
        return RKExiv2Compat::hasCode(error, Exiv2::ErrorCode::kerMemoryContainsUnknownImageType);
    } catch (const std::exception& error) {
        warn(QStringLiteral("caught exception with msg=") + QString::fromUtf8(error.what()));
    } catch (...) {
        warn(QStringLiteral("caught unknown exception"));
    }
    return false;
}
