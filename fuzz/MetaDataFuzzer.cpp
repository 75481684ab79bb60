// Reads the metadata of an image in memory, and all that can be asked of it; what a save makes of
// it has to be readable.
#include "Fuzzing.h"
#include "RKImageLoader/faces/RKFacePositions.h"
#include "RKImageLoader/metadata/RKExiv2Wrapper.h"
#include "RKImageLoader/metadata/RKMetaDataField.h"

#include <QBuffer>
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
    const QByteArray file = quietInput(data, size);
    RKExiv2Wrapper wrapper(file);
    readAll(wrapper);
    QBuffer buffer;
    buffer.setData(file);
    wrapper.setAdobeRating(4);
    // exiv2 may have read nothing before the save has put lengths right.
    if (wrapper.save(&buffer) && wrapper.unrotatedSize().isValid()
        && RKExiv2Wrapper(buffer.data()).unrotatedSize() != wrapper.unrotatedSize())
        qFatal("the size has changed");
    return 0;
}
