#include "RKImageLoader/files/RKSafeFileWriter_p.h"

#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

#ifdef Q_OS_MACOS
#    include <copyfile.h>
#else
#    include <sys/xattr.h>
#endif

namespace {

class FileDescriptor
{
    Q_DISABLE_COPY_MOVE(FileDescriptor)

public:
    FileDescriptor(const QString& path, int flags)
        : m_descriptor(::open(QFile::encodeName(path).constData(), flags | O_CLOEXEC))
    {
    }

    ~FileDescriptor()
    {
        if (m_descriptor >= 0)
            ::close(m_descriptor);
    }

    bool isOpen() const
    {
        return m_descriptor >= 0;
    }

    int get() const
    {
        return m_descriptor;
    }

private:
    int m_descriptor;
};

/// Where a path leads to, also where that does not exist yet.
QString target(const QString& path)
{
    const QFileInfo info(path);
    const QString existing = info.canonicalFilePath();
    if (!existing.isEmpty())
        return existing;
    return info.isSymLink() ? info.symLinkTarget() : info.absoluteFilePath();
}

QString directoryOf(const QString& path)
{
    return QFileInfo(path).absolutePath();
}

bool mayCreateFilesIn(const QString& directory)
{
    // With the effective user, unlike access() and QFileInfo.
    return ::faccessat(AT_FDCWD, QFile::encodeName(directory).constData(), W_OK | X_OK, AT_EACCESS)
        == 0;
}

#ifdef Q_OS_MACOS

bool copyAttributes(int from, int to)
{
    return ::fcopyfile(from, to, nullptr, COPYFILE_ACL | COPYFILE_XATTR) == 0;
}

#else

/// The value of an extended attribute; null where there is none.
QByteArray attribute(int file, const char* name)
{
    const ssize_t size = ::fgetxattr(file, name, nullptr, 0);
    if (size < 0)
        return {};
    QByteArray value(size, Qt::Uninitialized);
    const ssize_t read = ::fgetxattr(file, name, value.data(), static_cast<size_t>(value.size()));
    return read == size ? value : QByteArray();
}

bool copyAttributes(int from, int to)
{
    const ssize_t size = ::flistxattr(from, nullptr, 0);
    if (size < 0)
        return errno == ENOTSUP;
    QByteArray names(size, Qt::Uninitialized);
    if (::flistxattr(from, names.data(), static_cast<size_t>(names.size())) != size)
        return false;
    const QList<QByteArray> list = names.split('\0');
    for (const QByteArray& name : list) {
        // The new file has the directory's security label, which often is the old file's already.
        const QByteArray value = attribute(from, name.constData());
        if (name.isEmpty() || value == attribute(to, name.constData()))
            continue;
        if (::fsetxattr(
                to, name.constData(), value.constData(), static_cast<size_t>(value.size()), 0)
            != 0)
            return false;
    }
    return true;
}

#endif

bool copyOwnerAndMode(const struct stat& from, int to)
{
    struct stat own = {};
    if (::fstat(to, &own) != 0)
        return false;
    if ((own.st_uid != from.st_uid || own.st_gid != from.st_gid)
        && ::fchown(to, from.st_uid, from.st_gid) != 0)
        return false;
    return ::fchmod(to, from.st_mode & 07777) == 0;
}

/// Reserves the space of a file that is going to grow, without making it larger.
bool reserve(int file, off_t size)
{
#ifdef Q_OS_MACOS
    fstore_t store = {F_ALLOCATEALL, F_PEOFPOSMODE, 0, 0, 0};
    struct stat own = {};
    if (::fstat(file, &own) != 0)
        return false;
    store.fst_length = size - own.st_size;
    return ::fcntl(file, F_PREALLOCATE, &store) == 0 || errno == ENOTSUP;
#else
    return ::fallocate(file, FALLOC_FL_KEEP_SIZE, 0, size) == 0 || errno == EOPNOTSUPP;
#endif
}

bool writeAll(int file, const QByteArray& content)
{
    qsizetype written = 0;
    while (written < content.size()) {
        const ssize_t step = ::pwrite(file,
            content.constData() + written,
            static_cast<size_t>(content.size() - written),
            written);
        if (step < 0 && errno == EINTR)
            continue;
        if (step <= 0)
            return false;
        written += step;
    }
    return true;
}

bool readAll(int file, QByteArray* content)
{
    struct stat own = {};
    if (::fstat(file, &own) != 0)
        return false;
    content->resize(own.st_size);
    qsizetype read = 0;
    while (read < content->size()) {
        const ssize_t step = ::pread(
            file, content->data() + read, static_cast<size_t>(content->size() - read), read);
        if (step < 0 && errno == EINTR)
            continue;
        if (step <= 0)
            return false;
        read += step;
    }
    return true;
}

/// Makes the file's content durable before its length follows, so that it never ends early.
bool setContent(int file, const QByteArray& content)
{
    return writeAll(file, content) && ::fsync(file) == 0 && ::ftruncate(file, content.size()) == 0
        && ::fsync(file) == 0;
}

bool writeTo(QSaveFile& file, const QByteArray& content)
{
    // A short write, as a full disk gives, is no error for QSaveFile.
    return file.write(content) == content.size() && file.flush();
}

void makeDurable(const QString& directory)
{
    const FileDescriptor descriptor(directory, O_RDONLY | O_DIRECTORY);
    if (descriptor.isOpen())
        ::fsync(descriptor.get());
}

} // namespace

