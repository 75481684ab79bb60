#pragma once

#include "imageformats/common/RKPicturePlugin.h"

#ifdef QT_STATICPLUGIN
#    include "imageformats/heif/RKHeifPicture.h"
using RKHeifReading = RKHeifPicture;
#else
#    include "imageformats/heif/RKHeifCodec.h"
using RKHeifReading = RKHeifCodec;
#endif

/// Makes HEIF a format of QImageReader: "heic", "heif", "heics" and "heifs".
class RKHeifPlugin : public RKPicturePlugin<RKHeifReading>
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID QImageIOHandlerFactoryInterface_iid FILE "RKHeifPlugin.json")
};
