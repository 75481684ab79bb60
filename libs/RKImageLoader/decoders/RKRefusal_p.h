#pragma once

#include "RKImageLoader/media/RKErrorText_p.h"
#include "RKImageLoader/media/RKLoadContext.h"
#include "RKImageLoader/media/RKLogCategories_p.h"

/// What several decoders refuse, with a warning and a reason.
namespace RKRefusal {

inline void wantedSize(RKLoadContext& context)
{
    qCWarning(rkLoad, "Picture refused: the wanted size is too large");
    context.fail(
        RKMediaErrorCode::TooLarge, RKErrorText::tr("The size that was asked for is too large."));
}

inline void reduction(RKLoadContext& context)
{
    qCWarning(rkLoad, "Picture refused: making it smaller takes too much memory or time");
    context.fail(RKMediaErrorCode::TooLarge,
        RKErrorText::tr("Making the picture smaller takes too much memory or time."));
}

} // namespace RKRefusal
