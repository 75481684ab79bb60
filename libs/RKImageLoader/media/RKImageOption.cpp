#include "RKImageLoader/media/RKImageOption.h"

RKImageOption::RKImageOption(quint8 flags)
    : m_flags(flags)
{
}

bool RKImageOption::testFlag(Flag flag) const
{
    return (m_flags & flag) != 0;
}

void RKImageOption::setFlag(Flag flag, bool on)
{
    m_flags = quint8(on ? m_flags | flag : m_flags & ~flag);
}

quint8 RKImageOption::flags() const
{
    return m_flags;
}
