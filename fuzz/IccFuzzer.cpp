// A colour profile: read, set up as the source of a conversion, and used for a few colours; every
// eighth size also by the decoders' transform, which takes its time to prepare.
#include "Fuzzing.h"
#include "RKImageLoader/color/RKColorProfileConverterImpl_p.h"
#include "RKImageLoader/color/RKPixelTransform_p.h"

#include <IccCmm.h>

#include <array>

namespace {

void convertColors(CIccCmm* cmm)
{
    const RKColorProfileConverterLookupTable table;
    for (const unsigned int color : {0x000000U, 0xffffffU, 0xff0000U, 0x00ff00U, 0x7f8001U}) {
        for (const bool isCmyk : {false, true}) {
            if (table.convertColor(color, cmm, isCmyk) > 0xffffffU)
                qFatal("more than a colour");
        }
    }
    std::array<float, 16> channels = {2, -1, 0.5F, 0.25F};
    cmm->Apply(channels.data(), channels.data());
    for (size_t i = 0; i < 3; ++i) {
        if (channels[i] < 0 || channels[i] > 1)
            qFatal("beyond the limits");
    }
}

void convertRows(const QByteArray& profile)
{
    using Source = RKPixelTransform::Source;
    for (const Source source : {Source::Gray, Source::Rgb, Source::Cmyk, Source::Lab}) {
        const auto transform = RKPixelTransform::fromProfile(profile, source);
        if (!transform)
            continue;
        constexpr std::array<quint16, 8> kSamples
            = {0, 0x4040, 0x8080, 0xffff, 0x1234, 0xffff, 1, 0x7fff};
        std::array<QRgb, 2> pixels = {};
        transform->convertRow(kSamples.data(), pixels.data(), 2);
        if (qAlpha(pixels[0]) != 255 || qAlpha(pixels[1]) != 255)
            qFatal("not opaque");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
    const QByteArray profile = quietInput(bytes, size);
    const RKColorProfileConverterImpl converter;
    CIccCmm cmm(icSigUnknownData, icSigUnknownData, true);
    if (converter.initCmm(&cmm, converter.readProfileFromByteArray(profile)))
        convertColors(&cmm);
    if (size % 8 == 0)
        convertRows(profile);
    return 0;
}
