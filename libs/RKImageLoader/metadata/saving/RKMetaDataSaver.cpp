#include "RKImageLoader/files/RKCTime.h"
#include "RKImageLoader/files/RKFileSnapshot_p.h"
#include "RKImageLoader/files/RKSafeFileWriter_p.h"
#include "RKImageLoader/files/RKTiffTags_p.h"
#include "RKImageLoader/media/RKErrorText_p.h"
#include "RKImageLoader/media/RKFileReason_p.h"
#include "RKImageLoader/media/RKLogCategories_p.h"
#include "RKImageLoader/metadata/RKMetaDataField.h"
#include "RKImageLoader/metadata/exiv2/RKExiv2Library_p.h"
#include "RKImageLoader/metadata/exiv2/RKExiv2XmpPackets_p.h"
#include "RKImageLoader/metadata/saving/RKMetaDataSaver_p.h"
#include "RKImageLoader/metadata/saving/RKSaveProof_p.h"
#include "RKImageLoader/xmp/RKXmpLimits_p.h"
#include "RKImageLoader/xmp/RKXmpPacketParser_p.h"

#include <QBuffer>
#include <QDebug>
#include <QDir>
#include <QFileInfo>
#include <QMutex>
#include <QMutexLocker>
#include <QWriteLocker>

#include <algorithm>
#include <array>
#include <map>
#include <new>
#include <set>
#include <utility>

namespace {

using RKExiv2Compat::errorNumber;

/// A mutex for the saves to one file, so that no two mix; shared with some other files.
QMutex* savingMutex(const QString& path)
{
    static std::array<QMutex, 31> mutexes;
    const QString canonical = QFileInfo(path).canonicalFilePath();
    return &mutexes[qHash(canonical.isEmpty() ? path : canonical) % mutexes.size()];
}

/// Enough bytes for exiv2 to recognise the type of an image.
constexpr qint64 kHeadSize = 4096;

/// The XMP packet as the file has it, which is all that a sidecar consists of.
std::string packetIn(const RKImageContent& content)
{
    if (content.parts())
        return content.parts()->xmpPacket().toStdString();
    if (RKExiv2Compat::isSidecar(content.readable()))
        return content.readable().toStdString();
    const auto tag = RKTiffEditor(content.bytes()).tag(RKTiffTag::kXmp);
    return tag ? tag->value.toStdString() : std::string();
}

/// exiv2 can write one of the families into images of that type.
bool isWritable(const Exiv2::Image& image)
{
    constexpr std::array kFamilies = {Exiv2::mdExif, Exiv2::mdIptc, Exiv2::mdXmp};
    return std::any_of(kFamilies.begin(), kFamilies.end(), [&image](Exiv2::MetadataId family) {
        return (image.checkMode(family) & Exiv2::amWrite) != 0;
    });
}

/// One of the keys is the counterpart of an XMP property: both are set together.
bool isAlsoIn(const std::set<std::string>& keys, const std::string& property)
{
    static const std::multimap<std::string, std::string> counterparts = [] {
        std::multimap<std::string, std::string> pairs{{"Xmp.xmp.Rating", "Exif.Image.Rating"},
            {"Xmp.MicrosoftPhoto.Rating", "Exif.Image.Rating"},
            {"Xmp.tiff.Orientation", "Exif.Image.Orientation"}};
        constexpr qint64 kMaxField = qint64(RKMetaDataFieldEnum::gpsLongitudeInDegreesEast);
        for (qint64 field = 1; field <= kMaxField; field *= 2) {
            const QStringList all = RKMetaDataField(RKMetaDataFieldEnum(field)).exiv2Keys();
            for (const QString& own : all) {
                for (const QString& other : all)
                    pairs.emplace(own.toStdString(), other.toStdString());
            }
        }
        return pairs;
    }();
    const auto [first, last] = counterparts.equal_range(property);
    return std::any_of(
        first, last, [&keys](const auto& pair) { return keys.count(pair.second) != 0; });
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
    qCWarning(rkMetadata).noquote() << text;
}

void warnOfLoss(const QString& target, const QString& loss)
{
    warn(QStringLiteral("the metadata of %1 are not saved: %2").arg(target, loss));
}

RKMediaError noPlace()
{
    return RKMediaError(RKMediaErrorCode::UnsupportedForWriting,
        RKErrorText::tr("This format has no place for the metadata."));
}

RKMediaError wouldLose(const QString& loss)
{
    return RKMediaError(RKMediaErrorCode::WouldLose,
        RKErrorText::tr("Saving would lose some of the file's metadata: %1.").arg(loss));
}

QString noPlaceText()
{
    return QStringLiteral("the format has no place for the change");
}

/// What exiv2 throws besides what has a reason of its own.
RKMediaError reasonOf(const std::exception* error)
{
    if (dynamic_cast<const std::bad_alloc*>(error))
        return RKMediaError(RKMediaErrorCode::OutOfMemory);
    return RKMediaError(RKMediaErrorCode::Damaged,
        RKErrorText::tr("The file is damaged, or its metadata can't be read."));
}

/// The reason stays that is known already.
void complete(RKMediaError& error, const std::exception* thrown)
{
    if (!error.isError())
        error = reasonOf(thrown);
}

/// A sidecar takes Exif and IPTC data as XMP. False if it has no place for any of their changes.
bool turnIntoXmp(Exiv2::Image& sidecar, const RKImageFamilies& before)
{
    const RKImageFamilies merged = RKImageFamilies::of(sidecar);
    before.addChangesToXmp(sidecar);
    sidecar.exifData() = before.exif;
    sidecar.iptcData() = before.iptc;
    return RKFamilyChanges(before, merged).isEmpty()
        || !RKFamilyChanges(before, RKImageFamilies::of(sidecar)).isEmpty();
}

/// Throws for bytes that are not a profile.
void setProfile(const QByteArray& profile,
    const RKImageContent& old,
    Exiv2::Image& image,
    RKImageFileUpdate::Wanted& wanted)
{
    RKExiv2Compat::setIccProfile(image, profile);
    if (!old.parts()) {
        Exiv2::DataValue value(Exiv2::undefined);
        value.read(reinterpret_cast<const Exiv2::byte*>(profile.constData()),
            static_cast<long>(profile.size()));
        image.exifData()["Exif.Image.InterColorProfile"].setValue(&value);
    } else if (old.parts()->iccProfile() != profile) {
        wanted.iccProfile = profile;
    }
}

} // namespace

