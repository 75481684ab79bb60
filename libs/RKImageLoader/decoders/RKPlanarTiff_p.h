#pragma once

#include "RKImageLoader/media/RKCancellation.h"

#include <QByteArray>
#include <QImage>
#include <QSize>

#include <optional>

/// TIFF pictures with 16 bits a channel and a plane for each of them (TIFF 6.0, PlanarConfiguration
/// 2), read with libtiff. Qt's reader takes the planes for rows of pixels. Reentrant.
class RKPlanarTiff
{
public:
    RKPlanarTiff() = delete;

    /// The picture as it is stored, with 8 bits a channel, if it is one of these and has the size.
    /// Null, with a warning, if it is damaged, and without one if it was cancelled; nullopt for
    /// other files.
    static std::optional<QImage> read(
        const QByteArray& data, const QSize& size, const RKCancellation& cancellation = {});
};
