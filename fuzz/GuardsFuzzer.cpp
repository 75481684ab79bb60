// What is asked about a file before a decoder may read it, and about the thumbnails inside others.
#include "Fuzzing.h"
#include "RKImageLoader/files/RKByteSource_p.h"
#include "RKImageLoader/guards/RKEmbeddedPicture_p.h"
#include "RKImageLoader/guards/RKGzip_p.h"
#include "RKImageLoader/guards/RKPictureHeaderCheck_p.h"
#include "RKImageLoader/guards/RKTruncation_p.h"
#include "RKImageLoader/loading/RKContentFormat_p.h"

#include <QBuffer>
#include <QImage>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    QByteArray file = quietInput(bytes, size);
    QBuffer device(&file);
    RKPictureHeaderCheck::hasFewSegments(device);
    if (device.pos() != 0)
        qFatal("the device was moved");
    for (const QSize& picture : {QSize(), QSize(1, 1), QSize(60'000, 50'000)}) {
        RKPictureHeaderCheck::canHold(file, picture);
        RKPictureHeaderCheck::canBeReduced(file, picture);
        RKTruncation::reasonForClaim(file, picture);
    }
    RKContentFormat::of(file);
    RKContentFormat::nameOfForeign(file);
    RKTruncation::isCutOff(file);
    RKTruncation::areBoxesCutOff(RKMemorySource(file));
    RKEmbeddedPicture::thumbnailSize(file);
    RKEmbeddedPicture::thumbnail(file);
    constexpr qint64 kLimit = 1024 * 1024;
    if (const auto content = RKGzip::inflated(file, kLimit); content && content->size() > kLimit)
        qFatal("more than the limit");
    return 0;
}
