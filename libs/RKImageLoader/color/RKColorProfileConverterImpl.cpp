#include "RKImageLoader/color/RKColorProfileConverterImpl_p.h"
#include "RKImageLoader/color/RKMatrixTransform_p.h"
#include "RKImageLoader/color/RKRowConversion_p.h"
#include "RKImageLoader/media/RKLogCategories_p.h"
#include "RKImageLoader/metadata/RKMetaData.h"

#include <QDebug>
#include <QFile>
#include <QFileInfo>
#include <QMutexLocker>

#include <IccCmm.h>
#include <IccIO.h>
#include <IccProfile.h>

#include <algorithm>
#include <limits>

namespace {

/// A profile with large tables keeps some megabytes.
constexpr size_t kMaxPrepared = 8;

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

RKColorProfileConverterImpl::RKColorProfileConverterImpl()
{
    // Resources register themselves in shared libraries only.
    Q_INIT_RESOURCE(color_profiles);
}

RKColorProfileConverterImpl::~RKColorProfileConverterImpl() = default;

QImage RKColorProfileConverterImpl::convert(
    QImage image, const RKMetaData& metaData, bool* ok, const RKCancellation& cancellation)
{
    const SharedPrepared prepared = prepare(metaData);
    if (ok)
        *ok = prepared != nullptr;
    if (!prepared)
        return image;
    if (prepared->matrix) {
        return RKRowConversion::converted(
            prepareSource(std::move(image)),
            [matrix = prepared->matrix.get()](const QRgb* source, QRgb* target, int pixels) {
                matrix->convert(source, target, pixels);
            },
            cancellation);
    }
    CIccCmm* const cmm = prepared->cmm.get();
    return m_cache.findLookupTable(prepared->key, cmm)
        .convertImage(prepareSource(std::move(image)), cmm, cancellation);
}

void RKColorProfileConverterImpl::resetCache()
{
    m_cache.reset();
    const QMutexLocker locker(&m_mutex);
    m_prepared.clear();
}

QImage RKColorProfileConverterImpl::prepareSource(QImage image) const
{
    switch (image.format()) {
    case QImage::Format_RGB32:
    case QImage::Format_ARGB32:
    case QImage::Format_ARGB32_Premultiplied: return image;
    default:
        return std::move(image).convertToFormat(
            image.hasAlphaChannel() ? QImage::Format_ARGB32 : QImage::Format_RGB32);
    }
}

RKColorProfileConverterImpl::SharedPrepared RKColorProfileConverterImpl::prepare(
    const RKMetaData& metaData)
{
    // Another thread may change the original between the questions.
    const RKMetaData asked = metaData;
    const QByteArray embedded = asked.iccData();
    if (embedded.isEmpty() && !asked.isAdobeRGB())
        return nullptr;
    SharedPrepared prepared = findPrepared(embedded);
    if (!prepared) {
        // Two threads with the same new profile prepare it twice; neither has to wait.
        prepared = makePrepared(asked);
        if (prepared)
            keepPrepared(prepared);
    }
    return prepared;
}

RKColorProfileConverterImpl::SharedPrepared RKColorProfileConverterImpl::makePrepared(
    const RKMetaData& metaData) const
{
    std::unique_ptr<CIccProfile> source = createSourceProfile(metaData);
    if (!source)
        return nullptr;
    const CIccProfile copy = *source;
    auto cmm = std::make_unique<CIccCmm>(icSigUnknownData, icSigUnknownData, true);
    if (!initCmm(cmm.get(), std::move(source)))
        return nullptr;
    auto matrix = RKMatrixTransform::make(copy, *sRGBProfile(), *cmm);
    return std::make_shared<const Prepared>(
        Prepared{metaData.iccData(), keyOf(copy), std::move(cmm), std::move(matrix)});
}

RKColorProfileConverterImpl::SharedPrepared RKColorProfileConverterImpl::findPrepared(
    const QByteArray& embedded)
{
    const QMutexLocker locker(&m_mutex);
    const auto found = std::find_if(m_prepared.begin(),
        m_prepared.end(),
        [&](const SharedPrepared& prepared) { return prepared->embedded == embedded; });
    if (found == m_prepared.end())
        return nullptr;
    m_prepared.splice(m_prepared.begin(), m_prepared, found);
    return *found;
}

void RKColorProfileConverterImpl::keepPrepared(const SharedPrepared& prepared)
{
    const QMutexLocker locker(&m_mutex);
    m_prepared.push_front(prepared);
    if (m_prepared.size() > kMaxPrepared)
        m_prepared.pop_back();
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
    const QMutexLocker locker(&m_mutex);
    if (!*kept)
        *kept = readProfileFromFile(path);
    if (!*kept) {
        qCWarning(rkColor).noquote() << QStringLiteral("could not load file: ") + path;
        return nullptr;
    }
    return std::make_unique<CIccProfile>(**kept);
}

std::unique_ptr<CIccProfile> RKColorProfileConverterImpl::readProfileFromFile(
    const QString& path) const
{
    QFile file(path);
    if (!file.exists()) {
        qCWarning(rkColor).noquote() << QStringLiteral(" file %1 does not exist").arg(path);
        return nullptr;
    }
    if (!file.open(QIODevice::ReadOnly)) {
        qCWarning(rkColor).noquote() << QStringLiteral(" Unable to open file %1").arg(path);
        return nullptr;
    }
    const QByteArray bytes = file.readAll();
    if (bytes.isEmpty()) {
        qCWarning(rkColor).noquote() << QStringLiteral(
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
