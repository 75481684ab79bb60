#include "RKImageLoader/color/RKEightBits_p.h"
#include "RKImageLoader/color/RKLcms_p.h"
#include "RKImageLoader/color/RKMatrixTransform_p.h"

#include <IccCmm.h>
#include <lcms2_plugin.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <optional>
#include <vector>

#ifdef __SSE2__
#    include <emmintrin.h>
#endif

namespace {

constexpr std::array kColorants
    = {cmsSigRedColorantTag, cmsSigGreenColorantTag, cmsSigBlueColorantTag};
constexpr std::array kCurves = {cmsSigRedTRCTag, cmsSigGreenTRCTag, cmsSigBlueTRCTag};
constexpr QRgb kAlphaMask = 0xff000000;

struct CurveDeleter
{
    void operator()(cmsToneCurve* curve) const
    {
        cmsFreeToneCurve(curve);
    }
};

using Curve = std::unique_ptr<cmsToneCurve, CurveDeleter>;

/// Tables come before curves and matrix (ICC.1:2022, 9.2).
bool isMatrixBased(cmsHPROFILE profile)
{
    constexpr std::array kTables = {cmsSigAToB0Tag, cmsSigDToB0Tag, cmsSigBToA0Tag, cmsSigBToD0Tag};
    const auto has = [profile](cmsTagSignature tag) { return cmsIsTag(profile, tag); };
    return cmsGetColorSpace(profile) == cmsSigRgbData && cmsGetPCS(profile) == cmsSigXYZData
        && std::none_of(kTables.begin(), kTables.end(), has)
        && std::all_of(kColorants.begin(), kColorants.end(), has)
        && std::all_of(kCurves.begin(), kCurves.end(), has);
}

const cmsToneCurve* curveOf(cmsHPROFILE profile, size_t channel)
{
    return static_cast<const cmsToneCurve*>(cmsReadTag(profile, kCurves[channel]));
}

/// The colorants as columns, times the factor.
std::optional<cmsMAT3> matrixOf(cmsHPROFILE profile)
{
    cmsMAT3 matrix = {};
    for (size_t column = 0; column < kColorants.size(); ++column) {
        const auto* color = static_cast<const cmsCIEXYZ*>(cmsReadTag(profile, kColorants[column]));
        if (!color)
            return std::nullopt;
        matrix.v[0].n[column] = color->X;
        matrix.v[1].n[column] = color->Y;
        matrix.v[2].n[column] = color->Z;
    }
    return matrix;
}

void scale(cmsMAT3& matrix, double factor)
{
    for (cmsVEC3& row : matrix.v) {
        for (double& number : row.n)
            number *= factor;
    }
}

/// Which of 65 536 steps a linear value from 0 to 1 belongs to. The engine looks into tables that
/// way; 2^-17 is the exactness of its rounding.
int stepOf(float linear)
{
    return int(double(linear) * 65535 + (0.5 + 0x1p-17));
}

/// The least number from 0 to 1 that the curve takes to the level, or to a higher one.
std::optional<float> leastFor(unsigned int level, const Curve& curve)
{
    // Floats that are not negative are in the order of their bits.
    auto least = std::bit_cast<quint32>(0.0F);
    auto beyond = std::bit_cast<quint32>(1.0F) + 1;
    const quint32 none = beyond;
    while (least < beyond) {
        const quint32 middle = least + (beyond - least) / 2;
        const float value = cmsEvalToneCurveFloat(curve.get(), std::bit_cast<float>(middle));
        if (RKEightBits::rounded(std::clamp(value, 0.0F, 1.0F)) >= level)
            beyond = middle;
        else
            least = middle + 1;
    }
    return least == none ? std::nullopt : std::optional(std::bit_cast<float>(least));
}

} // namespace

struct RKMatrixTransform::Profiles
{
    Profiles(const QByteArray& sourceBytes, const QByteArray& targetBytes)
        : context(RKLcms::makeContext())
        , source(RKLcms::openProfile(context, sourceBytes))
        , target(RKLcms::openProfile(context, targetBytes))
    {
    }

    RKLcms::Context context;
    RKLcms::Profile source;
    RKLcms::Profile target;
};

std::unique_ptr<const RKMatrixTransform> RKMatrixTransform::make(
    const CIccProfile& source, const CIccProfile& target, const CIccCmm& engine)
{
    const Profiles profiles(source.bytes(), target.bytes());
    if (!profiles.source || !profiles.target || !isMatrixBased(profiles.source.get())
        || !isMatrixBased(profiles.target.get()))
        return nullptr;
    std::unique_ptr<RKMatrixTransform> made(new RKMatrixTransform);
    const bool isSet = made->setSource(profiles) && made->setTarget(profiles);
    return isSet && made->agreesWith(engine) ? std::move(made) : nullptr;
}

bool RKMatrixTransform::setSource(const Profiles& profiles)
{
    std::optional<cmsMAT3> toXyz = matrixOf(profiles.source.get());
    const std::optional<cmsMAT3> ofTarget = matrixOf(profiles.target.get());
    cmsMAT3 fromXyz;
    if (!toXyz || !ofTarget || !_cmsMAT3inverse(&*ofTarget, &fromXyz))
        return false;
    // The engine's XYZ between them ends at 1, not at 1 + 32767/32768, and it has one matrix made
    // of two.
    constexpr double kGreatestXyz = 1.0 + 32767.0 / 32768.0;
    scale(*toXyz, 1.0 / kGreatestXyz);
    scale(fromXyz, kGreatestXyz);
    cmsMAT3 matrix;
    _cmsMAT3per(&matrix, &fromXyz, &*toXyz);

    bool isFinite = true;
    for (size_t channel = 0; channel < m_linear.size(); ++channel) {
        const cmsToneCurve* const curve = curveOf(profiles.source.get(), channel);
        if (!curve)
            return false;
        for (size_t level = 0; level < kLevels; ++level) {
            const double value = double(cmsEvalToneCurveFloat(curve, float(level) / 255.0F));
            double* const rgb = m_linear[channel][level].rgb;
            for (size_t i = 0; i < 3; ++i) {
                rgb[i] = value * matrix.v[i].n[channel];
                isFinite = isFinite && std::isfinite(rgb[i]);
            }
            rgb[3] = 0;
        }
    }
    return isFinite;
}

