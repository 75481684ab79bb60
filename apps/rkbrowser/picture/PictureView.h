#pragma once

#include "picture/PictureStore.h"

#include <QGraphicsView>

/// One picture: fitted into the window or zoomed around the pointer, with faces, a histogram, and
/// its colours before their conversion. The scene is measured in pixels of the picture.
class PictureView : public QGraphicsView
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

    explicit PictureView(RKAsyncLoader* loader);

    /// Shows a picture, fitted; the neighbours are loaded ahead. An empty path shows nothing.
    void open(const MediaFile& file, const QList<MediaFile>& neighbours);
    /// Shows a frame of a video, after the one before.
    void openFrame(const MediaFile& file, int frame);
    /// What was opened is there, be it only the reason why it can't be shown.
    bool isLoaded() const;
    const Picture& picture() const;

    void zoomBy(double factor);
    void fit();
    void actualSize();
    /// In parts of the window.
    void pan(double right, double down);
    /// Pixels of the screen for each one of the picture.
    double zoom() const;

    void setShowsFaces(bool on);
    void setShowsHistogram(bool on);
    void showNextComparison();

Q_SIGNALS:
    void changed();

protected:
    void drawBackground(QPainter* painter, const QRectF& rect) override;
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;

private:
    void show(const PictureWish& wish, const QList<MediaFile>& neighbours);
    void take();
    void want();
    PictureWish full() const;
    PictureWish unconverted() const;
    bool isSharp() const;
    QString remark() const;
    void paintFaces(QPainter* painter) const;
    void paintRemark(QPainter* painter, const QString& text) const;

    QGraphicsScene m_scene;
    PictureStore m_store;
    PictureWish m_wish;
    QList<MediaFile> m_neighbours;
    // The picture of an earlier version or frame until the new one is there.
    Picture m_picture;
    bool m_isFitted = true;
    int m_splitX = 0;
    bool m_showsFaces = true;
    bool m_showsHistogram = false;
    Comparison m_comparison = Comparison::Off;
};
