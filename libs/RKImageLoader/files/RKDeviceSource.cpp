#include "RKImageLoader/files/RKDeviceSource_p.h"

#include <QIODevice>

RKDeviceSource::RKDeviceSource(QIODevice* device)
    : m_device(device)
{
    if (!m_device->isOpen())
        m_device->open(QIODevice::ReadOnly);
}

qint64 RKDeviceSource::size() const
{
    return m_device->isOpen() && !m_device->isSequential() ? m_device->size() : 0;
}

bool RKDeviceSource::read(qint64 offset, qint64 size, QByteArray* bytes) const
{
    bytes->clear();
    const bool isInside
        = offset >= 0 && size >= 0 && offset <= this->size() && size <= this->size() - offset;
    if (!isInside || !m_device->seek(offset))
        return false;
    *bytes = m_device->read(size);
    if (bytes->size() == size)
        return true;
    bytes->clear();
    return false;
}
