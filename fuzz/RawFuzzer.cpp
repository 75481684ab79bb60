// Every raw file is measured, and decoded with and without its preview.
#include "Fuzzing.h"
#include "RKImageLoader/decoders/RKBitmapDecoderLibRaw_p.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const QByteArray file = quietInput(data, size);
    const RKBitmapDecoderLibRaw decoder;
    decoder.size(file, "dng");
    decoder.decode(file, "dng", {40, 30}, {});
    decoder.decode(file, "dng", {}, {});
    return 0;
}
