#pragma once

#include "RKImageLoader/RKImageLoaderExport.h"
#include "RKImageLoader/color/RKColorProfileConverterLookupTableCache_p.h"

#include <QByteArray>
#include <QImage>
#include <QMutex>

#include <memory>

class CIccCmm;
class CIccProfile;
class RKMetaData;

/// See RKColorProfileConverter. convert() and resetCache() are thread-safe, the rest are their
/// steps.
class RKIMAGELOADER_TEST_EXPORT RKColorProfileConverterImpl
{
public:
    RKColorProfileConverterImpl();
    RKColorProfileConverterImpl(const RKColorProfileConverterImpl&) = delete;
    RKColorProfileConverterImpl& operator=(const RKColorProfileConverterImpl&) = delete;
    ~RKColorProfileConverterImpl();

    QImage convert(const QImage& image, const RKMetaData& metaData, bool* ok);
    void resetCache();

    /// The picture with 32 bits a pixel.
    QImage prepareSource(const QImage& image) const;
    /// The embedded profile, else that of the Adobe RGB marker; null where there is none.
    std::unique_ptr<CIccProfile> createSourceProfile(const RKMetaData& metaData) const;
    /// Sets up the conversion from the source, which may be null, to sRGB. The source is taken over
    /// on success only.
    bool initCmm(CIccCmm* cmm, std::unique_ptr<CIccProfile> source) const;

    /// Copies of the profiles in the resources. Null, with a warning, when they can't be read.
    std::unique_ptr<CIccProfile> sRGBProfile() const;
    std::unique_ptr<CIccProfile> adobeRGBProfile() const;

    std::unique_ptr<CIccProfile> readProfileFromFile(const QString& path) const;
    /// Null for bytes that are no usable profile, without a message.
    std::unique_ptr<CIccProfile> readProfileFromByteArray(const QByteArray& bytes) const;

private:
    /// A conversion that is ready, and the embedded profile that it is for: none for Adobe RGB.
    struct Prepared
    {
        QByteArray embedded;
        RKColorProfileConverterLookupTableKey key;
        std::unique_ptr<CIccCmm> cmm;
    };

    /// Null where the metadata have no usable profile.
    const Prepared* prepare(const RKMetaData& metaData);
    std::unique_ptr<CIccProfile> copyOf(
        std::unique_ptr<CIccProfile>* kept, const QString& resource) const;

    // Taken for every conversion and reset, in all objects of the class; the cache's own mutex is
    // locked under it.
    static QMutex s_mutex;

    mutable std::unique_ptr<CIccProfile> m_sRGBProfile;
    mutable std::unique_ptr<CIccProfile> m_adobeRGBProfile;
    RKColorProfileConverterLookupTableCache m_cache;
    // The last picture's; those that follow mostly have the same profile. Setting up a conversion
    // takes some milliseconds, more than a small picture does.
    Prepared m_prepared;
};
