// Every Photoshop file is measured, and read as it is and smaller.
#include "Fuzzing.h"
#include "RKImageLoader/decoders/photoshop/RKPhotoshopReader_p.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QByteArray file = quietInput(data, size);
    RKPhotoshopReader::size(file);
    RKPhotoshopReader::read(file, {40, 30});
    // Large pictures take their time, which is no finding.
    constexpr qint64 kMaxPixels = 1 << 22;
    const QSize own = RKPhotoshopReader::size(file);
    if (own.isValid() && qint64(own.width()) * own.height() <= kMaxPixels)
        RKPhotoshopReader::read(file, {});
    return 0;
}
