#pragma once

#include <QBuffer>
#include <QByteArray>
#include <QColor>
#include <QFile>
#include <QImage>
#include <QString>

#include <algorithm>
#include <cstdlib>

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

/// An opaque picture whose pixels all differ, up to sides of 51.
inline QImage numbered(int width, int height, QImage::Format format = QImage::Format_RGB32)
{
    QImage image(width, height, QImage::Format_RGB32);
    for (int i = 0; i < width * height; ++i) {
        const int x = i % width;
        const int y = i / width;
        image.setPixel(x, y, qRgb(x * 5, y * 5, 0x40 + x + y));
    }
    return image.convertToFormat(format);
}

/// The largest difference of a channel; 256 for pictures of different sizes.
inline int difference(const QImage& a, const QImage& b)
{
    int largest = a.size() == b.size() ? 0 : 256;
    for (int i = 0; largest < 256 && i < a.width() * a.height(); ++i) {
        const QPoint place(i % a.width(), i / a.width());
        const QRgb p = a.pixel(place);
        const QRgb q = b.pixel(place);
        largest = std::max({largest,
            std::abs(qRed(p) - qRed(q)),
            std::abs(qGreen(p) - qGreen(q)),
            std::abs(qBlue(p) - qBlue(q)),
            std::abs(qAlpha(p) - qAlpha(q))});
    }
    return largest;
}

/// The nearest pure colours in the middle of the quadrants, as initials ("k" is black) from top
/// left to bottom right: "rgbw" for quadrants().
inline QByteArray quadrantColors(const QImage& image)
{
    QByteArray initials;
    for (int i = 0; i < 4; ++i) {
        const QRgb pixel = image.pixel(
            (2 * (i % 2) + 1) * image.width() / 4, (2 * (i / 2) + 1) * image.height() / 4);
        const int bits = (qRed(pixel) > 127 ? 4 : 0) + (qGreen(pixel) > 127 ? 2 : 0)
            + (qBlue(pixel) > 127 ? 1 : 0);
        initials += "kbgcrmyw"[bits];
    }
    return initials;
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
