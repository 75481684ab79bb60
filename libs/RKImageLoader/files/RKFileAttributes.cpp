#include "RKImageLoader/files/RKFileAttributes_p.h"

#include <QByteArray>
#include <QList>

#include <unistd.h>

#include <cerrno>
#include <optional>

#ifdef Q_OS_MACOS
#    include <copyfile.h>
#else
#    include <sys/xattr.h>
#endif

namespace {

std::error_code lastError()
{
    return {errno, std::generic_category()};
}

std::error_code copyOwnerAndMode(const RKFileDescriptor& from, const RKFileDescriptor& to)
{
    struct stat wanted = {};
    struct stat own = {};
    if (const auto error = from.status(&wanted))
        return error;
    if (const auto error = to.status(&own))
        return error;
    if ((own.st_uid != wanted.st_uid || own.st_gid != wanted.st_gid)
        && ::fchown(to.get(), wanted.st_uid, wanted.st_gid) != 0)
    {
        // An owner that a container has no number for is an invalid argument.
        return errno == EINVAL ? std::make_error_code(std::errc::operation_not_permitted)
                               : lastError();
    }
    // Asking for a mode that is there already fails on file systems without modes.
    if (((own.st_mode ^ wanted.st_mode) & 07777) != 0 || own.st_uid != wanted.st_uid) {
        if (::fchmod(to.get(), wanted.st_mode & 07777) != 0)
            return lastError();
    }
    return {};
}

#ifdef Q_OS_MACOS

std::error_code copyExtendedAttributes(const RKFileDescriptor& from, const RKFileDescriptor& to)
{
    return ::fcopyfile(from.get(), to.get(), nullptr, COPYFILE_ACL | COPYFILE_XATTR) == 0
        ? std::error_code()
        : lastError();
}

#else

std::optional<QByteArray> attribute(const RKFileDescriptor& file, const char* name)
{
    const ssize_t size = ::fgetxattr(file.get(), name, nullptr, 0);
    if (size < 0)
        return {};
    QByteArray value(size, Qt::Uninitialized);
    if (::fgetxattr(file.get(), name, value.data(), static_cast<size_t>(size)) != size)
        return {};
    return value;
}

std::error_code copyExtendedAttributes(const RKFileDescriptor& from, const RKFileDescriptor& to)
{
    const ssize_t size = ::flistxattr(from.get(), nullptr, 0);
    if (size <= 0)
        return size == 0 || errno == ENOTSUP ? std::error_code() : lastError();
    QByteArray names(size, Qt::Uninitialized);
    if (::flistxattr(from.get(), names.data(), static_cast<size_t>(size)) != size)
        return lastError();
    names.chop(1);
    const QList<QByteArray> list = names.split('\0');
    for (const QByteArray& name : list) {
        const std::optional<QByteArray> value = attribute(from, name.constData());
        if (!value)
            return lastError();
        // The new file has the folder's security label, which often is the old file's already.
        if (value == attribute(to, name.constData()))
            continue;
        if (::fsetxattr(to.get(),
                name.constData(),
                value->constData(),
                static_cast<size_t>(value->size()),
                0)
            != 0)
            return lastError();
    }
    return {};
}

#endif

} // namespace

std::error_code RKFileAttributes::copy(const RKFileDescriptor& from, const RKFileDescriptor& to)
{
    std::error_code error = copyOwnerAndMode(from, to);
    if (!error)
        error = copyExtendedAttributes(from, to);
    if (error == std::errc::permission_denied || error == std::errc::not_supported
        || error == std::errc::operation_not_supported)
        return std::make_error_code(std::errc::operation_not_permitted);
    return error;
}
