#include "RKImageLoader/drawables/RKDrawableImpl.h"

#include "RKImageLoader/drawables/RKDrawableInterfaceQImage.h"

RKDrawableImpl::RKDrawableImpl(RKDrawableInterface* content)
    : m_content(content)
{
    if (!m_content)
        m_content = std::make_unique<RKDrawableInterfaceQImage>();
}

RKDrawableImpl::RKDrawableImpl(const RKDrawableImpl& other)
    : QSharedData(other)
    , m_content(other.m_content->clone())
    , m_isPlaceholder(other.m_isPlaceholder)
{
}

RKDrawableImpl::~RKDrawableImpl() = default;

bool RKDrawableImpl::operator==(const RKDrawableImpl& other) const
{
    return m_content == other.m_content && m_isPlaceholder == other.m_isPlaceholder;
}

const RKDrawableInterface& RKDrawableImpl::content() const
{
    return *m_content;
}

RKDrawableInterface& RKDrawableImpl::content()
{
    return *m_content;
}

bool RKDrawableImpl::isPlaceholder() const
{
    return m_isPlaceholder;
}

void RKDrawableImpl::setIsPlaceholder(bool on)
{
    m_isPlaceholder = on;
}
