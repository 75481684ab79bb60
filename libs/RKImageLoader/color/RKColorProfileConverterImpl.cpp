#include "RKImageLoader/color/RKColorProfileConverterImpl_p.h"
#include "RKImageLoader/metadata/RKMetaData.h"

#include <QDebug>
#include <QFile>
#include <QFileInfo>
#include <QMutexLocker>

#include <IccCmm.h>
#include <IccIO.h>
#include <IccProfile.h>

#include <limits>

namespace {

/// Whether an RGB profile says how its values become colours. Not all engines check it.
bool hasCurvesOrTables(const CIccProfile& profile)
{
    if (profile.m_Header.colorSpace != icSigRgbData)
        return true;
    return profile.IsTagPresent(icSigAToB0Tag) || profile.IsTagPresent(icSigDToB0Tag)
        || (profile.IsTagPresent(icSigRedTRCTag) && profile.IsTagPresent(icSigGreenTRCTag)
            && profile.IsTagPresent(icSigBlueTRCTag));
}

bool addProfile(CIccCmm* cmm, std::unique_ptr<CIccProfile> profile)
{
    if (!profile || !hasCurvesOrTables(*profile)
        || cmm->AddXform(
               profile.get(), icPerceptual, icInterpLinear, icXformLutColor, true, nullptr)
            != icCmmStatOk)
        return false;
    // It is the engine's now.
    static_cast<void>(profile.release());
    return true;
}

// Kept: grey is missing. Pictures are converted from three channels, a grey profile says nothing
// about these.
bool isSourceSpace(icColorSpaceSignature space)
{
    return space == icSigXYZData || space == icSigRgbData || space == icSigCmykData
        || space == icSigLabData;
}

bool isDestinationSpace(icColorSpaceSignature space)
{
    return space == icSigXYZData || space == icSigLabData || space == icSigRgbData;
}

RKColorProfileConverterLookupTableKey keyOf(const CIccProfile& profile)
{
    const icProfileID& id = profile.m_Header.profileID;
    return RKColorProfileConverterLookupTableKey({id.ID32[0], id.ID32[1], id.ID32[2], id.ID32[3]});
}

} // namespace

QMutex RKColorProfileConverterImpl::s_mutex;

RKColorProfileConverterImpl::RKColorProfileConverterImpl() = default;

RKColorProfileConverterImpl::~RKColorProfileConverterImpl() = default;

QImage RKColorProfileConverterImpl::convert(
    const QImage& image, const RKMetaData& metaData, bool* ok)
{
    const QMutexLocker locker(&s_mutex);
    const Prepared* prepared = prepare(metaData);
    if (ok)
        *ok = prepared != nullptr;
    if (!prepared)
        return image;
    CIccCmm* cmm = prepared->cmm.get();
    const RKColorProfileConverterLookupTable table = m_cache.findLookupTable(prepared->key, cmm);
    const QImage result = table.convertImage(prepareSource(image), cmm);
    m_cache.updateLookupTable(prepared->key, table);
    return result;
}

void RKColorProfileConverterImpl::resetCache()
{
    const QMutexLocker locker(&s_mutex);
    m_cache.reset();
    m_prepared.cmm.reset();
}

QImage RKColorProfileConverterImpl::prepareSource(const QImage& image) const
{
    switch (image.format()) {
    case QImage::Format_RGB32:
    case QImage::Format_ARGB32:
    case QImage::Format_ARGB32_Premultiplied: return image;
    default:
        return image.convertToFormat(
            image.hasAlphaChannel() ? QImage::Format_ARGB32 : QImage::Format_RGB32);
    }
}

