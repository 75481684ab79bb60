#pragma once

#include <QGraphicsObject>

#include <optional>

/// A rectangle over a picture that says what will be printed, in pixels of the picture. The mouse
/// moves it and drags its edges and corners.
class CropFrame : public QGraphicsObject
{
    Q_OBJECT

public:
    CropFrame();

    /// The rectangle becomes as large as possible.
    void setPictureSize(const QSizeF& size);
    QSizeF pictureSize() const;
    /// Width by height, or none for a free form. The rectangle becomes as large as possible.
    void setRatio(std::optional<double> ratio);

    QRectF crop() const;
    /// Moved into the picture, made smaller where it must, and given the ratio if there is one.
    void setCrop(const QRectF& crop);
    /// By hundredths of the picture's longer side or, with control, by pixels. With shift, the
    /// right and lower edges move instead of the whole.
    void move(const QPointF& steps, Qt::KeyboardModifiers modifiers);

    QRectF boundingRect() const override;

Q_SIGNALS:
    void cropChanged();

protected:
    void paint(QPainter* painter, const QStyleOptionGraphicsItem* option, QWidget* widget) override;
    void mousePressEvent(QGraphicsSceneMouseEvent* event) override;
    void mouseMoveEvent(QGraphicsSceneMouseEvent* event) override;
    void hoverMoveEvent(QGraphicsSceneHoverEvent* event) override;

private:
    /// Those that are dragged: -1 for left or top, 1 for right or bottom, 0 for none.
    struct Edges
    {
        int x = 0;
        int y = 0;
    };

    /// A pixel of the screen.
    double pixel() const;
    Edges edgesAt(const QPointF& place) const;
    /// The rectangle with the dragged edges at that place; the opposite ones stay.
    QRectF dragged(const Edges& edges, const QPointF& place) const;

    QSizeF m_size;
    QRectF m_crop;
    std::optional<double> m_ratio;
    Edges m_dragged;
    // From the centre of the rectangle, while that is moved.
    QPointF m_grip;
};
