#pragma once

#include "picture/PictureStore.h"

#include <QWidget>

/// One picture: fitted into the window or zoomed around the pointer, with faces, a histogram, and
/// its colours before their conversion.
class PictureView : public QWidget
{
    Q_OBJECT

public:
    /// What of the conversion of colours is shown.
    enum class Comparison
    {
        Off,
        /// Before on the left of a line, after on the right.
        Split,
        Before
    };

    explicit PictureView(RKAsyncLoader* loader, QWidget* parent = nullptr);

    /// Shows a picture, fitted; the neighbours are loaded ahead. An empty path shows nothing.
    void open(const QString& filePath, const QStringList& neighbours);
    QString filePath() const;
    void reload(const QString& filePath);

    void zoomBy(double factor);
    void fit();
    void actualSize();
    /// In parts of the window.
    void pan(double right, double down);
    /// Pixels of the screen for each one of the picture; 0 while there is none.
    double zoom() const;
    /// Upright; empty while there is none.
    QSize pictureSize() const;

    void setShowsFaces(bool on);
    void setShowsHistogram(bool on);
    void setComparison(Comparison comparison);
    Comparison comparison() const;

Q_SIGNALS:
    void changed();
    /// Double click.
    void activated();

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;

private:
    const Picture* picture() const;
    double fittingZoom() const;
    void zoomTo(double zoom, const QPointF& anchor);
    void limit();
    /// Where the whole picture lies.
    QRectF target() const;
    void want();
    QString remark(const Picture& picture) const;
    void paintImage(QPainter* painter, const QImage& image) const;
    void paintFaces(QPainter* painter, const Picture& picture) const;
    void paintRemark(QPainter* painter, const QString& text) const;

    PictureStore m_store;
    QString m_filePath;
    QStringList m_neighbours;
    // 0 fits the picture into the window.
    double m_zoom = 0;
    // The point of the picture in the middle of the window, in fractions.
    QPointF m_center{0.5, 0.5};
    QPoint m_dragged;
    int m_splitX = 0;
    bool m_showsFaces = true;
    bool m_showsHistogram = false;
    Comparison m_comparison = Comparison::Off;
};
