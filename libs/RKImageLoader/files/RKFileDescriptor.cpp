#include "RKImageLoader/files/RKFileDescriptor_p.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#ifdef Q_OS_LINUX
#    include <sys/vfs.h>
#endif

namespace {

constexpr qint64 kCopyBuffer = 256 * 1024;
// For file systems that share blocks between files.
constexpr qint64 kBlock = 4096;

template <typename Call>
auto uninterrupted(Call call)
{
    auto result = call();
    while (result == -1 && errno == EINTR)
        result = call();
    return result;
}

/// The error of a call of the system that returned that.
std::error_code errorOf(int result)
{
    return result == 0 ? std::error_code() : std::error_code(errno, std::generic_category());
}

/// Locks on a network's Windows share keep all other descriptors from reading.
bool hasAdvisoryLocks([[maybe_unused]] int descriptor)
{
#ifdef Q_OS_LINUX
    // statfs(2): CIFS, SMB and SMB2; flock(2), "CIFS details".
    constexpr quint32 kMandatory[] = {0xff534d42, 0x517b, 0xfe534d42};
    struct statfs system = {};
    if (::fstatfs(descriptor, &system) != 0)
        return true;
    return std::find(std::begin(kMandatory), std::end(kMandatory), quint32(system.f_type))
        == std::end(kMandatory);
#else
    return true;
#endif
}

/// Copies what the system can copy by itself; the number of bytes, or -1 for an error of the file.
qint64 copyInSystem([[maybe_unused]] int source,
    [[maybe_unused]] off_t from,
    [[maybe_unused]] int target,
    [[maybe_unused]] off_t to,
    [[maybe_unused]] qint64 size)
{
    qint64 copied = 0;
#ifdef Q_OS_LINUX
    while (copied < size) {
        const auto rest = static_cast<size_t>(size - copied);
        const ssize_t step
            = uninterrupted([&] { return ::copy_file_range(source, &from, target, &to, rest, 0); });
        // Some file systems report the end of the file where they can't copy.
        if (step == 0)
            break;
        if (step < 0)
            return errno == EIO || errno == ENOSPC || errno == EDQUOT || errno == EFBIG ? -1
                                                                                        : copied;
        copied += step;
    }
#endif
    return copied;
}

} // namespace

RKFileDescriptor::RKFileDescriptor(RKFileDescriptor&& other) noexcept
    : m_descriptor(std::exchange(other.m_descriptor, -1))
    , m_isLocked(std::exchange(other.m_isLocked, false))
{
}

RKFileDescriptor& RKFileDescriptor::operator=(RKFileDescriptor&& other) noexcept
{
    std::swap(m_descriptor, other.m_descriptor);
    std::swap(m_isLocked, other.m_isLocked);
    return *this;
}

RKFileDescriptor::~RKFileDescriptor()
{
    close();
}

std::error_code RKFileDescriptor::open(const QByteArray& path, int flags, mode_t mode)
{
    close();
    m_descriptor = uninterrupted([&] { return ::open(path.constData(), flags | O_CLOEXEC, mode); });
    return errorOf(isOpen() ? 0 : -1);
}

void RKFileDescriptor::close()
{
    if (!isOpen())
        return;
    // A child process that was forked and starts no program would keep the lock.
    if (m_isLocked)
        ::flock(m_descriptor, LOCK_UN);
    ::close(m_descriptor);
    m_descriptor = -1;
    m_isLocked = false;
}

bool RKFileDescriptor::isOpen() const
{
    return m_descriptor >= 0;
}

int RKFileDescriptor::get() const
{
    return m_descriptor;
}

std::error_code RKFileDescriptor::status(struct stat* status) const
{
    return errorOf(::fstat(m_descriptor, status));
}

RKFileDescriptor::Lock RKFileDescriptor::lock()
{
    if (!hasAdvisoryLocks(m_descriptor))
        return Lock::Unsupported;
    m_isLocked = uninterrupted([this] { return ::flock(m_descriptor, LOCK_EX | LOCK_NB); }) == 0;
    if (m_isLocked)
        return Lock::Taken;
    return errno == EWOULDBLOCK ? Lock::Busy : Lock::Unsupported;
}

