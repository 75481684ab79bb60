#include "video/VideoView.h"

#include "BackgroundThreads.h"
#include "RKImageLoader/loading/RKMediaLoader.h"
#include "RKImageLoader/video/RKVideoDecoderRegistry.h"
#include "WhenDone.h"

#include <QBoxLayout>
#include <QFileDialog>
#include <QKeyEvent>
#include <QLabel>
#include <QListWidget>
#include <QPainter>
#include <QSlider>
#include <QTime>
#include <QToolButton>
#include <QtConcurrent>

namespace {

constexpr int kStoryboardFrames = 12;
constexpr int kStoryboardHeight = 72;

} // namespace

/// The frame, or why there is none, in the middle.
class VideoView::Canvas : public QWidget
{
public:
    void show(const QImage& image, const QString& text = {})
    {
        m_image = image;
        m_text = text;
        update();
    }

protected:
    void paintEvent(QPaintEvent* /*event*/) override
    {
        QPainter painter(this);
        painter.fillRect(rect(), Qt::black);
        painter.setRenderHint(QPainter::SmoothPixmapTransform);
        QRect target(QPoint(), m_image.size().scaled(size(), Qt::KeepAspectRatio));
        target.moveCenter(rect().center());
        painter.drawImage(target, m_image);
        painter.setPen(Qt::lightGray);
        painter.drawText(
            rect().adjusted(16, 16, -16, -16), Qt::AlignCenter | Qt::TextWordWrap, m_text);
    }

private:
    QImage m_image;
    QString m_text;
};

VideoView::VideoView(RKAsyncLoader* loader, QWidget* parent)
    : QWidget(parent)
    , m_loader(loader)
    , m_canvas(new Canvas)
    , m_slider(new QSlider(Qt::Horizontal))
    , m_strip(new QListWidget)
    , m_position(new QLabel)
{
    setFocusPolicy(Qt::StrongFocus);
    // The keys belong to the view.
    m_slider->setFocusPolicy(Qt::NoFocus);
    m_slider->setAccessibleName(tr("Frame"));
    connect(m_slider, &QSlider::valueChanged, this, &VideoView::showFrame);
    m_strip->setFocusPolicy(Qt::NoFocus);
    m_strip->setViewMode(QListView::IconMode);
    m_strip->setFlow(QListView::LeftToRight);
    m_strip->setWrapping(false);
    m_strip->setMovement(QListView::Static);
    m_strip->setFixedHeight(kStoryboardHeight + 3 * fontMetrics().height());
    m_strip->viewport()->setAutoFillBackground(false);
    m_strip->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    m_strip->setFrameShape(QFrame::NoFrame);
    connect(m_strip, &QListWidget::itemClicked, this, [this](const QListWidgetItem* item) {
        showFrame(item->data(Qt::UserRole).toInt());
    });
    auto* still = new QToolButton;
    still->setText(tr("Save still…"));
    still->setToolTip(tr("Save the shown frame as a picture"));
    still->setFocusPolicy(Qt::TabFocus);
    connect(still, &QToolButton::clicked, this, &VideoView::askForStill);

    auto* bar = new QHBoxLayout;
    bar->addWidget(m_slider, 1);
    bar->addWidget(m_position);
    bar->addWidget(still);
    bar->setContentsMargins(8, 0, 8, 0);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins({});
    layout->addWidget(m_canvas, 1);
    layout->addLayout(bar);
    layout->addWidget(m_strip);
}

VideoView::~VideoView()
{
    close();
}

void VideoView::open(const QString& filePath)
{
    close();
    m_filePath = filePath;
    const RKMediaDescriptor descriptor{QFileInfo(filePath)};

    struct Facts
    {
        RKFramesPerSecond rate;
        int last;
        int shown;
    };

    const auto read = [descriptor] {
        const RKVideoDecoderRegistry& videos = *RKVideoDecoderRegistry::instance();
        return Facts{videos.framesPerSecond(descriptor),
            videos.lastFrameIndex(descriptor).frame(),
            videos.defaultFrameIndex(descriptor).frame()};
    };
    whenDone(QtConcurrent::run(backgroundThreads(), read),
        this,
        [this, generation = m_generation](const Facts& facts) {
            if (generation == m_generation)
                begin(facts.rate, facts.last, facts.shown);
        });
}

void VideoView::close()
{
    ++m_generation;
    m_loading.cancel();
    m_isLoading = false;
    for (QFuture<RKLoadResult>& frame : m_storyboard)
        frame.cancel();
    m_storyboard.clear();
    // The threads of a decoder take a while to end.
    if (!m_filePath.isEmpty())
        backgroundThreads()->start([descriptor = descriptorOf(0)] {
            RKVideoDecoderRegistry::instance()->freeResource(descriptor);
        });
    m_filePath.clear();
    m_lastFrame = m_wantedFrame = m_shownFrame = -1;
    m_strip->clear();
    m_position->clear();
    m_canvas->show({});
}

void VideoView::begin(RKFramesPerSecond rate, int lastFrame, int firstShown)
{
    m_rate = rate;
    m_lastFrame = qMax(lastFrame, 0);
    m_slider->setRange(0, m_lastFrame);
    showFrame(firstShown);
}

