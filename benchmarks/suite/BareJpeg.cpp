#include "BareCodec.h"

#include <jpeglib.h>

#include <cstdio>

BareCodec::Picture BareCodec::jpeg(const std::string& path, int width, int height)
{
    const std::vector<uint8_t> file = bytes(path);
    return jpegStream(file.data(), file.size(), width, height);
}

BareCodec::Picture BareCodec::jpegStream(const uint8_t* stream, size_t size, int width, int height)
{
    jpeg_decompress_struct decoder{};
    jpeg_error_mgr errors{};
    decoder.err = jpeg_std_error(&errors);
    jpeg_create_decompress(&decoder);
    jpeg_mem_src(&decoder, stream, static_cast<unsigned long>(size));
    jpeg_read_header(&decoder, TRUE);
    decoder.out_color_space = JCS_RGB;
    decoder.scale_denom = 8;
    decoder.scale_num = 8;
    if (width > 0) {
        // The picture fits where one of its sides does.
        const auto isLargeEnough = [&](unsigned eighths) {
            return decoder.image_width * eighths >= unsigned(width) * 8
                || decoder.image_height * eighths >= unsigned(height) * 8;
        };
        decoder.scale_num = 1;
        while (decoder.scale_num < 8 && !isLargeEnough(decoder.scale_num))
            decoder.scale_num *= 2;
    }
    jpeg_start_decompress(&decoder);
    Picture picture{int(decoder.output_width), int(decoder.output_height)};
    picture.pixels = std::make_unique_for_overwrite<uint8_t[]>(picture.size());
    while (decoder.output_scanline < decoder.output_height) {
        JSAMPROW row = &picture.pixels[size_t(decoder.output_scanline) * decoder.output_width * 3];
        jpeg_read_scanlines(&decoder, &row, 1);
    }
    jpeg_finish_decompress(&decoder);
    jpeg_destroy_decompress(&decoder);
    return picture;
}
