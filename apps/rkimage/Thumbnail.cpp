#include "Thumbnail.h"

#include "RKImageLoader/drawables/RKDrawable.h"

#include <QPainter>

QImage Thumbnail::of(const QImage& image)
{
    const bool isSmall = image.size().boundedTo(kSize) == image.size();
    const QImage scaled = isSmall ? image : RKDrawable(image).scaled(kSize).image();
    // A new image, for texts and a profile have no place in a thumbnail, and transparency none.
    QImage thumbnail(scaled.size(), QImage::Format_RGB32);
    thumbnail.fill(Qt::white);
    QPainter(&thumbnail).drawImage(0, 0, scaled);
    return thumbnail;
}
