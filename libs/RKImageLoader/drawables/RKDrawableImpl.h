#pragma once

#include "RKImageLoader/RKImageLoaderExport.h"
#include "RKImageLoader/drawables/RKDrawableInterface.h"

#include <QSharedData>

#include <memory>

/// The payload that copies of a drawable share: the content and the placeholder mark.
/// Reentrant.
class RKIMAGELOADER_EXPORT RKDrawableImpl : public QSharedData
{
public:
    /// Takes ownership of the content; a null pointer gives a null bitmap.
    explicit RKDrawableImpl(RKDrawableInterface* content);
    /// Clones the content.
    RKDrawableImpl(const RKDrawableImpl& other);
    virtual ~RKDrawableImpl();

    RKDrawableImpl& operator=(const RKDrawableImpl&) = delete;

    /// True for the very same content object with the same mark.
    virtual bool operator==(const RKDrawableImpl& other) const;

    /// The content, owned by this object; never missing.
    /// @{
    const RKDrawableInterface& content() const;
    RKDrawableInterface& content();
    /// @}

    /// See RKDrawable::isPlaceholder().
    /// @{
    bool isPlaceholder() const;
    void setIsPlaceholder(bool on);
    /// @}

private:
    std::unique_ptr<RKDrawableInterface> m_content;
    bool m_isPlaceholder = false;
};
