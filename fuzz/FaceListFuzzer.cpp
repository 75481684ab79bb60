// The list of faces that the tool takes: each is a face, and they can be merged into an image.
#include "FaceList.h"
#include "Fuzzing.h"
#include "RKImageLoader/faces/RKFacePositions.h"
#include "RKImageLoader/metadata/RKMetaData.h"

#include <QFileInfo>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const auto faces = FaceList::fromJson(quietInput(data, size));
    if (!faces)
        return 0;
    if (!faces->isValid())
        qFatal("a face that is none");
    RKMetaData metaData(QFileInfo(), QByteArray("\xff\xd8\xff\xd9", 4));
    if (metaData.updateFaces({400, 300}, *faces)
        && metaData.regionFacePositions().count() > faces->count())
        qFatal("more faces than were given");
    return 0;
}
