#include "RKImageLoader/color/RKLcms_p.h"

#include <IccCmm.h>

#include <algorithm>
#include <array>
#include <cmath>

namespace {

constexpr int kMostChannels = 4;
constexpr icUInt32Number kBlock = 256;

/// How a colour space's 0 to 1 becomes the engine's numbers: value * scale + offset.
struct Encoding
{
    icColorSpaceSignature space;
    cmsUInt32Number layout;
    int channels;
    std::array<float, kMostChannels> scale;
    std::array<float, kMostChannels> offset;
};

constexpr float kXyzScale = 65535.0F / 32768.0F;
constexpr std::array<Encoding, 5> kEncodings = {{
    {icSigGrayData, TYPE_GRAY_FLT, 1, {1}, {}},
    {icSigRgbData, TYPE_RGB_FLT, 3, {1, 1, 1}, {}},
    {icSigCmykData, TYPE_CMYK_FLT, 4, {100, 100, 100, 100}, {}},
    {icSigLabData, TYPE_Lab_FLT, 3, {100, 255, 255}, {0, -128, -128}},
    {icSigXYZData, TYPE_XYZ_FLT, 3, {kXyzScale, kXyzScale, kXyzScale}, {}},
}};

const Encoding* encodingOf(icColorSpaceSignature space)
{
    const auto found = std::find_if(kEncodings.begin(),
        kEncodings.end(),
        [space](const Encoding& encoding) { return encoding.space == space; });
    return found == kEncodings.end() ? nullptr : &*found;
}

/// Tables of version 4 end at a black of their own; in older ones the engine would shift it.
bool needsBlackPointCompensation(const CIccProfile& source)
{
    constexpr icUInt32Number kVersion4 = 0x04000000;
    return source.m_Header.version >= kVersion4 && source.IsTagPresent(icSigAToB0Tag);
}

} // namespace

struct CIccCmm::Engine
{
    /// At most kBlock pixels.
    void convert(const float* from, float* to, icUInt32Number pixels) const;

    RKLcms::Context context;
    RKLcms::Transform transform;
    const Encoding* source = nullptr;
    const Encoding* target = nullptr;
};

void CIccCmm::Engine::convert(const float* from, float* to, icUInt32Number pixels) const
{
    std::array<float, kBlock* kMostChannels> in = {};
    std::array<float, kBlock* kMostChannels> out = {};
    std::array<bool, kBlock> isNumber = {};
    const auto sourceChannels = size_t(source->channels);
    const auto targetChannels = size_t(target->channels);
    for (size_t i = 0; i < pixels; ++i) {
        const float* const pixel = from + i * sourceChannels;
        isNumber[i] = std::none_of(
            pixel, pixel + sourceChannels, [](float channel) { return std::isnan(channel); });
        // The engine would take NaN for 0.
        for (size_t c = 0; c < sourceChannels && isNumber[i]; ++c)
            in[i * sourceChannels + c] = pixel[c] * source->scale[c] + source->offset[c];
    }
    cmsDoTransform(transform.get(), in.data(), out.data(), pixels);
    for (size_t i = 0; i < pixels; ++i) {
        for (size_t c = 0; c < targetChannels; ++c) {
            const float value
                = (out[i * targetChannels + c] - target->offset[c]) / target->scale[c];
            to[i * targetChannels + c]
                = isNumber[i] ? std::clamp(value, 0.0F, 1.0F) : std::nanf("");
        }
    }
}

CIccCmm::CIccCmm(icColorSpaceSignature nSrcSpace, icColorSpaceSignature nDestSpace, bool)
    : m_sourceSpace(nSrcSpace)
    , m_targetSpace(nDestSpace)
{
}

CIccCmm::~CIccCmm() = default;

icStatusCMM CIccCmm::AddXform(CIccProfile* pProfile,
    icRenderingIntent,
    icXformInterp,
    icXformLutType,
    bool,
    CIccCreateXformHintManager*)
{
    if (!pProfile || pProfile->bytes().isEmpty())
        return icCmmStatInvalidProfile;
    if (m_profiles.size() == 2)
        return icCmmStatBadXform;
    icColorSpaceSignature& space = m_profiles.empty() ? m_sourceSpace : m_targetSpace;
    const icColorSpaceSignature actual = pProfile->m_Header.colorSpace;
    if (!encodingOf(actual) || (space != icSigUnknownData && space != actual))
        return icCmmStatBadSpaceLink;
    space = actual;
    m_profiles.emplace_back(pProfile);
    return icCmmStatOk;
}

icStatusCMM CIccCmm::Begin(bool)
{
    if (m_profiles.size() != 2)
        return icCmmStatBad;
    auto engine = std::make_unique<Engine>();
    engine->context = RKLcms::makeContext();
    engine->source = encodingOf(m_sourceSpace);
    engine->target = encodingOf(m_targetSpace);
    const RKLcms::Profile source
        = RKLcms::openProfile(engine->context, m_profiles.front()->bytes());
    const RKLcms::Profile target = RKLcms::openProfile(engine->context, m_profiles.back()->bytes());
    if (!source || !target)
        return icCmmStatInvalidProfile;

    // Using floats and without its optimisation, the engine neither rounds nor clips on the way.
    cmsUInt32Number flags = cmsFLAGS_NOOPTIMIZE | cmsFLAGS_NOCACHE;
    if (needsBlackPointCompensation(*m_profiles.front()))
        flags |= cmsFLAGS_BLACKPOINTCOMPENSATION;
    engine->transform.reset(cmsCreateTransformTHR(engine->context.get(),
        source.get(),
        engine->source->layout,
        target.get(),
        engine->target->layout,
        INTENT_PERCEPTUAL,
        flags));
    if (!engine->transform)
        return icCmmStatBadXform;
    m_engine = std::move(engine);
    return icCmmStatOk;
}

bool CIccCmm::Valid() const
{
    return m_engine != nullptr;
}

icColorSpaceSignature CIccCmm::GetSourceSpace() const
{
    return m_sourceSpace;
}

icColorSpaceSignature CIccCmm::GetDestSpace() const
{
    return m_targetSpace;
}

icStatusCMM CIccCmm::Apply(icFloatNumber* DstPixel, const icFloatNumber* SrcPixel) const
{
    return Apply(DstPixel, SrcPixel, 1);
}

icStatusCMM CIccCmm::Apply(
    icFloatNumber* DstPixel, const icFloatNumber* SrcPixel, icUInt32Number nPixels) const
{
    if (!m_engine)
        return icCmmStatBad;
    for (icUInt32Number done = 0; done < nPixels; done += kBlock) {
        const icUInt32Number count = std::min(kBlock, nPixels - done);
        m_engine->convert(SrcPixel + size_t(done) * size_t(m_engine->source->channels),
            DstPixel + size_t(done) * size_t(m_engine->target->channels),
            count);
    }
    return icCmmStatOk;
}