RKMediaDescriptor VideoView::descriptorOf(int frame) const
{
    return RKMediaDescriptor(QFileInfo(m_filePath), RKVideoFrameIndex(frame));
}

int VideoView::shownFrame() const
{
    return m_shownFrame;
}

int VideoView::lastFrame() const
{
    return m_lastFrame;
}

void VideoView::showFrame(int frame)
{
    if (m_lastFrame < 0)
        return;
    m_wantedFrame = qBound(0, frame, m_lastFrame);
    const QSignalBlocker blocker(m_slider);
    m_slider->setValue(m_wantedFrame);
    m_position->setText(
        tr("%1   frame %2 of %3").arg(timeText(m_wantedFrame)).arg(m_wantedFrame).arg(m_lastFrame));
    loadWanted();
}

void VideoView::loadWanted()
{
    if (m_isLoading || m_wantedFrame < 0)
        return;
    m_isLoading = true;
    const int frame = m_wantedFrame;
    m_loading = m_loader->load(descriptorOf(frame), m_canvas->size() * devicePixelRatioF());
    whenDone(m_loading, this, [this, frame, generation = m_generation](const RKLoadResult& result) {
        if (generation != m_generation)
            return;
        m_isLoading = false;
        m_shownFrame = result.drawable().isNull() ? -1 : frame;
        m_canvas->show(result.drawable().image(),
            result.drawable().isNull() ? result.error().text() : QString());
        Q_EMIT frameShown(frame);
        if (m_wantedFrame != frame)
            loadWanted();
        else if (m_storyboard.isEmpty() && !result.drawable().isNull())
            loadStoryboard(result.drawable().size());
    });
}

void VideoView::loadStoryboard(const QSize& frameSize)
{
    const QSize icon
        = frameSize.scaled(QSize(3 * kStoryboardHeight, kStoryboardHeight), Qt::KeepAspectRatio);
    const int textWidth = fontMetrics().horizontalAdvance(timeText(m_lastFrame));
    m_strip->setIconSize(icon);
    m_strip->setGridSize(
        {qMax(icon.width(), textWidth) + 8, m_strip->height() - fontMetrics().height()});
    const int count = qMin(kStoryboardFrames, m_lastFrame + 1);
    for (int i = 0; i < count; ++i) {
        const int frame = count > 1 ? int(qint64(m_lastFrame) * i / (count - 1)) : 0;
        auto* item = new QListWidgetItem(timeText(frame), m_strip);
        item->setData(Qt::UserRole, frame);
        auto future = m_loader->load(
            descriptorOf(frame), icon * devicePixelRatioF(), {}, RKLoadPriority::Background);
        m_storyboard << future;
        whenDone(future, this, [this, i, generation = m_generation](const RKLoadResult& result) {
            if (generation == m_generation && !result.drawable().isNull())
                m_strip->item(i)->setIcon(QPixmap::fromImage(result.drawable().image()));
        });
    }
}

QString VideoView::timeText(int frame) const
{
    const QTime time = QTime::fromMSecsSinceStartOfDay(int(m_rate.frameIndex2ms(frame)));
    return time.toString(
        time.hour() > 0 ? QStringLiteral("h:mm:ss.zzz") : QStringLiteral("m:ss.zzz"));
}

void VideoView::askForStill()
{
    if (m_shownFrame < 0)
        return;
    const QFileInfo video(m_filePath);
    const QString name
        = QStringLiteral("%1-%2.png").arg(video.completeBaseName()).arg(m_shownFrame);
    const QString path = QFileDialog::getSaveFileName(
        this, tr("Save still"), video.dir().filePath(name), tr("Pictures (*.png *.jpg)"));
    if (!path.isEmpty())
        saveStill(path);
}

void VideoView::saveStill(const QString& filePath)
{
    const auto save = [filePath](const RKLoadResult& result) {
        RKMediaError error = result.error();
        const RKMediaDescriptor target{QFileInfo(filePath)};
        if (!result.drawable().isNull())
            RKMediaLoader::instance()->save(target, result.drawable(), &error);
        return error.text();
    };
    whenDone(m_loader->load(descriptorOf(m_shownFrame)).then(backgroundThreads(), save),
        this,
        [this, filePath](const QString& failure) {
            if (failure.isEmpty())
                Q_EMIT saved(filePath);
            else
                Q_EMIT failed(filePath, failure);
        });
}

void VideoView::keyPressEvent(QKeyEvent* event)
{
    const bool isSecond = event->modifiers().testFlag(Qt::ShiftModifier);
    const int step = isSecond ? qMax(1, qRound(m_rate.fps())) : 1;
    switch (event->key()) {
    case Qt::Key_Left: showFrame(m_wantedFrame - step); break;
    case Qt::Key_Right: showFrame(m_wantedFrame + step); break;
    case Qt::Key_Home: showFrame(0); break;
    case Qt::Key_End: showFrame(m_lastFrame); break;
    default: QWidget::keyPressEvent(event);
    }
}

void VideoView::resizeEvent(QResizeEvent* event)
{
    QWidget::resizeEvent(event);
    loadWanted();
}