const RKColorProfileConverterImpl::Prepared* RKColorProfileConverterImpl::prepare(
    const RKMetaData& metaData)
{
    // Another thread may change the original between the questions.
    const RKMetaData asked = metaData;
    const QByteArray embedded = asked.iccData();
    if (embedded.isEmpty() && !asked.isAdobeRGB())
        return nullptr;
    if (m_prepared.cmm && m_prepared.embedded == embedded)
        return &m_prepared;

    std::unique_ptr<CIccProfile> source = createSourceProfile(asked);
    if (!source)
        return nullptr;
    const RKColorProfileConverterLookupTableKey key = keyOf(*source);
    auto cmm = std::make_unique<CIccCmm>(icSigUnknownData, icSigUnknownData, true);
    if (!initCmm(cmm.get(), std::move(source)))
        return nullptr;
    m_prepared = {embedded, key, std::move(cmm)};
    return &m_prepared;
}

std::unique_ptr<CIccProfile> RKColorProfileConverterImpl::createSourceProfile(
    const RKMetaData& metaData) const
{
    const QByteArray embedded = metaData.iccData();
    if (!embedded.isEmpty())
        return readProfileFromByteArray(embedded);
    if (!metaData.isAdobeRGB())
        return nullptr;
    return adobeRGBProfile();
}

bool RKColorProfileConverterImpl::initCmm(CIccCmm* cmm, std::unique_ptr<CIccProfile> source) const
{
    return addProfile(cmm, std::move(source)) && addProfile(cmm, sRGBProfile())
        && cmm->Begin(true) == icCmmStatOk && cmm->Valid() && isSourceSpace(cmm->GetSourceSpace())
        && isDestinationSpace(cmm->GetDestSpace());
}

std::unique_ptr<CIccProfile> RKColorProfileConverterImpl::sRGBProfile() const
{
    return copyOf(&m_sRGBProfile, QStringLiteral(":sRGB_Color_Space_Profile.icc"));
}

std::unique_ptr<CIccProfile> RKColorProfileConverterImpl::adobeRGBProfile() const
{
    return copyOf(&m_adobeRGBProfile, QStringLiteral(":compatibleWithAdobeRGB1998.icc"));
}

std::unique_ptr<CIccProfile> RKColorProfileConverterImpl::copyOf(
    std::unique_ptr<CIccProfile>* kept, const QString& resource) const
{
    const QString path = QFileInfo(resource).absoluteFilePath();
    if (!*kept)
        *kept = readProfileFromFile(path);
    if (!*kept) {
        qWarning().noquote() << QStringLiteral("could not load file: ") + path;
        return nullptr;
    }
    return std::make_unique<CIccProfile>(**kept);
}

std::unique_ptr<CIccProfile> RKColorProfileConverterImpl::readProfileFromFile(
    const QString& path) const
{
    QFile file(path);
    if (!file.exists()) {
        qWarning().noquote() << QStringLiteral(" file %1 does not exist").arg(path);
        return nullptr;
    }
    if (!file.open(QIODevice::ReadOnly)) {
        qWarning().noquote() << QStringLiteral(" Unable to open file %1").arg(path);
        return nullptr;
    }
    const QByteArray bytes = file.readAll();
    if (bytes.isEmpty()) {
        qWarning().noquote() << QStringLiteral(
            " Unable to readAll() from file %1. QByteArray is nullptr. fileSize=%2")
                                    .arg(path, QString::number(file.size()));
        return nullptr;
    }
    return readProfileFromByteArray(bytes);
}

std::unique_ptr<CIccProfile> RKColorProfileConverterImpl::readProfileFromByteArray(
    const QByteArray& bytes) const
{
    if (bytes.isEmpty() || bytes.size() > std::numeric_limits<icUInt32Number>::max())
        return nullptr;
    // The engine asks for bytes that it may write to, and only reads them.
    auto* data
        = const_cast<icUInt8Number*>(reinterpret_cast<const icUInt8Number*>(bytes.constData()));
    CIccMemIO io;
    auto profile = std::make_unique<CIccProfile>();
    if (!io.Attach(data, icUInt32Number(bytes.size())) || !profile->Read(&io))
        return nullptr;
    CalcProfileID(&io, &profile->m_Header.profileID);
    io.Close();
    return profile;
}
