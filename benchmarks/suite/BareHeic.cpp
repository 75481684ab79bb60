#include "BareCodec.h"

#include <libheif/heif.h>

#include <algorithm>

BareCodec::Picture BareCodec::heic(const std::string& path, int, int)
{
    heif_context* const context = heif_context_alloc();
    heif_image_handle* handle = nullptr;
    heif_image* image = nullptr;
    if (heif_context_read_from_file(context, path.c_str(), nullptr).code != heif_error_Ok
        || heif_context_get_primary_image_handle(context, &handle).code != heif_error_Ok
        || heif_decode_image(handle, &image, heif_colorspace_YCbCr, heif_chroma_420, nullptr).code
            != heif_error_Ok)
        fail(path);
    Picture picture{heif_image_get_primary_width(image), heif_image_get_primary_height(image), 1};
    picture.pixels = std::make_unique_for_overwrite<uint8_t[]>(picture.size());
    int stride = 0;
    const uint8_t* const plane = heif_image_get_plane_readonly(image, heif_channel_Y, &stride);
    for (int y = 0; y < picture.height; ++y)
        std::copy_n(plane + size_t(y) * size_t(stride),
            picture.width,
            &picture.pixels[size_t(y) * size_t(picture.width)]);
    heif_image_release(image);
    heif_image_handle_release(handle);
    heif_context_free(context);
    return picture;
}
