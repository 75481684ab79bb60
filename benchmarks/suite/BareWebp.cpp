#include "BareCodec.h"

#include <webp/decode.h>

#include <algorithm>

BareCodec::Picture BareCodec::webp(const std::string& path, int width, int height)
{
    const std::vector<uint8_t> file = bytes(path);
    WebPDecoderConfig decoder;
    WebPInitDecoderConfig(&decoder);
    if (WebPGetFeatures(file.data(), file.size(), &decoder.input) != VP8_STATUS_OK)
        fail(path);
    Picture picture{decoder.input.width, decoder.input.height};
    if (width > 0) {
        const double scale
            = std::min({1.0, double(width) / picture.width, double(height) / picture.height});
        picture.width = std::max(1, int(picture.width * scale + 0.5));
        picture.height = std::max(1, int(picture.height * scale + 0.5));
        decoder.options.use_scaling = 1;
        decoder.options.scaled_width = picture.width;
        decoder.options.scaled_height = picture.height;
    }
    picture.pixels = std::make_unique_for_overwrite<uint8_t[]>(picture.size());
    decoder.output.colorspace = MODE_RGB;
    decoder.output.is_external_memory = 1;
    decoder.output.u.RGBA = {picture.pixels.get(), picture.width * 3, picture.size()};
    if (WebPDecode(file.data(), file.size(), &decoder) != VP8_STATUS_OK)
        fail(path);
    return picture;
}