RKMetaDataSaver::RKMetaDataSaver(const Held& held)
    : m_held(held)
{
}

/// Merges the held data into the image and returns what its file is to have; nullopt if it can take
/// none of them.
std::optional<RKImageFileUpdate::Wanted> RKMetaDataSaver::merged(
    RKExiv2ImagePtr& image, const RKImageFamilies& before, const RKImageContent& old) const
{
    const auto merge = [&](const auto& family) {
        return m_held.scope == Scope::Changes ? family.mergeChangesTo(image)
                                              : family.mergeTo(image);
    };
    const bool takesExif = merge(m_held.exif);
    const bool takesIptc = merge(m_held.iptc);
    const bool takesXmp = merge(m_held.xmp);
    // A change that the format has no place for must not count as saved.
    const bool takesChange = (takesExif && m_held.exif.hasChanges())
        || (takesIptc && m_held.iptc.hasChanges()) || (takesXmp && m_held.xmp.hasChanges());
    const bool hasChange
        = m_held.exif.hasChanges() || m_held.iptc.hasChanges() || m_held.xmp.hasChanges();
    if ((!takesExif && !takesIptc && !takesXmp) || (hasChange && !takesChange))
        return {};
    const QByteArray profile = m_held.icc.asByteArray();
    if (RKExiv2Compat::isSidecar(*image)
        && (!turnIntoXmp(*image, before) || !profile.isEmpty()
            || !m_held.exif.newThumbnail().isEmpty()))
        return {};

    RKImageFileUpdate::Wanted wanted;
    if (!profile.isEmpty())
        setProfile(profile, old, *image, wanted);
    wanted.families = RKImageFamilies::of(*image);
    // XMP that cannot be decoded takes none either.
    if (image->writeXmpFromPacket()) {
        std::set<std::string> taken;
        if (takesExif)
            taken.insert(m_held.exif.changedKeys().begin(), m_held.exif.changedKeys().end());
        if (takesIptc)
            taken.insert(m_held.iptc.changedKeys().begin(), m_held.iptc.changedKeys().end());
        const auto& properties = m_held.xmp.changedKeys();
        if (!std::all_of(properties.begin(), properties.end(), [&taken](const auto& property) {
                return isAlsoIn(taken, property);
            }))
            return {};
    }
    // A page in the place of the thumbnail stays.
    if (const QByteArray thumbnail = m_held.exif.newThumbnail();
        !thumbnail.isEmpty() && wanted.families.thumbnail() != thumbnail)
        return {};
    wanted.size = QSize(image->pixelWidth(), image->pixelHeight());
    return wanted;
}

