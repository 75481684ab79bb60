#pragma once

#include <QImage>
#include <QWidget>

#include <optional>

/// A picture with a rectangle over it that says what will be printed. The mouse moves it and drags
/// its edges and corners; keys: arrows move it, with shift they change its size, with control by a
/// pixel.
class CropView : public QWidget
{
    Q_OBJECT

public:
    explicit CropView(QWidget* parent = nullptr);

    /// A preview of the picture, and the size that it really has. The rectangle becomes all of it.
    void setPicture(const QImage& preview, const QSize& size);
    QSize pictureSize() const;

    /// In pixels of the picture.
    QRectF crop() const;
    /// Moved into the picture, made smaller where it must, and given the ratio if there is one.
    void setCrop(const QRectF& crop);
    /// Width by height, or none for a free form. The rectangle becomes as large as possible.
    void setRatio(std::optional<double> ratio);

Q_SIGNALS:
    void cropChanged();

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    /// The edges that are dragged: -1 for left or top, 1 for right or bottom.
    struct Handle
    {
        int x;
        int y;
    };

    QRectF shownPicture() const;
    QPointF toPicture(const QPointF& place) const;
    QRectF toWidget(const QRectF& rect) const;
    std::optional<Handle> handleAt(const QPointF& place) const;
    /// The rectangle with a dragged corner or edge at that place; the opposite one stays.
    QRectF dragged(const Handle& handle, const QPointF& place) const;
    void showCursor(const QPointF& place);

    QImage m_preview;
    QSize m_size;
    QRectF m_crop;
    std::optional<double> m_ratio;
    std::optional<Handle> m_handle;
    // From the top left of the rectangle, while that is moved.
    std::optional<QPointF> m_grip;
};