std::error_code RKFileDescriptor::read(
    qint64 offset, char* bytes, qint64 size, const RKCancellation& cancellation) const
{
    // Slow drives take a tenth of a second for so much.
    constexpr qint64 kPiece = 4LL << 20;
    const qint64 most = cancellation.isPossible() ? kPiece : size;
    for (qint64 read = 0; read < size;) {
        if (cancellation.isCancelled())
            return std::make_error_code(std::errc::operation_canceled);
        const auto rest = static_cast<size_t>(std::min(size - read, most));
        const ssize_t step = uninterrupted(
            [&] { return ::pread(m_descriptor, bytes + read, rest, offset + read); });
        if (step < 0)
            return errorOf(-1);
        if (step == 0)
            return std::make_error_code(std::errc::io_error);
        read += step;
    }
    return {};
}

std::error_code RKFileDescriptor::write(qint64 offset, const char* bytes, qint64 size) const
{
    for (qint64 written = 0; written < size;) {
        const auto rest = static_cast<size_t>(size - written);
        const ssize_t step = uninterrupted(
            [&] { return ::pwrite(m_descriptor, bytes + written, rest, offset + written); });
        if (step < 0)
            return errorOf(-1);
        if (step == 0)
            return std::make_error_code(std::errc::io_error);
        written += step;
    }
    return {};
}

std::error_code RKFileDescriptor::copy(
    const RKFileDescriptor& source, qint64 sourceOffset, qint64 offset, qint64 size) const
{
    // Blocks that keep their place in a block can be shared by both files. The system copies others
    // more slowly than read and write do, by a quarter for photographs.
    const qint64 toBlock = std::min(size, (kBlock - offset % kBlock) % kBlock);
    if ((sourceOffset - offset) % kBlock != 0)
        return copyWithBuffer(source, sourceOffset, offset, size);
    if (const auto error = copyWithBuffer(source, sourceOffset, offset, toBlock))
        return error;
    qint64 copied = toBlock;
    const qint64 inSystem = copyInSystem(
        source.get(), sourceOffset + copied, m_descriptor, offset + copied, size - copied);
    if (inSystem < 0)
        return errorOf(-1);
    copied += inSystem;
    return copyWithBuffer(source, sourceOffset + copied, offset + copied, size - copied);
}

std::error_code RKFileDescriptor::copyWithBuffer(
    const RKFileDescriptor& source, qint64 sourceOffset, qint64 offset, qint64 size) const
{
    QByteArray buffer;
    for (qint64 copied = 0; copied < size; copied += buffer.size()) {
        buffer.resize(std::min(size - copied, kCopyBuffer));
        if (const auto error = source.read(sourceOffset + copied, buffer.data(), buffer.size()))
            return error;
        if (const auto error = write(offset + copied, buffer.constData(), buffer.size()))
            return error;
    }
    return {};
}

std::error_code RKFileDescriptor::reserve(qint64 size) const
{
    struct stat own = {};
    if (const auto error = status(&own))
        return error;
    if (size <= own.st_size)
        return {};
#ifdef Q_OS_MACOS
    fstore_t store = {F_ALLOCATEALL, F_PEOFPOSMODE, 0, size - own.st_size, 0};
    const int result
        = uninterrupted([&] { return ::fcntl(m_descriptor, F_PREALLOCATE, &store); }) == -1 ? -1
                                                                                            : 0;
#else
    const int result
        = uninterrupted([&] { return ::fallocate(m_descriptor, FALLOC_FL_KEEP_SIZE, 0, size); });
#endif
    const std::error_code error = errorOf(result);
    return error == std::errc::not_supported || error == std::errc::operation_not_supported
            || error == std::errc::function_not_supported
        ? std::error_code()
        : error;
}

std::error_code RKFileDescriptor::resize(qint64 size) const
{
    return errorOf(uninterrupted([&] { return ::ftruncate(m_descriptor, size); }));
}

std::error_code RKFileDescriptor::flush() const
{
    return errorOf(uninterrupted([this] { return ::fsync(m_descriptor); }));
}
