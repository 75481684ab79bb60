// An XMP packet: parsed, decoded, its face regions read, and two faces merged into them.
#include "Fuzzing.h"
#include "RKImageLoader/faces/RKFacePositions.h"
#include "RKImageLoader/metadata/exiv2/RKExiv2XmpData_p.h"
#include "RKImageLoader/metadata/exiv2/RKXmpRegions_p.h"

#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    const std::string packet = quietInput(bytes, size).toStdString();
    RKXmpRegions regions;
    regions.parseXmpData(packet);
    regions.facePositionsByXMP(nullptr);
    regions.appliedToImageSize(nullptr);

    RKExiv2XmpData data;
    if (!data.setXmpPacket(packet))
        return 0;
    RKExiv2XmpData rated = data;
    rated.setInt("Xmp.xmp.Rating", 3);
    rated.xmpPacket();
    const auto before = data.allData();
    const QSize imageSize(400, 300);
    RKFacePositions faces(imageSize, QRect(40, 30, 80, 60), faceDetectionEngineHP);
    faces.add(RKFacePositions(imageSize, QRect(320, 240, 40, 30), faceDetectionEngineHP));
    if (!regions.expandFaces(&data, imageSize, faces)) {
        if (data.allData() != before)
            qFatal("a refused update has changed the properties");
        return 0;
    }
    if (data.facePositions().count() < faces.count())
        qFatal("a face was merged and cannot be read");
    if (!regions.removeFaceRegions(&data) || !data.facePositions().isEmpty())
        qFatal("the faces cannot be removed");
    return 0;
}
