#pragma once

#include <QBuffer>
#include <QByteArray>
#include <QColor>
#include <QFile>
#include <QImage>
#include <QString>

#include <cstdlib>
#include <utility>

/// Pictures and files that several tests need.
namespace RKTestPictures {

/// A picture whose quadrants are red, green, blue and white (top left, top right, bottom left,
/// bottom right), which shows every way of turning it.
inline QImage quadrants(const QSize& size, QImage::Format format = QImage::Format_RGB32)
{
    QImage image(size, QImage::Format_ARGB32);
    for (int y = 0; y < size.height(); ++y) {
        for (int x = 0; x < size.width(); ++x) {
            const bool right = x >= size.width() / 2;
            const bool bottom = y >= size.height() / 2;
            const QColor top = right ? Qt::green : Qt::red;
            image.setPixelColor(x, y, bottom ? QColor(right ? Qt::white : Qt::blue) : top);
        }
    }
    return image.convertToFormat(format);
}

/// The quadrants of both pictures have the same colours, as near as a JPEG of the best quality.
inline bool haveSameQuadrants(const QImage& a, const QImage& b)
{
    constexpr int kTolerance = 12;
    const auto isNear = [](int x, int y) { return std::abs(x - y) < kTolerance; };
    for (const auto& [x, y] : {std::pair(1, 1), std::pair(7, 1), std::pair(1, 7), std::pair(7, 7)})
    {
        const QRgb first = a.pixel(a.width() * x / 8, a.height() * y / 8);
        const QRgb second = b.pixel(b.width() * x / 8, b.height() * y / 8);
        if (!isNear(qRed(first), qRed(second)) || !isNear(qGreen(first), qGreen(second))
            || !isNear(qBlue(first), qBlue(second)))
            return false;
    }
    return true;
}

inline QByteArray encoded(const QImage& image, const char* format, int quality = -1)
{
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    if (!image.save(&buffer, format, quality))
        qFatal("can't encode a %s", format);
    return buffer.data();
}

inline void write(const QString& path, const QByteArray& bytes)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size())
        qFatal("can't write %s", qPrintable(path));
}

inline QByteArray read(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        qFatal("can't read %s", qPrintable(path));
    return file.readAll();
}

} // namespace RKTestPictures
