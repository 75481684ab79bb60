#pragma once

#include <QImage>
#include <QList>
#include <QSize>
#include <QString>

/// Many small pictures with their captions on one sheet, row by row.
class Storyboard
{
public:
    static constexpr int kUsualSide = 240;

    /// Every picture is fitted into a square of so many pixels a side.
    explicit Storyboard(int side = kUsualSide);
    QSize tileSize() const;

    void add(const QImage& picture, const QString& caption);

    /// About as many columns as rows; null without pictures.
    QImage image() const;

private:
    struct Tile
    {
        QImage picture;
        QString caption;
    };

    int m_side;
    QList<Tile> m_tiles;
};
