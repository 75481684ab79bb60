#pragma once

#include "RKImageLoader/media/RKCancellation.h"

#include <QByteArray>

#include <sys/stat.h>

#include <system_error>

/// An open file of the system, closed with the object. Calls that a signal interrupts are repeated,
/// and short reads and writes are continued.
class RKFileDescriptor
{
    Q_DISABLE_COPY(RKFileDescriptor)

public:
    enum class Lock
    {
        Taken,
        /// Another descriptor has it, of this process or another.
        Busy,
        /// The file system has no advisory locks.
        Unsupported
    };

    RKFileDescriptor() = default;
    RKFileDescriptor(RKFileDescriptor&& other) noexcept;
    RKFileDescriptor& operator=(RKFileDescriptor&& other) noexcept;
    ~RKFileDescriptor();

    /// Takes the bytes of a path, which need not be in the system's encoding. Closes what was open
    /// before. Programs that the process starts don't inherit the file.
    std::error_code open(const QByteArray& path, int flags, mode_t mode = 0);
    void close();

    bool isOpen() const;
    int get() const;
    std::error_code status(struct stat* status) const;

    /// Takes the file's exclusive lock without waiting; it ends with close().
    Lock lock();

    /// Reads all of a range; one that is not wholly inside the file is an error. operation_canceled
    /// if it was.
    std::error_code read(
        qint64 offset, char* bytes, qint64 size, const RKCancellation& cancellation = {}) const;
    std::error_code write(qint64 offset, const char* bytes, qint64 size) const;
    /// Copies a range of another file, with a small buffer, or by sharing blocks of the disk.
    std::error_code copy(
        const RKFileDescriptor& source, qint64 sourceOffset, qint64 offset, qint64 size) const;
    /// Makes room for a file that is going to grow, without making it larger.
    std::error_code reserve(qint64 size) const;
    std::error_code resize(qint64 size) const;
    /// Makes the content durable.
    std::error_code flush() const;

private:
    std::error_code copyWithBuffer(
        const RKFileDescriptor& source, qint64 sourceOffset, qint64 offset, qint64 size) const;

    int m_descriptor = -1;
    bool m_isLocked = false;
};
