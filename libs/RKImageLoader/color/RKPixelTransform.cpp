#include "RKImageLoader/color/RKLcms_p.h"
#include "RKImageLoader/color/RKPixelTransform_p.h"

#include <algorithm>
#include <array>
#include <cstdlib>
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
    /// A null profile makes no transform. The profile belongs to the context.
    static std::shared_ptr<const Engine> make(
        RKLcms::Context& context, const RKLcms::Profile& profile, Source source);
    void convertBlock(const quint16* source, QRgb* target, int pixels) const;
    void convertRounded(const quint16* source, QRgb* target, int pixels) const;
    bool bearsRounding() const;

    RKLcms::Context context;
    RKLcms::Transform exact;
    // For RGB in matrix profiles: the engine's way for 8 bits is exact and many times as fast.
    RKLcms::Transform eightBit;
    bool mayRound = false;
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
    engine->mayRound = engine->eightBit && engine->bearsRounding();
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
    } else if (mayRound || (eightBit && isEightBit(source, pixels * kRgbChannels))) {
        convertRounded(source, target, pixels);
    } else {
        cmsDoTransform(exact.get(), source, target, cmsUInt32Number(pixels));
    }
    std::transform(target, target + pixels, target, [](QRgb pixel) { return pixel | 0xff000000u; });
}

void RKPixelTransform::Engine::convertRounded(const quint16* source, QRgb* target, int pixels) const
{
    std::array<quint8, kBlock * kRgbChannels> samples{};
    std::transform(source, source + pixels * kRgbChannels, samples.begin(), [](quint16 sample) {
        return quint8((sample * 255u + 32767u) / 65535u);
    });
    cmsDoTransform(eightBit.get(), samples.data(), target, cmsUInt32Number(pixels));
}

/// Whether the profile's curves are so near to those of sRGB that rounding to 8 bits does not show.
/// It would tear the shadows of linear pictures apart.
bool RKPixelTransform::Engine::bearsRounding() const
{
    constexpr int kLargestError = 1;
    std::array<quint16, kBlock * kRgbChannels> greys16{};
    std::array<QRgb, kBlock> rounded = {};
    std::array<QRgb, kBlock> expected = {};
    // In small steps, and in between the values of 8 bits.
    constexpr int kStep = 9;
    for (int first = 0; first < 0x10000; first += kStep * kBlock) {
        for (int i = 0; i < kBlock; ++i) {
            std::fill_n(greys16.begin() + i * kRgbChannels,
                kRgbChannels,
                quint16(std::min(first + i * kStep, 0xffff)));
        }
        convertRounded(greys16.data(), rounded.data(), kBlock);
        cmsDoTransform(exact.get(), greys16.data(), expected.data(), kBlock);
        const bool isNear = std::equal(
            rounded.begin(), rounded.end(), expected.begin(), [](QRgb left, QRgb right) {
                return std::abs(qRed(left) - qRed(right)) <= kLargestError
                    && std::abs(qGreen(left) - qGreen(right)) <= kLargestError
                    && std::abs(qBlue(left) - qBlue(right)) <= kLargestError;
            });
        if (!isNear)
            return false;
    }
    return true;
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

void RKPixelTransform::convertRow(const quint16* source, QRgb* target, int pixels) const
{
    for (int done = 0; done < pixels; done += kBlock) {
        m_engine->convertBlock(source + qsizetype(done) * m_engine->channels,
            target + done,
            std::min(kBlock, pixels - done));
    }
}
