#pragma once

#include "RKImageLoader/media/RKMediaError.h"

#include <QByteArray>
#include <QString>

#include <optional>

/// Files that are read as a whole, since they are never large. Pipes are read, too; a device may
/// have no end.
namespace SmallFile {

/// The content; nullopt and the error if it can't be read or has more bytes than that.
std::optional<QByteArray> read(const QString& path, qint64 maxSize, RKMediaError* error);

} // namespace SmallFile
