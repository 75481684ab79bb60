#pragma once

#include <QIODevice>

/// Opens a device for as long as it lives, where the device isn't open already: opening twice
/// fails, and a device that the caller has opened stays open.
class RKDeviceOpener
{
public:
    RKDeviceOpener(QIODevice* device, QIODevice::OpenMode mode)
        : m_device(device)
        , m_wasOpen(device->isOpen())
        , m_isReady(m_wasOpen || device->open(mode))
    {
    }

    ~RKDeviceOpener()
    {
        if (m_isReady && !m_wasOpen)
            m_device->close();
    }

    RKDeviceOpener(const RKDeviceOpener&) = delete;
    RKDeviceOpener& operator=(const RKDeviceOpener&) = delete;

    bool isReady() const
    {
        return m_isReady;
    }

private:
    QIODevice* m_device;
    bool m_wasOpen;
    bool m_isReady;
};
