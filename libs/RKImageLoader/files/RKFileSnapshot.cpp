#include "RKImageLoader/files/RKFileSnapshot_p.h"
#include "RKImageLoader/files/RKHugePages_p.h"

#include <QDeadlineTimer>
#include <QFile>
#include <QThread>

#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <new>

namespace {

// Files change in pages of the system's cache; a small read costs no more than one of them.
constexpr qint64 kBlock = 4096;
// What is read again at a time.
constexpr qint64 kMaxBlocks = 64;

constexpr int kFlags = O_NONBLOCK | O_NOCTTY;

size_t hashOf(const char* bytes, qint64 size)
{
    // Qt uses the processor's instructions for hashes with a seed only.
    constexpr size_t kSeed = 1;
    return qHashBits(bytes, static_cast<size_t>(size), kSeed);
}

bool isEqual(const timespec& left, const timespec& right)
{
    return left.tv_sec == right.tv_sec && left.tv_nsec == right.tv_nsec;
}

} // namespace

bool RKFileSnapshot::Identity::operator==(const Identity& other) const
{
    return device == other.device && inode == other.inode && size == other.size
        && isEqual(modified, other.modified) && isEqual(changed, other.changed);
}

RKFileSnapshot::RKFileSnapshot(const QString& path, Use use, std::chrono::milliseconds maxWait)
    : RKFileSnapshot(QFile::encodeName(path), use, maxWait)
{
}

RKFileSnapshot::RKFileSnapshot(const QByteArray& path, Use use, std::chrono::milliseconds maxWait)
    : m_remembers(use == Use::Replace)
{
    if (use == Use::Replace)
        openForReplacement(path, maxWait);
    else if (openReadable(path))
        identify();
}

bool RKFileSnapshot::isOpen() const
{
    return m_file.isOpen();
}

bool RKFileSnapshot::isMissing() const
{
    return m_isMissing;
}

bool RKFileSnapshot::isWritable() const
{
    return m_isWritable;
}

QString RKFileSnapshot::errorString() const
{
    return m_errorString;
}

std::error_code RKFileSnapshot::error() const
{
    return m_error;
}

bool RKFileSnapshot::hasReadError() const
{
    return m_hasReadError;
}

qint64 RKFileSnapshot::size() const
{
    return m_identity.size;
}

const RKFileDescriptor& RKFileSnapshot::descriptor() const
{
    return m_file;
}

RKFileSnapshot::Identity RKFileSnapshot::identityOf(const struct stat& status)
{
#ifdef Q_OS_MACOS
    return {status.st_dev, status.st_ino, status.st_size, status.st_mtimespec, status.st_ctimespec};
#else
    return {status.st_dev, status.st_ino, status.st_size, status.st_mtim, status.st_ctim};
#endif
}

bool RKFileSnapshot::identityAt(const QByteArray& path, Identity* identity)
{
    struct stat status = {};
    if (::stat(path.constData(), &status) != 0)
        return false;
    *identity = identityOf(status);
    return true;
}

bool RKFileSnapshot::openReadable(const QByteArray& path)
{
    const std::error_code error = m_file.open(path, O_RDONLY | kFlags);
    m_isMissing = error == std::errc::no_such_file_or_directory;
    return error ? fail(error) : true;
}

/// Locks over networks need a descriptor that may write.
bool RKFileSnapshot::openWritable(const QByteArray& path)
{
    const std::error_code error = m_file.open(path, O_RDWR | kFlags);
    m_isWritable = !error;
    if (m_isWritable)
        return true;
    fail(error);
    return openReadable(path);
}

bool RKFileSnapshot::identify()
{
    struct stat status = {};
    if (const auto error = m_file.status(&status)) {
        m_file.close();
        return fail(error);
    }
    if (!S_ISREG(status.st_mode)) {
        m_file.close();
        return fail(S_ISDIR(status.st_mode) ? std::errc::is_a_directory : std::errc::not_supported,
            QStringLiteral("Not a regular file"));
    }
    m_identity = identityOf(status);
    return true;
}

