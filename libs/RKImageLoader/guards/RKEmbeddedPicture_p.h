#pragma once

#include <QByteArray>
#include <QImage>
#include <QSize>

/// Raster pictures inside other files: thumbnails, and images of drawings. They are as untrusted as
/// the files around them, but may cost far less. Reentrant.
class RKEmbeddedPicture
{
public:
    RKEmbeddedPicture() = delete;

    /// The name of the format by the content, as QImageReader has it; empty if it is unknown.
    static QByteArray format(const QByteArray& data);

    /// The size in pixels; empty for data that doesn't hold the picture that it promises, and for
    /// drawings and animations, which are not single rasters.
    static QSize size(const QByteArray& data);

    /// The picture; null if it has no size, or more pixels than RKImageLimits::kSmallGraphic.
    static QImage thumbnail(const QByteArray& data);
    /// The size of that in pixels; invalid if it is null. Decodes only what its header does not
    /// vouch for.
    static QSize thumbnailSize(const QByteArray& data);

private:
    static QSize size(const QByteArray& data, const QByteArray& name);
};
