#include "RKImageLoader/video/RKRgbScaling_p.h"

extern "C" {
#include <libavutil/frame.h>
#include <libswscale/swscale.h>
}

#include <cstring>
#include <optional>

namespace {

/// The number in a field that comes from the file: it may be none of the enumerators, so that it
/// must not be read as one.
template <typename Enum>
int rawValue(const Enum& field)
{
    static_assert(sizeof(Enum) == sizeof(int));
    int value = 0;
    std::memcpy(&value, &field, sizeof value);
    return value;
}

/// FFmpeg's number of a YCbCr matrix for scaling, where it has one.
std::optional<int> scalingMatrix(int matrix)
{
    switch (matrix) {
    case AVCOL_SPC_BT709: return SWS_CS_ITU709;
    case AVCOL_SPC_FCC: return SWS_CS_FCC;
    case AVCOL_SPC_BT470BG:
    case AVCOL_SPC_SMPTE170M: return SWS_CS_ITU601;
    case AVCOL_SPC_SMPTE240M: return SWS_CS_SMPTE240M;
    case AVCOL_SPC_BT2020_NCL:
    case AVCOL_SPC_BT2020_CL: return SWS_CS_BT2020;
    default: return {};
    }
}

void followTags(SwsContext* context, const AVFrame& frame)
{
    const std::optional<int> matrix = scalingMatrix(rawValue(frame.colorspace));
    const bool isFullRange = rawValue(frame.color_range) == AVCOL_RANGE_JPEG;
    if (!matrix && !isFullRange)
        return;
    int* sourceTable = nullptr;
    int* targetTable = nullptr;
    int sourceRange = 0;
    int targetRange = 0;
    int brightness = 0;
    int contrast = 0;
    int saturation = 0;
    if (sws_getColorspaceDetails(context,
            &sourceTable,
            &sourceRange,
            &targetTable,
            &targetRange,
            &brightness,
            &contrast,
            &saturation)
        < 0)
        return;
    // The range stays full for the pixel formats that imply it.
    sws_setColorspaceDetails(context,
        matrix ? sws_getCoefficients(*matrix) : sourceTable,
        isFullRange ? 1 : sourceRange,
        targetTable,
        targetRange,
        brightness,
        contrast,
        saturation);
}

} // namespace

void RKRgbScaling::Deleter::operator()(SwsContext* context) const
{
    sws_freeContext(context);
}

RKRgbScaling::Context RKRgbScaling::contextFor(const AVFrame& frame)
{
    Context context(sws_getCachedContext(nullptr,
        frame.width,
        frame.height,
        static_cast<AVPixelFormat>(frame.format),
        frame.width,
        frame.height,
        AV_PIX_FMT_RGB24,
        SWS_BICUBIC,
        nullptr,
        nullptr,
        nullptr));
    if (context)
        followTags(context.get(), frame);
    return context;
}
