#pragma once

#include <QImage>
#include <QList>
#include <QSize>
#include <QString>

/// Many small pictures with their captions on one sheet, row by row.
class Storyboard
{
public:
    /// The size in pixels that every picture is fitted into.
    static QSize tileSize();

    void add(const QImage& picture, const QString& caption);

    /// About as many columns as rows; null without pictures.
    QImage image() const;

private:
    struct Tile
    {
        QImage picture;
        QString caption;
    };

    QList<Tile> m_tiles;
};
