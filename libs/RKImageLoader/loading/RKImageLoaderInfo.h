#pragma once

#include "RKImageLoader/RKImageLoaderExport.h"

#include <QStringList>

/// What the host's about box says about this library. Reentrant.
class RKIMAGELOADER_EXPORT RKImageLoaderInfo
{
public:
    /// The copyright lines of the libraries in use, translated.
    QStringList copyrights() const;
};
