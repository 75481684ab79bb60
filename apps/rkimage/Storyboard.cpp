#include "Storyboard.h"

#include <QFontMetrics>
#include <QPainter>

#include <cmath>

namespace {

constexpr int kGap = 8;

} // namespace

Storyboard::Storyboard(int side)
    : m_side(side)
{
}

QSize Storyboard::tileSize() const
{
    return {m_side, m_side};
}

void Storyboard::add(const QImage& picture, const QString& caption)
{
    const QSize size = picture.size().scaled(tileSize(), Qt::KeepAspectRatio);
    m_tiles << Tile{
        picture.scaled(size.expandedTo({1, 1}), Qt::IgnoreAspectRatio, Qt::SmoothTransformation),
        caption};
}

QImage Storyboard::image() const
{
    if (m_tiles.isEmpty())
        return {};
    QFont font;
    font.setPixelSize(14);
    const int captionHeight = QFontMetrics(font).height();
    QSize largest;
    for (const Tile& tile : m_tiles)
        largest = largest.expandedTo(tile.picture.size());
    const QSize cell(largest.width() + kGap, largest.height() + captionHeight + kGap);
    const int columns = int(std::ceil(std::sqrt(double(m_tiles.size()))));
    const int rows = (int(m_tiles.size()) + columns - 1) / columns;

    QImage sheet(columns * cell.width() + kGap, rows * cell.height() + kGap, QImage::Format_RGB32);
    sheet.fill(Qt::white);
    QPainter painter(&sheet);
    painter.setFont(font);
    for (int i = 0; i < m_tiles.size(); ++i) {
        const Tile& tile = m_tiles[i];
        const QPoint origin(kGap + i % columns * cell.width(), kGap + i / columns * cell.height());
        painter.drawImage(origin
                + QPoint((largest.width() - tile.picture.width()) / 2,
                    (largest.height() - tile.picture.height()) / 2),
            tile.picture);
        painter.drawText(
            QRect(origin + QPoint(0, largest.height()), QSize(largest.width(), captionHeight)),
            Qt::AlignCenter,
            tile.caption);
    }
    return sheet;
}
