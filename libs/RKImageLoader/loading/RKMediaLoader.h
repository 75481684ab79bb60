#pragma once

#include "RKImageLoader/RKImageLoaderExport.h"
#include "RKImageLoader/loading/RKMediaLoaderAbstract.h"

#include "RKCore/RKSingleton.h"

#include <QList>
#include <QStringList>

/// Opens, measures and saves media of every kind, by handing each request to the first loader that
/// supports the format. Thread-safe.
class RKIMAGELOADER_EXPORT RKMediaLoader
    : public RKMediaLoaderAbstract
    , public RKSingleton<RKMediaLoader>
{
public:
    using RKMediaLoaderAbstract::drawable;
    using RKMediaLoaderAbstract::size;
    using RKMediaLoaderAbstract::unrotatedSize;

    RKMediaLoader();

    /// The filters of a file dialog for all supported formats, each also in its ".icloud" form.
    QStringList supportedFormatFileExtensionFilters() const;

    RKMediaFormatList writableMediaFormats() const override;
    RKMediaFormatList supportedMediaFormats() const override;
    bool supportsMediaFormat(const RKMediaFormat& format) const override;

    RKDrawable drawable(const RKMediaDescriptor& descriptor,
        const QSize& wanted,
        const RKImageOption& option) const override;
    RKDrawable drawable(const RKMediaDescriptor& descriptor,
        const QSize& wanted,
        const RKImageOption& option,
        RKLoadContext& context) const override;
    /// With no option set.
    RKDrawable drawable(const RKMediaDescriptor& descriptor, const QSize& wanted) const;
    RKImageOrientation imageOrientation(const RKMediaDescriptor& descriptor) const override;
    QSize size(const RKMediaDescriptor& descriptor) const override;
    QSize size(const RKMediaDescriptor& descriptor, RKLoadContext& context) const override;
    QSize unrotatedSize(const RKMediaDescriptor& descriptor) const override;
    QSize unrotatedSize(const RKMediaDescriptor& descriptor, RKLoadContext& context) const override;
    QDateTime recordingDate(const RKMediaDescriptor& descriptor) const override;

    /// Whether save() takes pictures of this format. Ask before saving without an RKMediaError*,
    /// which may end the process for other formats.
    bool canSave(const RKMediaFormat& format) const;
    bool save(
        QBuffer* buffer, const RKMediaFormat& format, const RKDrawable& drawable) const override;
    bool save(const RKMediaDescriptor& descriptor, const RKDrawable& drawable) const override;
    bool save(QBuffer* buffer,
        const RKMediaFormat& format,
        const RKDrawable& drawable,
        const RKMetaData& metaData) const override;
    bool save(const RKMediaDescriptor& descriptor,
        const RKDrawable& drawable,
        const RKMetaData& metaData) const override;
    bool save(const RKMediaDescriptor& descriptor, const RKMetaData& metaData) const override;
    bool save(QBuffer* buffer,
        const RKMediaFormat& format,
        const RKDrawable& drawable,
        RKMediaError* error) const override;
    bool save(const RKMediaDescriptor& descriptor,
        const RKDrawable& drawable,
        RKMediaError* error) const override;
    bool save(QBuffer* buffer,
        const RKMediaFormat& format,
        const RKDrawable& drawable,
        const RKMetaData& metaData,
        RKMediaError* error) const override;
    bool save(const RKMediaDescriptor& descriptor,
        const RKDrawable& drawable,
        const RKMetaData& metaData,
        RKMediaError* error) const override;
    bool save(const RKMediaDescriptor& descriptor,
        const RKMetaData& metaData,
        RKMediaError* error) const override;
    void invalidateMetaData(const RKMediaDescriptor& descriptor) const override;

private:
    /// Null when no loader supports the format.
    const RKMediaLoaderAbstract* loaderFor(const RKMediaFormat& format) const;
    /// Notes why when there is none.
    const RKMediaLoaderAbstract* loaderFor(
        const RKMediaDescriptor& descriptor, RKLoadContext& context) const;

    // In the order in which they are asked; not owned. Never changed after construction.
    QList<const RKMediaLoaderAbstract*> m_loaders;
};
