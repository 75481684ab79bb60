#include "RKImageLoader/loading/RKImageLoaderInfo.h"

#include "RKImageLoader/metadata/RKExiv2Wrapper.h"

#include <QCoreApplication>

QStringList RKImageLoaderInfo::copyrights() const
{
    return {RKExiv2Wrapper::copyright(),
        QCoreApplication::translate("RKImageLoaderInfo",
            "SampleICC © 2003-2010 The International Color Consortium. All rights reserved."),
        QCoreApplication::translate("RKImageLoaderInfo",
            "This software uses libraries from the FFmpeg project under the LGPLv2.1")};
}
