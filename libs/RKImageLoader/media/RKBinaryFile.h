#pragma once

#include "RKImageLoader/RKImageLoaderExport.h"

#include <QByteArray>
#include <QFileInfo>

/// Reads files as a whole.
class RKIMAGELOADER_TEST_EXPORT RKBinaryFile
{
public:
    /// The file exists and is neither a folder nor a device nor a pipe, which might never end.
    static bool isRegular(const QFileInfo& file);

    /// All bytes of a regular file. Empty, with a warning, when it can't be opened or is something
    /// else.
    static QByteArray readAll(const QFileInfo& file);
};
