// The HEIF plug-in survives every file, in little time and memory.
#include "PicturePluginFuzzer.h"
#include "imageformats/heif/RKHeifPicture.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    return readWhole<RKHeifPicture>(data, size);
}
