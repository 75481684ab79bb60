// Reads the metadata of an image in memory, and all that can be asked of them.
#include "RKImageLoader/faces/RKFacePositions.h"
#include "RKImageLoader/metadata/RKExiv2Wrapper.h"
#include "RKImageLoader/metadata/RKMetaDataField.h"

#include <QByteArray>
#include <QImage>

#include <cstddef>
#include <cstdint>

namespace {

void ignoreMessage(QtMsgType, const QMessageLogContext&, const QString&)
{
}

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
    wrapper.tamoStaticScore();
    wrapper.tamoDynamicScore();
    wrapper.flashUsed();
    wrapper.redEyeCorrectionUsed();
    wrapper.aboProhibited();
    wrapper.aboProhibitedBy();
    wrapper.ratingForResolutionOnly();
    wrapper.isFilmStrip();
    wrapper.myTalikoPhotoId();
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
    static const auto previousHandler = qInstallMessageHandler(ignoreMessage);
    Q_UNUSED(previousHandler)
    const QByteArray bytes(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    readAll(RKExiv2Wrapper(bytes));
    return 0;
}