/// Updates the content of an image. Refused without a warning if it can take none of the data.
RKMetaDataSaver::Result RKMetaDataSaver::update(
    const QString& target, RKImageContent* content, RKMediaError& error) const
{
    const Result result = updateRead(target, content, error);
    if (result != Result::NeedsPixels)
        return result;
    // Anew from the beginning, so that exiv2 encodes what it has read of the whole file.
    content->readPixels();
    if (!content->isRead()) {
        error = RKMediaError(RKMediaErrorCode::Unreadable);
        throw Exiv2::Error(Exiv2::ErrorCode::kerInputDataReadFailed, target.toStdString());
    }
    return updateRead(target, content, error);
}

RKMetaDataSaver::Result RKMetaDataSaver::updateRead(
    const QString& target, RKImageContent* content, RKMediaError& error) const
{
    RKExiv2ImagePtr image = RKExiv2Compat::openMemory(content->readable());
    if (!isWritable(*image)) {
        error = noPlace();
        return Result::Refused;
    }
    const std::string oldPacket = packetIn(*content);
    if (RKXmpLimits::areExceededBy(RKXmpPacketParser::inUtf8(oldPacket))) {
        const auto loss = QStringLiteral("its XMP has too many namespaces, properties or elements");
        warnOfLoss(target, loss);
        error = wouldLose(loss);
        return Result::Refused;
    }
    const QMutexLocker tiffLocker(
        RKExiv2Compat::isTiffFamily(*image) ? RKExiv2Library::tiffMutex() : nullptr);
    const QWriteLocker xmpLocker(RKExiv2Library::xmpLock());
    RKExiv2Library::readMetadata(*image);
    // exiv2 keeps the packet of other formats only.
    if (RKExiv2Compat::isTiffBased(*image) && !oldPacket.empty())
        image->xmpPacket() = oldPacket;
    // Keys that get other prefixes by merging are no changes. A sidecar takes changes of the other
    // families, too, under its final keys.
    if (RKExiv2Compat::isSidecar(*image)
        || RKExiv2XmpPackets::hasForeignKeys(image->xmpData(),
            RKXmpPacketParser::ownNamespaces(RKXmpPacketParser::inUtf8(oldPacket))))
        m_held.xmp.prepareTarget(*image);
    const RKImageFamilies before = RKImageFamilies::of(*image);
    auto wanted = merged(image, before, *content);
    if (!wanted) {
        warnOfLoss(target, noPlaceText());
        error = noPlace();
        return Result::Refused;
    }

    const RKImageFileUpdate update(*content, before, *wanted);
    if (update.changes().isEmpty() && wanted->iccProfile.isEmpty())
        return Result::Unchanged;
    if (!update.changes().xmpProperties().empty()) {
        const auto packet = m_held.xmp.editedPacketOf(*image);
        RKExiv2Library::refreshNamespaces();
        if (!packet) {
            const auto loss = QStringLiteral("its XMP cannot be changed without loss");
            warnOfLoss(target, loss);
            error = wouldLose(loss);
            return Result::Refused;
        }
        wanted->xmpPacket = *packet;
    }

    // Its metadata are in `wanted`, and the proof reads others.
    image.reset();
    const RKSaveProof proof(*content, *wanted, update.changes());
    QStringList losses;
    for (const auto way :
        {&RKImageFileUpdate::edited, &RKImageFileUpdate::appended, &RKImageFileUpdate::encoded})
    {
        const auto updated = (update.*way)();
        if (!updated)
            continue;
        const QString loss = proof.loss(*updated);
        if (loss.isEmpty()) {
            const RKImageContent old = std::exchange(*content, *updated);
            // The last step: the proof compares maker notes byte by byte.
            content->adjustPreviews(old);
            return Result::Changed;
        }
        losses.append(loss);
    }
    if (!content->bytes().holes().empty())
        return Result::NeedsPixels;
    const QString loss = losses.join(QStringLiteral("; "));
    warnOfLoss(target, loss.isEmpty() ? noPlaceText() : loss);
    error = loss.isEmpty() ? noPlace() : wouldLose(loss);
    return Result::Refused;
}

