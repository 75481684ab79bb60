#pragma once

#include <QCoreApplication>
#include <QFile>
#include <QImage>
#include <QRandomGenerator>

/// Slopes with grain everywhere, so that no codec has plain areas.
inline QImage photograph(const QSize& size)
{
    QImage image(size, QImage::Format_RGB32);
    QRandomGenerator random(7);
    for (int y = 0; y < image.height(); ++y) {
        auto* const row = reinterpret_cast<QRgb*>(image.scanLine(y));
        for (int x = 0; x < image.width(); ++x) {
            const int grain = int(random.bounded(24));
            row[x] = qRgb((x / 24 + grain) & 255, (y / 16 + grain) & 255, (x + y) / 40 & 255);
        }
    }
    return image;
}

/// The path of a file that is made once and kept in the build folder, for encoding takes long.
template <typename Encode>
QString cachedFile(const QString& name, const Encode& encode)
{
    QString path = QCoreApplication::applicationDirPath() + QLatin1Char('/') + name;
    if (!QFile::exists(path) && (!encode(path) || !QFile::exists(path)))
        qFatal("can't make %s", qPrintable(name));
    return path;
}
