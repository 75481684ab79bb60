#pragma once

#include "RKImageLoader/files/RKByteSource_p.h"

class QIODevice;

/// The bytes of a device that can seek. Opens it where it is closed; moves its position. The device
/// has to outlive it.
class RKDeviceSource final : public RKByteSource
{
public:
    explicit RKDeviceSource(QIODevice* device);

    qint64 size() const override;
    bool read(qint64 offset, qint64 size, QByteArray* bytes) const override;

private:
    QIODevice* const m_device;
};
