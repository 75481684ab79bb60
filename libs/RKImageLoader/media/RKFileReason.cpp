#include "RKImageLoader/media/RKErrorText_p.h"
#include "RKImageLoader/media/RKFileReason_p.h"

#include <QFileInfo>

#include <algorithm>
#include <cerrno>
#include <initializer_list>

namespace {

using Code = RKMediaErrorCode;

QString systemText(const std::error_code& error)
{
    return QString::fromStdString(error.message());
}

bool isOneOf(const std::error_code& error, std::initializer_list<std::errc> others)
{
    return std::any_of(
        others.begin(), others.end(), [&](const std::errc other) { return error == other; });
}

bool isMissing(const std::error_code& error)
{
    return isOneOf(error, {std::errc::no_such_file_or_directory, std::errc::not_a_directory});
}

bool isForbidden(const std::error_code& error)
{
    return isOneOf(error,
        {std::errc::permission_denied,
            std::errc::operation_not_permitted,
            std::errc::read_only_file_system});
}

// A socket has no such device.
bool isSpecial(const std::error_code& error)
{
    return isOneOf(error, {std::errc::not_supported, std::errc::no_such_device_or_address});
}

bool isFull(const std::error_code& error)
{
    return isOneOf(error, {std::errc::no_space_on_device, std::errc::file_too_large})
        || error == std::error_code(EDQUOT, std::generic_category());
}

RKMediaError reasonOf(const std::error_code& error)
{
    if (error == std::errc::is_a_directory) {
        return RKMediaError(Code::NotAFile, RKErrorText::tr("This is a folder and not a file."));
    }
    if (isSpecial(error))
        return RKMediaError(Code::NotAFile);
    if (error == std::errc::operation_canceled)
        return RKMediaError(Code::Cancelled);
    return RKMediaError(error == std::errc::not_enough_memory ? Code::OutOfMemory : Code::None);
}

RKMediaError readingReason(const std::error_code& error)
{
    if (const RKMediaError reason = reasonOf(error); reason.isError() || !error)
        return reason;
    if (isMissing(error))
        return RKMediaError(Code::Missing);
    if (isForbidden(error))
        return RKMediaError(Code::NoPermission);
    return RKMediaError(
        Code::Unreadable, RKErrorText::tr("The file can't be read: %1.").arg(systemText(error)));
}

RKMediaError writingReason(const std::error_code& error, const QString& path)
{
    if (const RKMediaError reason = reasonOf(error); reason.isError() || !error)
        return reason;
    if (isMissing(error)) {
        return RKMediaError(Code::Missing,
            RKErrorText::tr("There is no folder %1 to save to.")
                .arg(QFileInfo(path).absolutePath()));
    }
    if (isFull(error))
        return RKMediaError(Code::DiskFull);
    if (error == std::errc::resource_unavailable_try_again)
        return RKMediaError(Code::Changed);
    return RKMediaError(Code::NotWritable,
        RKErrorText::tr("The file can't be written: %1.").arg(systemText(error)));
}

RKMediaError withPath(RKMediaError error, const QString& path)
{
    if (error.isError())
        error.setFilePath(path);
    return error;
}

} // namespace

RKMediaError RKFileReason::ofReading(const std::error_code& error, const QString& path)
{
    return withPath(readingReason(error), path);
}

RKMediaError RKFileReason::ofWriting(const std::error_code& error, const QString& path)
{
    return withPath(writingReason(error, path), path);
}
