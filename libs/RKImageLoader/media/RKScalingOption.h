#pragma once

#include "RKImageLoader/RKImageLoaderExport.h"
#include "RKImageLoader/media/RKEnumWrapper.h"

#include <QString>

/// The methods of scaling a raster image.
enum RKScalingOptionEnum : qint64
{
    SCALING_NONE = 0,
    SCALING_SMOOTH = 1,
    SCALING_FAST = 2,
    SCALING_BILINEAR = 4,
    SCALING_BICUBIC = 8
};

/// How a raster image is scaled when it is drawn. Draw with exactly one method; none and
/// combinations draw nothing. Reentrant.
class RKIMAGELOADER_EXPORT RKScalingOption : public RKEnumWrapper<RKScalingOptionEnum>
{
public:
    /// No method.
    RKScalingOption() = default;
    /// One method, to draw with.
    RKScalingOption(RKScalingOptionEnum method);
    /// From keywords, separated by commas; unknown ones count as none.
    explicit RKScalingOption(const QString& keywords);

    void fillTable(RKEnumToStringTable<RKScalingOptionEnum>* table) const override;
};
