#pragma once

#include "RKImageLoader/video/RKFramesPerSecond.h"
#include "picture/PictureView.h"

#include <QFutureWatcher>

class QLabel;
class QListWidget;
class QSlider;

/// Shows a video frame by frame. The video stays open in the decoder while it is shown.
class VideoView : public QWidget
{
    Q_OBJECT

public:
    /// The loader has to live longer.
    explicit VideoView(RKAsyncLoader* loader);
    ~VideoView() override;

    /// An empty path closes the video.
    void open(const MediaFile& file);

    /// Limited to those that there are. Of wishes that come faster than the decoder, the last one
    /// is served.
    void showFrame(int frame);
    /// -1 while there is none.
    int shownFrame() const;

    /// The shown frame in full size; the suffix says the format.
    void saveStill(const QString& filePath);

Q_SIGNALS:
    void failed(const QString& filePath, const QString& reason);

private:
    void addKeys();
    RKMediaDescriptor descriptorOf(int frame) const;
    void showWanted();
    void loadStoryboard();
    QString timeText(int frame) const;
    void askForStill();

    RKAsyncLoader* const m_loader;
    MediaFile m_file;
    RKFramesPerSecond m_rate;
    int m_lastFrame = -1;
    int m_wantedFrame = -1;
    int m_openedFrame = -1;
    QFutureWatcher<RKLoadResult> m_storyboard;
    PictureView m_picture;
    QSlider* m_slider;
    QListWidget* m_strip;
    QLabel* m_position;
};
