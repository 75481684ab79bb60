#include "RKImageLoader/decoders/RKStoppableBuffer_p.h"

#include <QBuffer>

#include <algorithm>
#include <cstring>

std::unique_ptr<QIODevice> RKStoppableBuffer::open(
    const QByteArray& bytes, const RKCancellation& cancellation)
{
    if (cancellation.isPossible()) {
        std::unique_ptr<QIODevice> device(new RKStoppableBuffer(bytes, cancellation));
        // A second buffer would cost a copy.
        device->open(QIODevice::ReadOnly | QIODevice::Unbuffered);
        return device;
    }
    auto buffer = std::make_unique<QBuffer>();
    buffer->setData(bytes);
    buffer->open(QIODevice::ReadOnly);
    return buffer;
}

RKStoppableBuffer::RKStoppableBuffer(const QByteArray& bytes, const RKCancellation& cancellation)
    : m_bytes(bytes)
    , m_cancellation(cancellation)
{
}

qint64 RKStoppableBuffer::size() const
{
    return m_cancellation.isCancelled() ? 0 : m_bytes.size();
}

qint64 RKStoppableBuffer::readData(char* target, qint64 count)
{
    if (m_cancellation.isCancelled())
        return -1;
    const qint64 most = std::clamp<qint64>(m_bytes.size() - pos(), 0, count);
    if (most > 0)
        std::memcpy(target, m_bytes.constData() + pos(), size_t(most));
    return most;
}

qint64 RKStoppableBuffer::writeData(const char*, qint64)
{
    return -1;
}
