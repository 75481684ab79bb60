#include "RKImageLoaderAsync/RKLoadResult.h"

RKLoadResult::RKLoadResult(const RKMediaDescriptor& descriptor,
    const QSize& wanted,
    const RKImageOption& option,
    const RKDrawable& drawable,
    const RKMediaError& error)
    : m_drawable(drawable)
    , m_error(error)
    , m_path(descriptor.absoluteFilePath())
    , m_frame(descriptor.frameIndex())
    , m_wanted(wanted)
    , m_option(option)
{
}

RKDrawable RKLoadResult::drawable() const
{
    return m_drawable;
}

RKMediaError RKLoadResult::error() const
{
    return m_error;
}

RKMediaDescriptor RKLoadResult::descriptor() const
{
    return {QFileInfo(m_path), m_frame};
}

QSize RKLoadResult::wantedSize() const
{
    return m_wanted;
}

RKImageOption RKLoadResult::option() const
{
    return m_option;
}
