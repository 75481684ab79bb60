// Reads the metadata of an image in memory, and all that can be asked of them.
#include "Fuzzing.h"
#include "RKImageLoader/faces/RKFacePositions.h"
#include "RKImageLoader/metadata/RKExiv2Wrapper.h"
#include "RKImageLoader/metadata/RKMetaDataField.h"

#include <QImage>

namespace {

void readAll(const RKExiv2Wrapper& wrapper)
{
    wrapper.imageOrientation();
    wrapper.imageIsTiltedByMetadata();
    wrapper.unrotatedSize();
    wrapper.pictureTaken();
    wrapper.geoPosition();
    wrapper.digitalZoomRatio();
    wrapper.adobeRating();
    wrapper.tamoRating();
    wrapper.flashUsed();
    wrapper.aboProhibitedBy();
    wrapper.myTalikoExportDate();
    wrapper.iccData();
    wrapper.hasIccData();
    wrapper.isAdobeRGB();
    wrapper.thumbnail();
    wrapper.facePositions();
    wrapper.regionFacePositions();
    wrapper.regionImageSize();
    wrapper.numberOfRegions();
    wrapper.allData();
    wrapper.debugOutput();
    for (qint64 bit = 1; bit <= qint64(RKMetaDataFieldEnum::gpsLongitudeInDegreesEast); bit *= 2)
        wrapper.read(RKMetaDataField(static_cast<RKMetaDataFieldEnum>(bit)));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    readAll(RKExiv2Wrapper(quietInput(data, size)));
    return 0;
}
