#pragma once

#include <QImage>
#include <QSize>

#include <functional>

/// Asked on the decoding thread: true if nobody needs the picture any more.
using RKStopQuestion = std::function<bool()>;

/// A picture whose header has been read, for codecs that are loaded later than their plug-in.
class RKOpenPicture
{
public:
    RKOpenPicture() = default;
    virtual ~RKOpenPicture() = default;

    Q_DISABLE_COPY_MOVE(RKOpenPicture)

    /// The size of the upright picture, in pixels.
    virtual QSize size() const = 0;
    /// The picture in exactly that size, with 32 bits a pixel; null if it can't be decoded or need
    /// not be.
    virtual QImage decode(const QSize& size, const RKStopQuestion& mustStop) = 0;
};