bool RKMatrixTransform::setTarget(const Profiles& profiles)
{
    const cmsToneCurve* const forth = curveOf(profiles.target.get(), 0);
    const Curve back(forth ? cmsReverseToneCurve(forth) : nullptr);
    if (!back || !cmsIsToneCurveMonotonic(back.get()) || cmsIsToneCurveDescending(back.get()))
        return false;
    m_levels.fill(0);
    for (unsigned int level = 1; level < kLevels; ++level) {
        const std::optional<float> least = leastFor(level, back);
        if (!least)
            break;
        // No number below it shares its step. Curve and steps only rise, so that the table is right
        // everywhere if it is right here.
        const int step = stepOf(*least);
        if (*least > 0 && stepOf(std::nextafter(*least, 0.0F)) == step)
            return false;
        std::fill(m_levels.begin() + step, m_levels.end(), quint8(level));
    }
    return true;
}

bool RKMatrixTransform::agreesWith(const CIccCmm& engine) const
{
    constexpr size_t kPerChannel = 10;
    constexpr size_t kColors = kPerChannel * kPerChannel * kPerChannel;
    std::vector<QRgb> colors(kColors);
    std::vector<float> channels(kColors * 3);
    for (size_t i = 0; i < kColors; ++i) {
        const std::array digits
            = {i % kPerChannel, i / kPerChannel % kPerChannel, i / kPerChannel / kPerChannel};
        for (size_t channel = 0; channel < digits.size(); ++channel) {
            const auto level = quint32(digits[channel] * 255 / (kPerChannel - 1));
            colors[i] = (colors[i] << 8) | level;
            channels[i * 3 + channel] = float(level) / 255.0F;
        }
    }
    convert(colors.data(), colors.data(), int(kColors));
    if (engine.Apply(channels.data(), channels.data(), icUInt32Number(kColors)) != icCmmStatOk)
        return false;
    for (size_t i = 0; i < kColors; ++i) {
        if (colors[i] != RKEightBits::rounded(&channels[i * 3]))
            return false;
    }
    return true;
}

void RKMatrixTransform::convert(const QRgb* source, QRgb* target, int pixels) const
{
#ifdef __SSE2__
    const __m128 kNone = _mm_setzero_ps();
    const __m128 kAll = _mm_set1_ps(1);
    const __m128d kScale = _mm_set1_pd(65535);
    const __m128d kHalf = _mm_set1_pd(0.5 + 0x1p-17);
    const auto limited
        = [&](__m128d sums) { return _mm_min_ps(_mm_max_ps(_mm_cvtpd_ps(sums), kNone), kAll); };
    for (int i = 0; i < pixels; ++i) {
        const QRgb pixel = source[i];
        const double* const red = m_linear[0][(pixel >> 16) & 0xff].rgb;
        const double* const green = m_linear[1][(pixel >> 8) & 0xff].rgb;
        const double* const blue = m_linear[2][pixel & 0xff].rgb;
        const __m128 redGreen = limited(
            _mm_add_pd(_mm_add_pd(_mm_load_pd(red), _mm_load_pd(green)), _mm_load_pd(blue)));
        const __m128 last = limited(_mm_add_sd(
            _mm_add_sd(_mm_load_sd(red + 2), _mm_load_sd(green + 2)), _mm_load_sd(blue + 2)));
        const auto steps = quint64(_mm_cvtsi128_si64(
            _mm_cvttpd_epi32(_mm_add_pd(_mm_mul_pd(_mm_cvtps_pd(redGreen), kScale), kHalf))));
        const auto lastStep
            = quint32(_mm_cvttsd_si32(_mm_add_sd(_mm_mul_sd(_mm_cvtps_pd(last), kScale), kHalf)));
        target[i] = (pixel & kAlphaMask) | QRgb(m_levels[quint32(steps)]) << 16
            | QRgb(m_levels[steps >> 32]) << 8 | m_levels[lastStep];
    }
#else
    convertPlainly(source, target, pixels);
#endif
}

void RKMatrixTransform::convertPlainly(const QRgb* source, QRgb* target, int pixels) const
{
    for (int i = 0; i < pixels; ++i) {
        const QRgb pixel = source[i];
        const double* const red = m_linear[0][(pixel >> 16) & 0xff].rgb;
        const double* const green = m_linear[1][(pixel >> 8) & 0xff].rgb;
        const double* const blue = m_linear[2][pixel & 0xff].rgb;
        QRgb result = pixel & kAlphaMask;
        for (int channel = 0; channel < 3; ++channel) {
            const auto sum = float(red[channel] + green[channel] + blue[channel]);
            const int step = stepOf(std::clamp(sum, 0.0F, 1.0F));
            result |= QRgb(m_levels[size_t(step)]) << (16 - 8 * channel);
        }
        target[i] = result;
    }
}
