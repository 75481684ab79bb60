#include "folder/FolderView.h"

#include "folder/FolderDelegate.h"
#include "folder/FolderModel.h"

#include <QDragMoveEvent>
#include <QFileInfo>
#include <QPainter>
#include <QScrollBar>
#include <QWheelEvent>

#include <algorithm>
#include <cmath>
#include <numeric>

namespace {

constexpr int kMinSide = 96;
constexpr int kMaxSide = 384;
constexpr int kSideStep = 32;
constexpr int kWantingDelay = 20;
constexpr int kStepOfWheel = 120;

} // namespace

FolderView::FolderView(FolderModel* model, RKAsyncLoader* loader, QWidget* parent)
    : QListView(parent)
    , m_model(model)
    , m_thumbnails(loader)
    , m_delegate(new FolderDelegate(model, &m_thumbnails, this))
{
    setItemDelegate(m_delegate);
    setFlow(LeftToRight);
    setWrapping(true);
    setResizeMode(Adjust);
    setUniformItemSizes(true);
    setVerticalScrollMode(ScrollPerPixel);
    // The width of the columns must not depend on the number of files.
    setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOn);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setSelectionMode(ExtendedSelection);
    setDragDropMode(DragDrop);
    setDropIndicatorShown(false);
    setAccessibleName(tr("Files"));
    setThumbnailSide(5 * kSideStep);

    m_wanting.setSingleShot(true);
    m_wanting.setInterval(kWantingDelay);
    connect(&m_wanting, &QTimer::timeout, this, &FolderView::wantThumbnails);
    connect(
        verticalScrollBar(), &QScrollBar::valueChanged, &m_wanting, [this] { m_wanting.start(); });
    connect(model, &FolderModel::modelAboutToBeReset, this, &FolderView::remember);
    setModel(model);
    // After the view has seen the new rows.
    connect(model, &FolderModel::modelReset, this, &FolderView::restore);
    connect(model, &FolderModel::dataChanged, &m_wanting, [this] { m_wanting.start(); });
    connect(model, &FolderModel::folderChanged, this, [this] { m_failure = tr("Reading…"); });
    connect(model, &FolderModel::failed, this, [this](const QString& reason) {
        m_failure = reason;
        viewport()->update();
    });
    connect(&m_thumbnails, &ThumbnailStore::loaded, this, &FolderView::updateFile);
}

void FolderView::zoom(int steps)
{
    setThumbnailSide(m_side + steps * kSideStep);
}

int FolderView::thumbnailSide() const
{
    return m_side;
}

void FolderView::setThumbnailSide(int side)
{
    m_side = std::clamp(side, kMinSide, kMaxSide);
    layOut();
}

void FolderView::layOut()
{
    QSize grid = m_delegate->minSize(fontMetrics(), m_side);
    // Columns share the width; the view wants a pixel more than they take.
    const int width = viewport()->width() - 1;
    grid.setWidth(std::max(grid.width(), width / std::max(1, width / grid.width())));
    if (grid == gridSize())
        return;
    m_delegate->setSize(grid);
    setGridSize(grid);
    m_wanting.start();
    // The model comes later than the first call.
    if (model())
        scrollTo(currentIndex());
}

QStringList FolderView::selectedFiles() const
{
    QModelIndexList rows = selectionModel()->selectedIndexes();
    std::sort(rows.begin(), rows.end());
    QStringList files;
    for (const QModelIndex& row : rows)
        files << m_model->filePath(row.row());
    return files;
}

int FolderView::selectedCount() const
{
    // Making a list of 100 000 rows takes longer than counting them.
    const QItemSelection ranges = selectionModel()->selection();
    return std::accumulate(ranges.begin(), ranges.end(), 0, [](int count, const auto& range) {
        return count + range.height();
    });
}

QString FolderView::currentFile() const
{
    return currentIndex().isValid() ? m_model->filePath(currentIndex().row()) : QString();
}

void FolderView::setCurrentFile(const QString& filePath)
{
    m_current = QFileInfo(filePath).fileName();
    const int row = m_model->rowOf(m_current);
    if (row >= 0)
        setCurrentIndex(m_model->index(row));
}

