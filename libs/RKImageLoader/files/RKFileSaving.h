#pragma once

#include "RKImageLoader/RKImageLoaderExport.h"
#include "RKImageLoader/media/RKMediaError.h"

#include <QByteArray>
#include <QString>

/// Saves whole files as the library saves pictures: after a failure, a crash or a power cut, the
/// path leads to the complete old file or to the complete new one.
///
/// What a killed process leaves beside the file is hidden (".NAME.rksaveN~"). Thread-safe.
namespace RKFileSaving {

/// Gives the file at a local path this content, or creates it. Symbolic links are followed; mode,
/// owner, access lists and extended attributes of an old file stay. No error if the file has the
/// content; otherwise it is as it was. Logs nothing.
RKIMAGELOADER_EXPORT RKMediaError write(const QString& path, const QByteArray& content);

} // namespace RKFileSaving
