#pragma once

#include "imageformats/common/RKPicturePlugin.h"
#include "imageformats/jpeg2000/RKJpeg2000Picture.h"

/// Makes JPEG 2000 a format of QImageReader: "jp2", "j2k" and "jpc".
class RKJpeg2000Plugin : public RKPicturePlugin<RKJpeg2000Picture>
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID QImageIOHandlerFactoryInterface_iid FILE "RKJpeg2000Plugin.json")
};