RKMetaDataSaver::Saved RKMetaDataSaver::replace(const QString& path, RKMediaError& error) const
{
    const std::string nativePath = path.toStdString();
    const auto source = std::make_shared<RKFileSnapshot>(path, RKFileSnapshot::Use::Replace);
    if (!source->isOpen()) {
        error = RKFileReason::ofReading(source->error(), path);
        throw Exiv2::Error(Exiv2::ErrorCode::kerDataSourceOpenFailed,
            nativePath,
            source->errorString().toStdString());
    }
    QByteArray head;
    source->read(0, qMin(source->size(), kHeadSize), &head);
    if (!source->hasReadError() && RKExiv2Compat::typeOf(head) == Exiv2::ImageType::none) {
        error = noPlace();
        throw Exiv2::Error(Exiv2::ErrorCode::kerFileContainsUnknownImageType, nativePath);
    }

    RKImageContent content(source);
    if (!content.isRead()) {
        error = RKFileReason::ofReading(source->error(), path);
        throw Exiv2::Error(Exiv2::ErrorCode::kerInputDataReadFailed, nativePath);
    }
    switch (update(path, &content, error)) {
    case Result::Unchanged: return Saved::Yes;
    case Result::Refused:
    case Result::NeedsPixels: return Saved::No;
    case Result::Changed: break;
    }

    const RKCTime created(path);
    RKSafeFileWriter writer(path);
    const RKSafeFileWriter::Result result = writer.replace(*source, content.pieces());
    created.writeTo(path);
    if (result != RKSafeFileWriter::Result::Done)
        error = RKFileReason::ofWriting(writer.error(), path);
    const std::string reason = writer.errorString().toStdString();
    switch (result) {
    case RKSafeFileWriter::Result::Done: return Saved::Yes;
    case RKSafeFileWriter::Result::Changed: return Saved::TryAgain;
    case RKSafeFileWriter::Result::NotWritable:
        throw Exiv2::Error(Exiv2::ErrorCode::kerFileOpenFailed, nativePath, "r+b", reason);
    case RKSafeFileWriter::Result::Failed: break;
    }
    throw Exiv2::Error(Exiv2::ErrorCode::kerTransferFailed, nativePath, reason);
}

bool RKMetaDataSaver::save(const QFileInfo& file, RKMediaError& error) const
{
    constexpr int kMaxTries = 3;
    const QString path = QDir::toNativeSeparators(file.absoluteFilePath());
    const QMutexLocker savingLocker(savingMutex(path));
    try {
        Saved saved = Saved::TryAgain;
        for (int tries = 0; tries < kMaxTries && saved == Saved::TryAgain; ++tries)
            saved = replace(path, error);
        if (saved == Saved::TryAgain)
            warnOfLoss(path, QStringLiteral("others keep changing it"));
        if (saved == Saved::Yes)
            error = {};
        return saved == Saved::Yes;
    } catch (const Exiv2::Error& thrown) {
        warn(describe(QStringLiteral("caught exception"), thrown) + ofImage(path));
        // Kept: an image type that exiv2 does not know counts as saved. See
        // RKExiv2WrapperSaveTest::formatsWithoutMetadataAreLeftAlone.
        if (RKExiv2Compat::hasCode(thrown, Exiv2::ErrorCode::kerMemoryContainsUnknownImageType)) {
            error = {};
            return true;
        }
        complete(error, &thrown);
    } catch (const std::exception& thrown) {
        warn(QStringLiteral("caught exception with msg=") + QString::fromUtf8(thrown.what())
            + ofImage(path));
        complete(error, &thrown);
    } catch (...) {
        warn(QStringLiteral("caught unknown exception") + ofImage(path));
        complete(error, nullptr);
    }
    return false;
}

bool RKMetaDataSaver::save(QBuffer* buffer, RKMediaError& error) const
{
    if (!buffer) {
        error = RKMediaError(RKMediaErrorCode::NotWritable);
        return false;
    }
    const QByteArray old = buffer->data();
    // An open buffer ignores new data.
    buffer->close();
    try {
        if (RKExiv2Compat::typeOf(old) == Exiv2::ImageType::none)
            throw Exiv2::Error(Exiv2::ErrorCode::kerMemoryContainsUnknownImageType);
        RKImageContent content(std::make_shared<RKMemorySource>(old));
        const Result result = update(QStringLiteral("QBuffer"), &content, error);
        if (result == Result::Changed)
            buffer->setData(content.file());
        return result != Result::Refused;
    } catch (const Exiv2::Error& thrown) {
        warn(describe(QStringLiteral("caught exception"), thrown));
        // Kept: as in save() of a file. See
        // RKExiv2WrapperSaveTest::formatsWithoutMetadataAreLeftAlone.
        if (RKExiv2Compat::hasCode(thrown, Exiv2::ErrorCode::kerMemoryContainsUnknownImageType))
            return true;
        complete(error, &thrown);
    } catch (const std::exception& thrown) {
        warn(QStringLiteral("caught exception with msg=") + QString::fromUtf8(thrown.what()));
        complete(error, &thrown);
    } catch (...) {
        warn(QStringLiteral("caught unknown exception"));
        complete(error, nullptr);
    }
    return false;
}
