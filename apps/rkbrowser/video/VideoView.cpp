#include "video/VideoView.h"

#include "Background.h"
#include "RKImageLoader/loading/RKMediaLoader.h"
#include "RKImageLoader/video/RKVideoDecoderRegistry.h"

#include <QAction>
#include <QBoxLayout>
#include <QFileDialog>
#include <QLabel>
#include <QListWidget>
#include <QSlider>
#include <QTime>
#include <QToolButton>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

constexpr int kStoryboardFrames = 12;
constexpr QSize kStoryboardFrame(128, 72);

} // namespace

VideoView::VideoView(RKAsyncLoader* loader)
    : m_loader(loader)
    , m_picture(loader)
    , m_slider(new QSlider(Qt::Horizontal))
    , m_strip(new QListWidget)
    , m_position(new QLabel)
{
    setAccessibleName(tr("Video"));
    setFocusProxy(&m_picture);
    addKeys();
    connect(&m_picture, &PictureView::changed, this, &VideoView::showWanted);
    // The keys belong to the view.
    m_slider->setFocusPolicy(Qt::NoFocus);
    m_slider->setAccessibleName(tr("Frame"));
    connect(m_slider, &QSlider::valueChanged, this, &VideoView::showFrame);
    m_strip->setFocusPolicy(Qt::NoFocus);
    m_strip->setViewMode(QListView::IconMode);
    m_strip->setWrapping(false);
    m_strip->setMovement(QListView::Static);
    m_strip->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    m_strip->setIconSize(kStoryboardFrame);
    m_strip->setFixedHeight(kStoryboardFrame.height() + 3 * fontMetrics().height());
    connect(m_strip, &QListWidget::itemClicked, this, [this](const QListWidgetItem* item) {
        showFrame(item->data(Qt::UserRole).toInt());
    });
    connect(&m_storyboard, &QFutureWatcherBase::resultReadyAt, this, [this](int index) {
        const QImage frame = m_storyboard.resultAt(index).drawable().image();
        m_strip->item(index)->setIcon(QPixmap::fromImage(frame));
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
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(&m_picture, 1);
    layout->addLayout(bar);
    layout->addWidget(m_strip);
}

VideoView::~VideoView()
{
    open({});
}

void VideoView::addKeys()
{
    const auto add = [this](const QString& text, QKeyCombination key, const auto& frame) {
        QAction* action = addAction(text, key);
        action->setShortcutContext(Qt::WidgetWithChildrenShortcut);
        connect(action, &QAction::triggered, this, [this, frame] { showFrame(frame()); });
    };
    const auto afterSeconds = [this](int seconds) {
        return
            [this, seconds] { return m_wantedFrame + seconds * std::max(1, qRound(m_rate.fps())); };
    };
    add(tr("Next frame"), Qt::Key_Right, [this] { return m_wantedFrame + 1; });
    add(tr("Previous frame"), Qt::Key_Left, [this] { return m_wantedFrame - 1; });
    add(tr("A second on"), Qt::SHIFT | Qt::Key_Right, afterSeconds(1));
    add(tr("A second back"), Qt::SHIFT | Qt::Key_Left, afterSeconds(-1));
    add(tr("First frame"), Qt::Key_Home, [] { return 0; });
    add(tr("Last frame"), Qt::Key_End, [this] { return m_lastFrame; });
}

void VideoView::open(const MediaFile& file)
{
    if (file == m_file)
        return;
    m_storyboard.cancel();
    m_storyboard.setFuture({});
    m_strip->clear();
    m_position->clear();
    // The threads of a decoder take a while to end.
    if (!m_file.path.isEmpty()) {
        backgroundThreads()->start([descriptor = descriptorOf(0)] {
            RKVideoDecoderRegistry::instance()->freeResource(descriptor);
        });
    }
    m_file = file;
    m_lastFrame = m_wantedFrame = m_openedFrame = -1;
    m_picture.openFrame(file, -1);
    if (file.path.isEmpty())
        return;

    struct Facts
    {
        RKFramesPerSecond rate;
        int last;
        int shown;
    };

    const auto read = [descriptor = RKMediaDescriptor(QFileInfo(file.path))] {
        const RKVideoDecoderRegistry& videos = *RKVideoDecoderRegistry::instance();
        return Facts{videos.framesPerSecond(descriptor),
            std::max(0, videos.lastFrameIndex(descriptor).frame()),
            videos.defaultFrameIndex(descriptor).frame()};
    };
    whenDone(QtConcurrent::run(backgroundThreads(), read), this, [this, file](const Facts& facts) {
        if (file != m_file)
            return;
        m_rate = facts.rate;
        m_lastFrame = facts.last;
        m_slider->setRange(0, m_lastFrame);
        showFrame(facts.shown);
    });
}

RKMediaDescriptor VideoView::descriptorOf(int frame) const
{
    return RKMediaDescriptor(QFileInfo(m_file.path), RKVideoFrameIndex(frame));
}

void VideoView::showFrame(int frame)
{
    if (m_lastFrame < 0)
        return;
    m_wantedFrame = std::clamp(frame, 0, m_lastFrame);
    const QSignalBlocker blocker(m_slider);
    m_slider->setValue(m_wantedFrame);
    m_position->setText(
        tr("%1   frame %2 of %3").arg(timeText(m_wantedFrame)).arg(m_wantedFrame).arg(m_lastFrame));
    showWanted();
}

int VideoView::shownFrame() const
{
    return m_picture.isLoaded() ? m_openedFrame : -1;
}

void VideoView::showWanted()
{
    const bool isFirst = m_openedFrame < 0;
    if (m_wantedFrame < 0 || (!isFirst && !m_picture.isLoaded()))
        return;
    if (m_openedFrame != m_wantedFrame) {
        m_openedFrame = m_wantedFrame;
        m_picture.openFrame(m_file, m_wantedFrame);
    } else if (!m_storyboard.future().isValid()) {
        loadStoryboard();
    }
}

void VideoView::loadStoryboard()
{
    m_strip->setGridSize({kStoryboardFrame.width() + 8, m_strip->height() - 8});
    const int count = std::min(kStoryboardFrames, m_lastFrame + 1);
    QList<RKMediaDescriptor> frames;
    for (int i = 0; i < count; ++i) {
        const int frame = count > 1 ? int(qint64(m_lastFrame) * i / (count - 1)) : 0;
        auto* item = new QListWidgetItem(timeText(frame), m_strip);
        item->setData(Qt::UserRole, frame);
        frames << descriptorOf(frame);
    }
    m_storyboard.setFuture(m_loader->thumbnails(
        frames, kStoryboardFrame * devicePixelRatioF(), RKLoadPriority::Background));
}

QString VideoView::timeText(int frame) const
{
    // Of days, too, which a QTime doesn't hold.
    constexpr qint64 kMsPerHour = 3600 * 1000;
    const qint64 ms = std::max<qint64>(0, m_rate.frameIndex2ms(frame));
    const qint64 hours = ms / kMsPerHour;
    const QTime rest = QTime(0, 0).addMSecs(int(ms % kMsPerHour));
    return hours > 0 ? QString::number(hours) + rest.toString(u":mm:ss.zzz"_s)
                     : rest.toString(u"m:ss.zzz"_s);
}

void VideoView::askForStill()
{
    if (shownFrame() < 0)
        return;
    const QFileInfo video(m_file.path);
    const QString name = u"%1-%2.png"_s.arg(video.completeBaseName()).arg(m_openedFrame);
    const QString path = QFileDialog::getSaveFileName(
        this, tr("Save still"), video.dir().filePath(name), tr("Pictures (*.png *.jpg)"));
    if (!path.isEmpty())
        saveStill(path);
}

void VideoView::saveStill(const QString& filePath)
{
    const auto save = [filePath, still = m_picture.picture().image] {
        RKMediaError error;
        RKMediaLoader::instance()->save(
            RKMediaDescriptor(QFileInfo(filePath)), RKDrawable(still), &error);
        return error.text();
    };
    whenDone(QtConcurrent::run(backgroundThreads(), save),
        this,
        [this, filePath](const QString& failure) {
            if (!failure.isEmpty())
                Q_EMIT failed(filePath, failure);
        });
}
