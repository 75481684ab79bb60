#include "RKImageLoader/media/RKLogCategories_p.h"

Q_LOGGING_CATEGORY(rkLoad, "rk.load")
Q_LOGGING_CATEGORY(rkFormats, "rk.formats", QtWarningMsg)
Q_LOGGING_CATEGORY(rkMetadata, "rk.metadata")
Q_LOGGING_CATEGORY(rkVideo, "rk.video")
Q_LOGGING_CATEGORY(rkColor, "rk.color")
