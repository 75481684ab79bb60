#include "RKImageLoader/drawables/RKDrawableInterfaceQSvgRenderer_p.h"
#include "RKImageLoader/drawables/RKSvgContent_p.h"

#include <QBuffer>
#include <QPainter>
#include <QSvgGenerator>

std::unique_ptr<RKDrawableInterface> RKSvgContent::read(const QByteArray& svg)
{
    return std::make_unique<RKDrawableInterfaceQSvgRenderer>(svg);
}

QByteArray RKSvgContent::write(const QImage& image)
{
    QBuffer buffer;
    QSvgGenerator generator;
    generator.setOutputDevice(&buffer);
    generator.setSize(image.size());
    generator.setViewBox(image.rect());
    generator.setTitle(QStringLiteral("converted QImage of RKDrawableInterfaceQImage"));
    QPainter painter(&generator);
    painter.drawImage(generator.viewBoxF(), image, image.rect());
    painter.end();
    return buffer.data();
}
