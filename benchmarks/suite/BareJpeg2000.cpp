#include "BareCodec.h"

#include <openjpeg.h>

namespace {

struct Decoder
{
    opj_stream_t* stream = nullptr;
    opj_codec_t* codec = opj_create_decompress(OPJ_CODEC_JP2);
    opj_image_t* image = nullptr;

    /// Reads the header; the picture is halved so many times.
    Decoder(const std::string& path, unsigned halvings)
        : stream(opj_stream_create_default_file_stream(path.c_str(), OPJ_TRUE))
    {
        opj_dparameters_t options;
        opj_set_default_decoder_parameters(&options);
        options.cp_reduce = halvings;
        if (!stream || !opj_setup_decoder(codec, &options)
            || !opj_read_header(stream, codec, &image))
            BareCodec::fail(path);
    }

    ~Decoder()
    {
        opj_image_destroy(image);
        opj_destroy_codec(codec);
        opj_stream_destroy(stream);
    }

    Decoder(const Decoder&) = delete;
    Decoder& operator=(const Decoder&) = delete;
};

unsigned halvingsFor(const std::string& path, int width, int height)
{
    const Decoder whole(path, 0);
    unsigned halvings = 0;
    while (width > 0 && halvings < 5
        && ((whole.image->x1 >> (halvings + 1)) >= unsigned(width)
            || (whole.image->y1 >> (halvings + 1)) >= unsigned(height)))
        ++halvings;
    return halvings;
}

} // namespace

BareCodec::Picture BareCodec::jpeg2000(const std::string& path, int width, int height)
{
    const Decoder decoder(path, halvingsFor(path, width, height));
    if (!opj_decode(decoder.codec, decoder.stream, decoder.image) || decoder.image->numcomps < 3)
        fail(path);
    const opj_image_comp_t* const planes = decoder.image->comps;
    Picture picture{int(planes->w), int(planes->h)};
    picture.pixels = std::make_unique_for_overwrite<uint8_t[]>(picture.size());
    uint8_t* pixel = picture.pixels.get();
    for (size_t i = 0; i < size_t(planes->w) * planes->h; ++i) {
        for (int channel = 0; channel < 3; ++channel)
            *pixel++ = uint8_t(planes[channel].data[i]);
    }
    return picture;
}
