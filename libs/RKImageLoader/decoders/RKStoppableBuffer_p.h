#pragma once

#include "RKImageLoader/media/RKCancellation.h"

#include <QByteArray>
#include <QIODevice>

#include <memory>

/// Bytes in memory for readers who know nothing of requests: they are gone as soon as the request
/// is cancelled. Reading fails from then on, and the size is 0.
class RKStoppableBuffer : public QIODevice
{
public:
    /// An open device, QBuffer for what can't be cancelled: some readers have a short cut for that.
    static std::unique_ptr<QIODevice> open(
        const QByteArray& bytes, const RKCancellation& cancellation);

    qint64 size() const override;

protected:
    qint64 readData(char* target, qint64 count) override;
    qint64 writeData(const char* source, qint64 count) override;

private:
    RKStoppableBuffer(const QByteArray& bytes, const RKCancellation& cancellation);

    const QByteArray m_bytes;
    const RKCancellation m_cancellation;
};
