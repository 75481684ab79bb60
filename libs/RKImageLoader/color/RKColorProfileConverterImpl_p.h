#pragma once

#include "RKImageLoader/color/RKColorProfileConverterLookupTableCache_p.h"

#include <QByteArray>
#include <QImage>
#include <QMutex>

#include <list>
#include <memory>

class CIccCmm;
class CIccProfile;
class RKMatrixTransform;
class RKMetaData;

/// See RKColorProfileConverter. convert() and resetCache() are thread-safe, the rest are their
/// steps.
class RKColorProfileConverterImpl
{
public:
    RKColorProfileConverterImpl();
    RKColorProfileConverterImpl(const RKColorProfileConverterImpl&) = delete;
    RKColorProfileConverterImpl& operator=(const RKColorProfileConverterImpl&) = delete;
    ~RKColorProfileConverterImpl();

    QImage convert(
        QImage image, const RKMetaData& metaData, bool* ok, const RKCancellation& cancellation);
    void resetCache();

    /// The picture with 32 bits a pixel.
    QImage prepareSource(QImage image) const;
    /// The embedded profile, else that of the Adobe RGB marker; null where there is none.
    std::unique_ptr<CIccProfile> createSourceProfile(const RKMetaData& metaData) const;
    /// Sets up the conversion from the source, which may be null, to sRGB. The source is taken over
    /// on success only.
    bool initCmm(CIccCmm* cmm, std::unique_ptr<CIccProfile> source) const;

    /// Copies of the profiles in the resources. Null, with a warning, when they can't be read.
    std::unique_ptr<CIccProfile> sRGBProfile() const;
    std::unique_ptr<CIccProfile> adobeRGBProfile() const;

    std::unique_ptr<CIccProfile> readProfileFromFile(const QString& path) const;
    /// Null for bytes that are not a usable profile, without a message.
    std::unique_ptr<CIccProfile> readProfileFromByteArray(const QByteArray& bytes) const;

private:
    /// A conversion that is ready, and the embedded profile that it is for: none for Adobe RGB.
    struct Prepared
    {
        QByteArray embedded;
        RKColorProfileConverterLookupTableKey key;
        std::unique_ptr<CIccCmm> cmm;
        /// Does what the others do, for the profiles that it can; null for the rest.
        std::unique_ptr<const RKMatrixTransform> matrix;
    };

    using SharedPrepared = std::shared_ptr<const Prepared>;

    /// Null if the metadata has no usable profile.
    SharedPrepared prepare(const RKMetaData& metaData);
    SharedPrepared makePrepared(const RKMetaData& metaData) const;
    SharedPrepared findPrepared(const QByteArray& embedded);
    void keepPrepared(const SharedPrepared& prepared);
    std::unique_ptr<CIccProfile> copyOf(
        std::unique_ptr<CIccProfile>* kept, const QString& resource) const;

    // Guards the members up to m_prepared. Nothing is converted or prepared under it, and no other
    // lock is taken.
    mutable QMutex m_mutex;
    mutable std::unique_ptr<CIccProfile> m_sRGBProfile;
    mutable std::unique_ptr<CIccProfile> m_adobeRGBProfile;
    // Those of the last pictures, the latest first; the next ones mostly have the same profiles.
    // Setting up a conversion takes some milliseconds, more than a small picture does.
    std::list<SharedPrepared> m_prepared;
    RKColorProfileConverterLookupTableCache m_cache;
};
