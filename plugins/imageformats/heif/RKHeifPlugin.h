#pragma once

#include "imageformats/common/RKPicturePlugin.h"
#include "imageformats/heif/RKHeifPicture.h"

/// Makes HEIF a format of QImageReader: "heic", "heif", "heics" and "heifs".
class RKHeifPlugin : public RKPicturePlugin<RKHeifPicture>
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID QImageIOHandlerFactoryInterface_iid FILE "RKHeifPlugin.json")
};
