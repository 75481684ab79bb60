#pragma once

#include "RKImageLoader/media/RKCancellation.h"

#include <QByteArray>
#include <QImage>
#include <QSize>

#include <optional>

/// TIFF pictures that Qt's reader gets wrong, read with libtiff: with 16 bits a channel and a plane
/// for each of them (TIFF 6.0, PlanarConfiguration 2), which it takes for rows of pixels; grey with
/// alpha, which it loses; and with 16 bits and more than four channels, or inks, which it refuses.
/// Reentrant.
class RKTiffPicture
{
public:
    RKTiffPicture() = delete;

    /// The picture as it is stored, with 8 bits a channel, if it is one of these and has the size.
    /// Null, with a warning, if it is damaged, and without one if it was cancelled; nullopt for
    /// other files.
    static std::optional<QImage> read(
        const QByteArray& data, const QSize& size, const RKCancellation& cancellation = {});
};
