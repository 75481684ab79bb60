#include "BareCodec.h"

#include <png.h>

BareCodec::Picture BareCodec::png(const std::string& path, int, int)
{
    const std::vector<uint8_t> file = bytes(path);
    png_image decoder{};
    decoder.version = PNG_IMAGE_VERSION;
    if (png_image_begin_read_from_memory(&decoder, file.data(), file.size()) == 0)
        fail(path);
    decoder.format = PNG_FORMAT_RGB;
    Picture picture{int(decoder.width), int(decoder.height)};
    picture.pixels = std::make_unique_for_overwrite<uint8_t[]>(picture.size());
    if (png_image_finish_read(&decoder, nullptr, picture.pixels.get(), 0, nullptr) == 0)
        fail(path);
    return picture;
}