/// Whoever held the lock may have replaced the file, so that the path leads to another one.
void RKFileSnapshot::openForReplacement(const QByteArray& path, std::chrono::milliseconds maxWait)
{
    constexpr unsigned long kMaxPause = 16;
    const QDeadlineTimer deadline(maxWait);
    unsigned long pause = 1;
    while (openWritable(path) && identify()) {
        const RKFileDescriptor::Lock lock = m_file.lock();
        Identity current;
        if (lock != RKFileDescriptor::Lock::Busy && identify() && identityAt(path, &current)
            && current.device == m_identity.device && current.inode == m_identity.inode)
            return;
        m_file.close();
        if (deadline.hasExpired()) {
            fail(std::errc::device_or_resource_busy, QStringLiteral("Locked by another program"));
            break;
        }
        if (lock == RKFileDescriptor::Lock::Busy) {
            QThread::msleep(pause);
            pause = std::min(2 * pause, kMaxPause);
        }
    }
    m_file.close();
    m_isWritable = false;
}

bool RKFileSnapshot::read(qint64 offset, qint64 size, QByteArray* bytes) const
{
    return read(offset, size, bytes, {});
}

bool RKFileSnapshot::read(
    qint64 offset, qint64 size, QByteArray* bytes, const RKCancellation& cancellation) const
{
    bytes->clear();
    if (!isOpen() || offset < 0 || size < 0 || offset > m_identity.size
        || size > m_identity.size - offset)
        return false;
    // Whole blocks, so that what is remembered doesn't depend on how it was read.
    const qint64 before = m_remembers ? offset % kBlock : 0;
    const qint64 after = m_remembers ? (kBlock - (offset + size) % kBlock) % kBlock : 0;
    const qint64 first = offset - before;
    const qint64 last = std::min<qint64>(m_identity.size, offset + size + after);
    std::error_code error;
    try {
        bytes->resize(last - first);
        RKHugePages::advise(bytes->data(), bytes->size());
        error = m_file.read(first, bytes->data(), bytes->size(), cancellation);
    } catch (const std::bad_alloc&) {
        error = std::make_error_code(std::errc::not_enough_memory);
    }
    if (error) {
        bytes->clear();
        m_hasReadError = true;
        return fail(error);
    }
    if (m_remembers)
        rememberBlocks(first, *bytes);
    bytes->remove(0, before);
    bytes->truncate(size);
    return true;
}

bool RKFileSnapshot::readAll(QByteArray* bytes, const RKCancellation& cancellation) const
{
    return read(0, m_identity.size, bytes, cancellation);
}

void RKFileSnapshot::rememberBlocks(qint64 offset, const QByteArray& bytes) const
{
    for (qint64 done = 0; done < bytes.size(); done += kBlock) {
        const size_t hash = hashOf(bytes.constData() + done, std::min(kBlock, bytes.size() - done));
        const auto block = m_blocks.try_emplace((offset + done) / kBlock, hash).first;
        m_isTorn = m_isTorn || block->second != hash;
    }
}

bool RKFileSnapshot::hasSameBlocks() const
{
    QByteArray bytes;
    for (auto first = m_blocks.cbegin(); first != m_blocks.cend();) {
        auto end = first;
        qint64 count = 0;
        while (end != m_blocks.cend() && end->first == first->first + count && count < kMaxBlocks) {
            ++end;
            ++count;
        }
        const qint64 offset = first->first * kBlock;
        bytes.resize(std::min<qint64>(count * kBlock, m_identity.size - offset));
        if (m_file.read(offset, bytes.data(), bytes.size()))
            return false;
        for (qint64 done = 0; first != end; ++first, done += kBlock) {
            const qint64 size = std::min(kBlock, bytes.size() - done);
            if (hashOf(bytes.constData() + done, size) != first->second)
                return false;
        }
    }
    return true;
}

bool RKFileSnapshot::isUnchangedAt(const QByteArray& path) const
{
    Identity current;
    return isOpen() && !m_isTorn && identityAt(path, &current) && current == m_identity
        && hasSameBlocks();
}

bool RKFileSnapshot::fail(std::errc error, const QString& reason) const
{
    m_error = std::make_error_code(error);
    m_errorString = reason;
    return false;
}

bool RKFileSnapshot::fail(const std::error_code& error) const
{
    m_error = error;
    m_errorString = QString::fromStdString(error.message());
    return false;
}
