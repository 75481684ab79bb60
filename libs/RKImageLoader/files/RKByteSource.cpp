#include "RKImageLoader/files/RKByteSource_p.h"

RKByteSource::~RKByteSource() = default;

RKByteSource::Origin RKByteSource::origin(qint64 offset, qint64 size) const
{
    Q_UNUSED(size)
    return {this, offset};
}

RKMemorySource::RKMemorySource(const QByteArray& bytes)
    : m_bytes(bytes)
{
}

qint64 RKMemorySource::size() const
{
    return m_bytes.size();
}

bool RKMemorySource::read(qint64 offset, qint64 size, QByteArray* bytes) const
{
    const bool isInside
        = offset >= 0 && size >= 0 && offset <= m_bytes.size() && size <= m_bytes.size() - offset;
    *bytes = isInside ? m_bytes.mid(offset, size) : QByteArray();
    return isInside;
}
