#pragma once

#include "RKImageLoader/media/RKMediaDescriptor.h"
#include "RKImageLoader/video/RKFramesPerSecond.h"
#include "RKImageLoaderAsync/RKAsyncLoader.h"

#include <QWidget>

class QLabel;
class QListWidget;
class QSlider;

/// Shows a video frame by frame. The video stays open in the decoder while it is shown.
///
/// Keys: left and right for a frame, with shift for a second, Home and End.
class VideoView : public QWidget
{
    Q_OBJECT

public:
    /// The loader has to live longer.
    explicit VideoView(RKAsyncLoader* loader, QWidget* parent = nullptr);
    ~VideoView() override;

    void open(const QString& filePath);
    void close();

    /// Limited to those that there are. Of wishes that come faster than the decoder, the last one
    /// is served.
    void showFrame(int frame);
    int shownFrame() const;
    int lastFrame() const;

    /// The shown frame in full size; the suffix says the format.
    void saveStill(const QString& filePath);

public Q_SLOTS:
    /// Asks where to.
    void askForStill();

Q_SIGNALS:
    void frameShown(int frame);
    void saved(const QString& filePath);
    void failed(const QString& filePath, const QString& reason);

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    class Canvas;

    RKMediaDescriptor descriptorOf(int frame) const;
    void begin(RKFramesPerSecond rate, int lastFrame, int firstShown);
    void loadWanted();
    void loadStoryboard(const QSize& frameSize);
    QString timeText(int frame) const;

    RKAsyncLoader* m_loader;
    QString m_filePath;
    RKFramesPerSecond m_rate;
    int m_lastFrame = -1;
    int m_wantedFrame = -1;
    int m_shownFrame = -1;
    QFuture<RKLoadResult> m_loading;
    bool m_isLoading = false;
    QList<QFuture<RKLoadResult>> m_storyboard;
    // What is still on its way for a video that was closed has another number.
    quint64 m_generation = 0;
    Canvas* m_canvas;
    QSlider* m_slider;
    QListWidget* m_strip;
    QLabel* m_position;
};