RKSafeFileWriter::RKSafeFileWriter(const QString& path)
    : m_path(target(path))
{
}

QString RKSafeFileWriter::errorString() const
{
    return m_errorString;
}

RKSafeFileWriter::Result RKSafeFileWriter::fail(Result result, int error)
{
    m_errorString = QString::fromStdString(std::generic_category().message(error));
    return result;
}

RKSafeFileWriter::Result RKSafeFileWriter::write(const QByteArray& content)
{
    m_errorString.clear();
    // Without O_NONBLOCK a pipe would wait for its other end.
    const FileDescriptor file(m_path, O_RDWR | O_NONBLOCK);
    if (!file.isOpen())
        return errno == ENOENT ? create(content) : fail(Result::NotWritable, errno);
    struct stat existing = {};
    if (::fstat(file.get(), &existing) != 0)
        return fail(Result::NotWritable, errno);
    if (!S_ISREG(existing.st_mode))
        return fail(Result::NotWritable, EINVAL);

    Result result = Result::Failed;
    if (existing.st_nlink == 1 && mayCreateFilesIn(directoryOf(m_path))
        && replace(file.get(), content, &result))
        return result;
    return overwrite(file.get(), content);
}

RKSafeFileWriter::Result RKSafeFileWriter::create(const QByteArray& content)
{
    QSaveFile created(m_path);
    if (!created.open(QIODevice::WriteOnly) || !writeTo(created, content) || !created.commit()) {
        m_errorString = created.errorString();
        return Result::Failed;
    }
    makeDurable(directoryOf(m_path));
    return Result::Done;
}

/// False, and nothing done, where another file cannot take this one's place.
bool RKSafeFileWriter::replace(int file, const QByteArray& content, Result* result)
{
    struct stat existing = {};
    QSaveFile replacement(m_path);
    if (::fstat(file, &existing) != 0 || !replacement.open(QIODevice::WriteOnly))
        return false;
    if (!writeTo(replacement, content)) {
        m_errorString = replacement.errorString();
        replacement.cancelWriting();
        *result = Result::Failed;
        return true;
    }
    if (!copyOwnerAndMode(existing, replacement.handle())
        || !copyAttributes(file, replacement.handle()) || !replacement.commit())
        return false;
    makeDurable(directoryOf(m_path));
    *result = Result::Done;
    return true;
}

RKSafeFileWriter::Result RKSafeFileWriter::overwrite(int file, const QByteArray& content)
{
    QByteArray old;
    if (!readAll(file, &old))
        return fail(Result::Failed, errno);
    if (content.size() > old.size() && !reserve(file, content.size()))
        return fail(Result::Failed, errno);
    if (setContent(file, content))
        return Result::Done;
    const int error = errno;
    setContent(file, old);
    return fail(Result::Failed, error);
}
