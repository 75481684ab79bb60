#include "BareCodec.h"

#include <libraw/libraw.h>

#include <algorithm>

BareCodec::Picture BareCodec::raw(const std::string& path, int width, int height)
{
    const auto decoder = std::make_unique<LibRaw>();
    decoder->imgdata.params.half_size = width > 0;
    decoder->imgdata.params.use_camera_wb = 1;
    if (decoder->open_file(path.c_str()) != LIBRAW_SUCCESS)
        fail(path);
    const libraw_thumbnail_t& preview = decoder->imgdata.thumbnail;
    libraw_processed_image_t* image = nullptr;
    if (width > 0 && (preview.twidth >= width || preview.theight >= height)
        && decoder->unpack_thumb() == LIBRAW_SUCCESS)
    {
        image = decoder->dcraw_make_mem_thumb();
    } else if (decoder->unpack() == LIBRAW_SUCCESS && decoder->dcraw_process() == LIBRAW_SUCCESS) {
        image = decoder->dcraw_make_mem_image();
    }
    if (!image)
        fail(path);
    Picture picture{image->width, image->height};
    if (image->type == LIBRAW_IMAGE_JPEG) {
        picture = jpegStream(image->data, image->data_size, width, height);
    } else {
        picture.pixels = std::make_unique_for_overwrite<uint8_t[]>(picture.size());
        std::copy_n(image->data, picture.size(), picture.pixels.get());
    }
    LibRaw::dcraw_clear_mem(image);
    return picture;
}
