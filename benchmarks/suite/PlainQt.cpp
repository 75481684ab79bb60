// What a program does with Qt alone. Usage:
//   convert FILE OUT [WIDTH HEIGHT]   upright, in sRGB, fitted into the size
//   clip FILE OUT X Y W H WIDTH HEIGHT
//   thumbs FOLDER SIDE FILE...

#include <QColorSpace>
#include <QFileInfo>
#include <QGuiApplication>
#include <QImageReader>
#include <QPainter>
#include <QStringList>
#include <QSvgRenderer>

namespace {

QSize sizeAt(const QStringList& arguments, qsizetype index)
{
    return {arguments.value(index).toInt(), arguments.value(index + 1).toInt()};
}

/// Turned after the colours are converted, since the reader's own way of turning forgets them.
QImage upright(QImageReader& reader)
{
    const QImageIOHandler::Transformations turning = reader.transformation();
    QImage image = reader.read();
    if (image.colorSpace().isValid() && image.colorSpace() != QColorSpace(QColorSpace::SRgb))
        image.convertToColorSpace(QColorSpace(QColorSpace::SRgb));
    const bool isMirrored = turning & QImageIOHandler::TransformationMirror;
    const bool isFlipped = turning & QImageIOHandler::TransformationFlip;
    if (isMirrored || isFlipped)
        image = image.mirrored(isMirrored, isFlipped);
    return turning & QImageIOHandler::TransformationRotate90
        ? image.transformed(QTransform().rotate(90))
        : image;
}

QImage drawing(const QString& path, const QSize& wanted)
{
    QSvgRenderer renderer(path);
    QImage image(renderer.defaultSize().scaled(wanted, Qt::KeepAspectRatio),
        QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::white);
    QPainter painter(&image);
    renderer.render(&painter);
    return image;
}

QImage picture(const QString& path, QSize wanted)
{
    if (path.endsWith(QLatin1String(".svg")))
        return drawing(path, wanted);
    QImageReader reader(path);
    if (!wanted.isEmpty()) {
        if (reader.transformation() & QImageIOHandler::TransformationRotate90)
            wanted.transpose();
        reader.setScaledSize(reader.size().scaled(wanted, Qt::KeepAspectRatio));
    }
    return upright(reader);
}

QImage clip(const QStringList& arguments)
{
    QImageReader reader(arguments.value(1));
    return upright(reader)
        .copy({sizeAt(arguments, 3).width(),
            sizeAt(arguments, 3).height(),
            sizeAt(arguments, 5).width(),
            sizeAt(arguments, 5).height()})
        .scaled(sizeAt(arguments, 7), Qt::KeepAspectRatio, Qt::SmoothTransformation);
}

bool makeThumbnails(const QString& folder, int side, const QStringList& paths)
{
    for (const QString& path : paths) {
        const QString target
            = folder + u'/' + QFileInfo(path).completeBaseName() + QStringLiteral(".jpg");
        if (!picture(path, {side, side}).save(target))
            return false;
    }
    return true;
}

bool run(const QStringList& arguments)
{
    const QString work = arguments.value(0);
    if (work == QLatin1String("thumbs"))
        return makeThumbnails(arguments.value(1), arguments.value(2).toInt(), arguments.mid(3));
    const QImage image = work == QLatin1String("clip")
        ? clip(arguments)
        : picture(arguments.value(1), sizeAt(arguments, 3));
    return image.save(arguments.value(2));
}

} // namespace

int main(int argc, char** argv)
{
    const QGuiApplication application(argc, argv);
    QImageReader::setAllocationLimit(0);
    return run(QCoreApplication::arguments().mid(1)) ? 0 : 1;
}
