#pragma once

#include "RKImageLoader/media/RKCancellation.h"

#include <QByteArray>
#include <QImage>
#include <QSize>

/// Still WebP pictures, made smaller by libwebp's own scaler while they are decoded. Reentrant.
class RKReducedWebp
{
public:
    RKReducedWebp() = delete;

    /// The picture in that size, in the format and colour space that Qt's reader gives it. Null,
    /// without a message, where that reader is needed: for animations, for lossy pictures with
    /// transparency, for sizes that are not smaller, and for data that are damaged or no WebP. Null
    /// also if it was cancelled.
    static QImage read(
        const QByteArray& data, const QSize& size, const RKCancellation& cancellation = {});
};
