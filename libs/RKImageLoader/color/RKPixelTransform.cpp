#include "RKImageLoader/color/RKLcms_p.h"
#include "RKImageLoader/color/RKPixelTransform_p.h"

#include <algorithm>
#include <array>
#include <numeric>
#include <vector>

namespace {

constexpr int kBlock = 256;
constexpr int kRgbChannels = 3;

struct SourceFormat
{
    cmsColorSpaceSignature space;
    cmsUInt32Number layout;
    int channels;
};

SourceFormat formatOf(RKPixelTransform::Source source)
{
    switch (source) {
    case RKPixelTransform::Source::Gray: return {cmsSigGrayData, TYPE_GRAY_16, 1};
    case RKPixelTransform::Source::Rgb: return {cmsSigRgbData, TYPE_RGB_16, kRgbChannels};
    case RKPixelTransform::Source::Cmyk: return {cmsSigCmykData, TYPE_CMYK_16, 4};
    case RKPixelTransform::Source::Lab: return {cmsSigLabData, TYPE_Lab_16, 3};
    }
    Q_UNREACHABLE();
}

RKLcms::Transform makeTransform(const RKLcms::Context& context,
    const RKLcms::Profile& source,
    const RKLcms::Profile& target,
    cmsUInt32Number layout,
    cmsUInt32Number accuracy)
{
    constexpr cmsUInt32Number kRgb32 = Q_BYTE_ORDER == Q_LITTLE_ENDIAN ? TYPE_BGRA_8 : TYPE_ARGB_8;
    // Without a cache of its own a transform may be used by several threads.
    const cmsUInt32Number flags = cmsFLAGS_BLACKPOINTCOMPENSATION | cmsFLAGS_NOCACHE | accuracy;
    return RKLcms::Transform(cmsCreateTransformTHR(context.get(),
        source.get(),
        layout,
        target.get(),
        kRgb32,
        INTENT_RELATIVE_COLORIMETRIC,
        flags));
}

bool hasTables(const RKLcms::Profile& profile)
{
    // Where the table of an intent is missing, the perceptual one stands in.
    return cmsIsCLUT(profile.get(), INTENT_RELATIVE_COLORIMETRIC, LCMS_USED_AS_INPUT)
        || cmsIsCLUT(profile.get(), INTENT_PERCEPTUAL, LCMS_USED_AS_INPUT);
}

/// The engine's grid follows a profile that is a grid itself. Curves and Lab it misses by up to 30
/// of 255 where colours are strong, and shadows of linear pictures altogether; those are worth ten
/// times the time.
cmsUInt32Number accuracyFor(const RKLcms::Profile& profile, RKPixelTransform::Source source)
{
    const bool isGrid = source == RKPixelTransform::Source::Cmyk
        || (source == RKPixelTransform::Source::Rgb && hasTables(profile));
    return isGrid ? cmsFLAGS_HIGHRESPRECALC : cmsFLAGS_NOOPTIMIZE;
}

bool isEightBit(const quint16* samples, int count)
{
    return std::all_of(
        samples, samples + count, [](quint16 sample) { return (sample >> 8) == (sample & 0xff); });
}

} // namespace

struct RKPixelTransform::Engine
{
    /// Nothing is made for a null profile. The profile belongs to the context.
    static std::shared_ptr<const Engine> make(
        RKLcms::Context& context, const RKLcms::Profile& profile, Source source);
    void convertBlock(const quint16* source, QRgb* target, int pixels) const;

    RKLcms::Context context;
    RKLcms::Transform exact;
    // For RGB in matrix profiles: the engine has a fast way for them that is exact for 8 bits.
    RKLcms::Transform eightBit;
    // For grey: all there is.
    std::vector<QRgb> greys;
    int channels = 0;
};

std::shared_ptr<const RKPixelTransform::Engine> RKPixelTransform::Engine::make(
    RKLcms::Context& context, const RKLcms::Profile& profile, Source source)
{
    const RKLcms::Profile target(cmsCreate_sRGBProfileTHR(context.get()));
    if (!profile || !target)
        return nullptr;
    const SourceFormat format = formatOf(source);
    RKLcms::Transform exact
        = makeTransform(context, profile, target, format.layout, accuracyFor(profile, source));
    if (!exact)
        return nullptr;

    auto engine = std::make_shared<Engine>();
    engine->exact = std::move(exact);
    if (source == Source::Rgb && !hasTables(profile))
        engine->eightBit = makeTransform(context, profile, target, TYPE_RGB_8, 0);
    if (source == Source::Gray) {
        std::vector<quint16> all(0x10000);
        std::iota(all.begin(), all.end(), quint16(0));
        engine->greys.resize(all.size());
        cmsDoTransform(engine->exact.get(), all.data(), engine->greys.data(), 0x10000);
    }
    engine->channels = format.channels;
    engine->context = std::move(context);
    return engine;
}

void RKPixelTransform::Engine::convertBlock(const quint16* source, QRgb* target, int pixels) const
{
    if (!greys.empty()) {
        std::transform(
            source, source + pixels, target, [this](quint16 grey) { return greys[grey]; });
    } else if (eightBit && isEightBit(source, pixels * kRgbChannels)) {
        std::array<quint8, kBlock * kRgbChannels> samples;
        std::transform(source, source + pixels * kRgbChannels, samples.begin(), [](quint16 sample) {
            return quint8(sample);
        });
        cmsDoTransform(eightBit.get(), samples.data(), target, cmsUInt32Number(pixels));
    } else {
        cmsDoTransform(exact.get(), source, target, cmsUInt32Number(pixels));
    }
    std::transform(target, target + pixels, target, [](QRgb pixel) { return pixel | 0xff000000u; });
}

RKPixelTransform::RKPixelTransform(std::shared_ptr<const Engine> engine)
    : m_engine(std::move(engine))
{
}

std::optional<RKPixelTransform> RKPixelTransform::fromProfile(const QByteArray& icc, Source source)
{
    RKLcms::Context context = RKLcms::makeContext();
    const RKLcms::Profile profile = RKLcms::openProfile(context, icc);
    if (!profile || cmsGetColorSpace(profile.get()) != formatOf(source).space)
        return std::nullopt;
    auto engine = Engine::make(context, profile, source);
    return engine ? std::optional(RKPixelTransform(std::move(engine))) : std::nullopt;
}

std::optional<RKPixelTransform> RKPixelTransform::fromLab()
{
    RKLcms::Context context = RKLcms::makeContext();
    const RKLcms::Profile profile(cmsCreateLab4ProfileTHR(context.get(), nullptr));
    auto engine = Engine::make(context, profile, Source::Lab);
    return engine ? std::optional(RKPixelTransform(std::move(engine))) : std::nullopt;
}

int RKPixelTransform::channels() const
{
    return m_engine->channels;
}

void RKPixelTransform::convertRow(const quint16* source, QRgb* target, int pixels) const
{
    for (int done = 0; done < pixels; done += kBlock) {
        m_engine->convertBlock(source + qsizetype(done) * m_engine->channels,
            target + done,
            std::min(kBlock, pixels - done));
    }
}
