#pragma once

#include <QImage>

#include <array>

class QPainter;
class QPalette;
class QRectF;

/// How often each value occurs in the red, green and blue of a picture.
class Histogram
{
public:
    /// The histogram of no picture.
    Histogram() = default;
    explicit Histogram(const QImage& image);

    bool isNull() const;
    void paint(QPainter* painter, const QRectF& rect, const QPalette& palette) const;

private:
    // Red, green, blue.
    std::array<std::array<quint32, 256>, 3> m_counts{};
    quint32 m_greatest = 0;
};
