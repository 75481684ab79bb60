#pragma once

#include "RKImageLoader/media/RKCancellation.h"

#include <QByteArray>
#include <QFileInfo>

#include <system_error>

/// Reads files as a whole.
class RKBinaryFile
{
public:
    /// All bytes of a regular file. Empty, with a warning, when it can't be opened, can't be read
    /// to its end, or is something else, a pipe for instance, which might never end.
    static QByteArray readAll(const QFileInfo& file);
    /// The same with the reason, see RKFileSnapshot::error().
    static QByteArray readAll(
        const QFileInfo& file, std::error_code* error, const RKCancellation& cancellation = {});

    /// Whether the file is there but not a regular one. Opening a pipe waits for a writer.
    static bool mayBlock(const QFileInfo& file);
};