void FolderView::currentChanged(const QModelIndex& current, const QModelIndex& previous)
{
    QListView::currentChanged(current, previous);
    if (current.isValid())
        m_current = m_model->entry(current.row()).name;
    Q_EMIT currentChangedTo(currentFile());
}

void FolderView::selectionChanged(const QItemSelection& selected, const QItemSelection& deselected)
{
    QListView::selectionChanged(selected, deselected);
    Q_EMIT selectedFilesChanged();
}

void FolderView::paintEvent(QPaintEvent* event)
{
    QListView::paintEvent(event);
    if (m_model->rowCount() > 0)
        return;
    const QString filtered = m_model->fileCount() > 0 ? tr("No file passes the filters.")
                                                      : tr("No pictures or videos here.");
    QPainter(viewport())
        .drawText(viewport()->rect().adjusted(20, 20, -20, -20),
            Qt::AlignCenter | Qt::TextWordWrap,
            m_failure.isEmpty() ? filtered : m_failure);
}

void FolderView::resizeEvent(QResizeEvent* event)
{
    QListView::resizeEvent(event);
    layOut();
    m_wanting.start();
}

void FolderView::showEvent(QShowEvent* event)
{
    QListView::showEvent(event);
    m_wanting.start();
}

void FolderView::wheelEvent(QWheelEvent* event)
{
    if (event->modifiers() != Qt::ControlModifier)
        return QListView::wheelEvent(event);
    zoom(event->angleDelta().y() / kStepOfWheel);
    event->accept();
}

void FolderView::dragMoveEvent(QDragMoveEvent* event)
{
    QListView::dragMoveEvent(event);
    // Wherever it is dropped, it goes into the folder.
    event->setAccepted(
        m_model->canDropMimeData(event->mimeData(), Qt::CopyAction, -1, -1, QModelIndex()));
}

void FolderView::remember()
{
    m_selected.clear();
    const QModelIndexList rows = selectionModel()->selectedIndexes();
    for (const QModelIndex& row : rows)
        m_selected << m_model->entry(row.row()).name;
}

void FolderView::restore()
{
    QList<int> rows;
    for (const QString& name : std::as_const(m_selected)) {
        if (const int row = m_model->rowOf(name); row >= 0)
            rows << row;
    }
    std::sort(rows.begin(), rows.end());
    QItemSelection selection;
    for (qsizetype i = 0, end = 0; i < rows.size(); i = end) {
        // One range for neighbours: thousands of ranges would take long.
        for (end = i + 1; end < rows.size() && rows[end] == rows[end - 1] + 1;)
            ++end;
        selection.select(m_model->index(rows[i]), m_model->index(rows[end - 1]));
    }
    const int current = m_model->rowOf(m_current);
    if (current >= 0) {
        selectionModel()->setCurrentIndex(m_model->index(current), QItemSelectionModel::NoUpdate);
        scrollTo(currentIndex());
    }
    selectionModel()->select(selection, QItemSelectionModel::Select);
    m_wanting.start();
}

void FolderView::wantThumbnails()
{
    const int count = m_model->rowCount();
    if (!isVisible() || count == 0)
        return m_thumbnails.want({}, {});
    m_thumbnails.setPixels(static_cast<int>(std::ceil(m_side * devicePixelRatioF())));
    const int columns = std::max(1, viewport()->width() / gridSize().width());
    const int top = verticalScrollBar()->value();
    const int first = std::min(count - 1, top / gridSize().height() * columns);
    const int page = (viewport()->height() / gridSize().height() + 2) * columns;
    const auto files = [this, count](int from, int to) {
        QList<ThumbnailStore::File> result;
        for (int row = std::max(0, from); row < std::min(count, to); ++row)
            result << ThumbnailStore::File{m_model->filePath(row), m_model->entry(row).modified};
        return result;
    };
    m_thumbnails.want(files(first, first + page),
        files(first + page, first + 2 * page) + files(first - page, first));
}

void FolderView::updateFile(const QString& filePath)
{
    if (const int row = m_model->rowOf(QFileInfo(filePath).fileName()); row >= 0)
        update(m_model->index(row));
}
