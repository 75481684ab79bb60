// The JPEG 2000 plug-in survives every file, in little time and memory.
#include "PicturePluginFuzzer.h"
#include "imageformats/jpeg2000/RKJpeg2000Picture.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    return readWhole<RKJpeg2000Picture>(data, size);
}
