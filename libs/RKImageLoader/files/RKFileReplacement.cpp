#include "RKImageLoader/files/RKFileReplacement_p.h"

#include <QStringBuilder>

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <ctime>
#include <utility>

namespace {

// Without locks, processes that write to one file at the same time need names of their own.
constexpr int kMaxFiles = 8;

std::error_code errorOf(int result)
{
    return result == 0 ? std::error_code() : std::error_code(errno, std::generic_category());
}

/// The beginning of a name, short enough for what is added to it: 255 bytes are a usual limit of
/// names, some encrypting file systems have 143.
QByteArray shortened(QByteArray name)
{
    constexpr qsizetype kMaxBytes = 100;
    // Bytes that go on with a letter of UTF-8 (RFC 3629, 3) go with it.
    const auto continues = [&name](qsizetype place) { return (name[place] & 0xc0) == 0x80; };
    qsizetype size = qMin(kMaxBytes, name.size());
    while (size > 0 && size < name.size() && continues(size))
        --size;
    name.truncate(size);
    return name;
}

/// The process that wrote the file is gone: it would hold the lock. Without locks only its age
/// shows that.
bool isAbandoned(RKFileDescriptor* file)
{
    constexpr time_t kDay = 24 * 60 * 60;
    struct stat status = {};
    if (file->status(&status) || !S_ISREG(status.st_mode))
        return false;
    switch (file->lock()) {
    case RKFileDescriptor::Lock::Taken: return true;
    case RKFileDescriptor::Lock::Busy: return false;
    case RKFileDescriptor::Lock::Unsupported: break;
    }
    return std::time(nullptr) - status.st_mtime > kDay;
}

void removeAbandoned(const QByteArray& path)
{
    RKFileDescriptor file;
    // The file is unlinked while its lock is held, so that no other process removes a newer one.
    if (!file.open(path, O_RDWR | O_NONBLOCK | O_NOFOLLOW) && isAbandoned(&file))
        ::unlink(path.constData());
}

} // namespace

RKFileReplacement::RKFileReplacement(const QByteArray& path)
    : m_target(path)
{
}

RKFileReplacement::~RKFileReplacement()
{
    if (!m_path.isEmpty())
        ::unlink(m_path.constData());
}

const RKFileDescriptor& RKFileReplacement::descriptor() const
{
    return m_file;
}

QByteArray RKFileReplacement::pathOf(int number) const
{
    const qsizetype nameBegin = m_target.lastIndexOf('/') + 1;
    return m_target.left(nameBegin) + '.' + shortened(m_target.mid(nameBegin)) + ".rksave"
        + QByteArray::number(number) + '~';
}

/// The path leads to the new file.
bool RKFileReplacement::isAt(const QByteArray& path) const
{
    struct stat own = {};
    struct stat other = {};
    return !m_file.status(&own) && ::lstat(path.constData(), &other) == 0
        && own.st_dev == other.st_dev && own.st_ino == other.st_ino;
}

std::error_code RKFileReplacement::create(mode_t mode)
{
    for (int number = 0; number < kMaxFiles; ++number)
        removeAbandoned(pathOf(number));
    std::error_code error;
    for (int number = 0; number < kMaxFiles; ++number) {
        const QByteArray path = pathOf(number);
        error = m_file.open(path, O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW, mode);
        if (error == std::errc::file_exists)
            continue;
        if (error)
            return error;
        // Another process may have removed the file before it was locked.
        if (m_file.lock() != RKFileDescriptor::Lock::Busy && isAt(path)) {
            m_path = path;
            return {};
        }
        m_file.close();
        error = std::make_error_code(std::errc::file_exists);
    }
    return error;
}

std::error_code RKFileReplacement::takePlace()
{
    const std::error_code error = errorOf(std::rename(m_path.constData(), m_target.constData()));
    // Networks report failures of what the server has done.
    if (error && !isAt(m_target))
        return error;
    m_path.clear();
    return {};
}

QByteArray RKFileReplacement::keep()
{
    return std::exchange(m_path, {});
}

std::error_code RKFileReplacement::flushFolder() const
{
    RKFileDescriptor folder;
    const QByteArray path = m_target.left(m_target.lastIndexOf('/') + 1);
    if (const auto error = folder.open(path, O_RDONLY | O_DIRECTORY))
        return error;
    const std::error_code error = folder.flush();
    // The file system has no such operation, and no need of it.
    return error == std::errc::invalid_argument || error == std::errc::not_supported
        ? std::error_code()
        : error;
}
