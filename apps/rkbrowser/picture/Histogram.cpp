#include "picture/Histogram.h"

#include <QPainter>
#include <QPainterPath>
#include <QPalette>

#include <algorithm>

Histogram::Histogram(const QImage& image)
{
    const QImage pixels = image.convertToFormat(QImage::Format_RGB32);
    for (int y = 0; y < pixels.height(); ++y) {
        const auto* row = reinterpret_cast<const QRgb*>(pixels.constScanLine(y));
        for (int x = 0; x < pixels.width(); ++x) {
            ++m_counts[0][qRed(row[x])];
            ++m_counts[1][qGreen(row[x])];
            ++m_counts[2][qBlue(row[x])];
        }
    }
    // Single peaks, of flat colours or of black and white, would flatten all the rest.
    constexpr int kPeaks = 4;
    for (auto channel : m_counts) {
        const auto place = channel.end() - kPeaks - 1;
        std::nth_element(channel.begin(), place, channel.end());
        m_greatest = std::max(m_greatest, *place);
    }
}

bool Histogram::isNull() const
{
    return m_greatest == 0;
}

void Histogram::paint(QPainter* painter, const QRectF& rect, const QPalette& palette) const
{
    QColor background = palette.color(QPalette::Window);
    background.setAlphaF(0.85F);
    painter->setRenderHint(QPainter::Antialiasing);
    painter->setPen(palette.color(QPalette::Mid));
    painter->setBrush(background);
    painter->drawRoundedRect(rect, 4, 4);
    const QRectF graph = rect.adjusted(6, 6, -6, -6);
    constexpr std::array<Qt::GlobalColor, 3> kColors{Qt::red, Qt::green, Qt::blue};
    for (size_t channel = 0; channel < kColors.size(); ++channel) {
        QPainterPath path(graph.bottomLeft());
        for (int value = 0; value < 256; ++value) {
            const double share = std::min(1.0,
                static_cast<double>(m_counts[channel][static_cast<size_t>(value)]) / m_greatest);
            path.lineTo(graph.left() + graph.width() * value / 255,
                graph.bottom() - graph.height() * share);
        }
        path.lineTo(graph.bottomRight());
        QColor color(kColors[channel]);
        painter->setPen(color);
        color.setAlphaF(0.25F);
        painter->setBrush(color);
        painter->drawPath(path);
    }
}
