#pragma once

#include <QFileDevice>
#include <QIODevice>

/// Opens a device that is closed, and closes it again in the end. An open one stays as it is.
class RKDeviceOpener
{
public:
    RKDeviceOpener(QIODevice* device, QIODevice::OpenMode mode)
        : m_device(device)
        , m_mode(mode)
    {
        // Opening an open file would fail.
        m_hasOpened = !device->isOpen() && device->open(mode);
    }

    ~RKDeviceOpener()
    {
        if (m_hasOpened)
            m_device->close();
    }

    RKDeviceOpener(const RKDeviceOpener&) = delete;
    RKDeviceOpener& operator=(const RKDeviceOpener&) = delete;

    /// The device can be used in the mode that was asked for.
    bool isOpen() const
    {
        return m_device->openMode() & m_mode;
    }

    /// All that was written has got through. Files keep it in a buffer, so a full disk shows late.
    bool isFlushed() const
    {
        auto* const file = qobject_cast<QFileDevice*>(m_device);
        return !file || (file->flush() && file->error() == QFileDevice::NoError);
    }

private:
    QIODevice* m_device;
    QIODevice::OpenMode m_mode;
    bool m_hasOpened;
};
