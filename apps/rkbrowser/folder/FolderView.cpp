#include "folder/FolderView.h"

#include "folder/FolderModel.h"

#include <QApplication>
#include <QFileInfo>
#include <QPainter>
#include <QScrollBar>
#include <QStyledItemDelegate>
#include <QWheelEvent>

#include <algorithm>
#include <cmath>
#include <numeric>

using namespace std::chrono_literals;

namespace {

constexpr int kMinSide = 96;
constexpr int kMaxSide = 384;
constexpr int kSideStep = 32;
constexpr int kMargin = 8;
constexpr int kWarningSide = 32;
constexpr int kStepOfWheel = 120;
constexpr qint64 kMaxBytes = 192 << 20;

} // namespace

/// Adds the thumbnail, or why there is none.
class FolderView::Delegate : public QStyledItemDelegate
{
public:
    explicit Delegate(FolderView* view)
        : QStyledItemDelegate(view)
        , m_view(view)
    {
    }

protected:
    void initStyleOption(QStyleOptionViewItem* option, const QModelIndex& index) const override
    {
        QStyledItemDelegate::initStyleOption(option, index);
        const Picture* thumbnail = m_view->m_thumbnails.find(m_view->wish(index.row()));
        option->features |= QStyleOptionViewItem::HasDecoration;
        if (!thumbnail)
            return;
        if (thumbnail->image.isNull()) {
            option->icon = QApplication::style()->standardIcon(QStyle::SP_MessageBoxWarning);
            option->decorationSize = {kWarningSide, kWarningSide};
            option->text = thumbnail->reason + QChar::LineSeparator + option->text;
            option->features |= QStyleOptionViewItem::WrapText;
            return;
        }
        QPixmap pixmap = QPixmap::fromImage(thumbnail->image);
        pixmap.setDevicePixelRatio(m_view->devicePixelRatioF());
        option->icon = pixmap;
        // Without the colour of the selection.
        option->icon.addPixmap(pixmap, QIcon::Selected);
    }

private:
    const FolderView* const m_view;
};

FolderView::FolderView(FolderModel* model, RKAsyncLoader* loader)
    : m_model(model)
    , m_thumbnails(loader)
{
    setItemDelegate(new Delegate(this));
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

    m_wanting.setSingleShot(true);
    m_wanting.setInterval(20ms);
    connect(&m_wanting, &QTimer::timeout, this, &FolderView::wantThumbnails);
    connect(model, &FolderModel::modelAboutToBeReset, this, &FolderView::remember);
    setModel(model);
    // After the view has seen the new rows.
    connect(model, &FolderModel::modelReset, this, &FolderView::restore);
    // Its namesake in another folder is another file.
    connect(model, &FolderModel::folderChanged, this, [this] { m_current.clear(); });
    connect(&m_thumbnails, &PictureStore::loaded, viewport(), qOverload<>(&QWidget::update));
    setThumbnailSide(5 * kSideStep);
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
    // Columns share the width; the view wants a pixel more than they take.
    const int width = viewport()->width() - 1;
    const int least = m_side + 2 * kMargin;
    const QSize grid(std::max(least, width / std::max(1, width / least)),
        least + 2 * fontMetrics().lineSpacing());
    if (grid == gridSize())
        return;
    setGridSize(grid);
    scrollTo(currentIndex());
}

QStringList FolderView::selectedFiles() const
{
    QModelIndexList rows = selectionModel()->selectedIndexes();
    std::sort(rows.begin(), rows.end());
    QStringList files;
    for (const QModelIndex& row : rows)
        files << m_model->file(row.row()).path;
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

MediaFile FolderView::currentFile() const
{
    return currentIndex().isValid() ? m_model->file(currentIndex().row()) : MediaFile();
}

void FolderView::setCurrentFile(const QString& filePath)
{
    m_current = QFileInfo(filePath).fileName();
    setCurrentIndex(m_model->index(m_model->rowOf(m_current)));
}

void FolderView::currentChanged(const QModelIndex& current, const QModelIndex& previous)
{
    QListView::currentChanged(current, previous);
    if (current.isValid())
        m_current = m_model->entry(current.row()).name;
    m_model->watch(currentFile().path);
    Q_EMIT selectedFilesChanged();
}

void FolderView::selectionChanged(const QItemSelection& selected, const QItemSelection& deselected)
{
    QListView::selectionChanged(selected, deselected);
    Q_EMIT selectedFilesChanged();
}

void FolderView::initViewItemOption(QStyleOptionViewItem* option) const
{
    QListView::initViewItemOption(option);
    option->decorationPosition = QStyleOptionViewItem::Top;
    option->decorationAlignment = option->displayAlignment = Qt::AlignCenter;
    option->decorationSize = {m_side, m_side};
    option->textElideMode = Qt::ElideMiddle;
    option->showDecorationSelected = true;
}

void FolderView::paintEvent(QPaintEvent* event)
{
    QListView::paintEvent(event);
    // Whatever has changed: what can be seen now is wanted.
    if (!m_wanting.isActive())
        m_wanting.start();
    QPainter(viewport())
        .drawText(viewport()->rect().adjusted(20, 20, -20, -20),
            Qt::AlignCenter | Qt::TextWordWrap,
            m_model->failure());
}

void FolderView::resizeEvent(QResizeEvent* event)
{
    QListView::resizeEvent(event);
    layOut();
}

void FolderView::wheelEvent(QWheelEvent* event)
{
    if (event->modifiers() == Qt::ControlModifier)
        zoom(event->angleDelta().y() / kStepOfWheel);
    else
        QListView::wheelEvent(event);
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
    const auto isSelected
        = [this](int row) { return m_selected.contains(m_model->entry(row).name); };
    QItemSelection selection;
    for (int row = 0, end = 0; row < m_model->rowCount() && !m_selected.isEmpty(); row = end + 1) {
        // One range for neighbours: thousands of ranges would take long.
        for (end = row; end < m_model->rowCount() && isSelected(end);)
            ++end;
        if (end > row)
            selection.select(m_model->index(row), m_model->index(end - 1));
    }
    const QModelIndex current = m_model->index(m_model->rowOf(m_current));
    // A file that was opened with its folder is selected, too.
    selectionModel()->setCurrentIndex(current,
        m_selected.isEmpty() ? QItemSelectionModel::ClearAndSelect : QItemSelectionModel::NoUpdate);
    scrollTo(current);
    selectionModel()->select(selection, QItemSelectionModel::Select);
}

PictureWish FolderView::wish(int row) const
{
    const int pixels = static_cast<int>(std::ceil(m_side * devicePixelRatioF()));
    return {m_model->file(row), PictureWish::Kind::Thumbnail, {pixels, pixels}};
}

void FolderView::wantThumbnails()
{
    const int columns = std::max(1, viewport()->width() / gridSize().width());
    const int first = verticalScrollBar()->value() / gridSize().height() * columns;
    const int page = (viewport()->height() / gridSize().height() + 2) * columns;
    const auto wishes = [this](int from, int to) {
        QList<PictureWish> result;
        for (int row = std::max(0, from); row < std::min(m_model->rowCount(), to); ++row)
            result << wish(row);
        return result;
    };
    const double pixels = m_side * devicePixelRatioF();
    m_thumbnails.want(wishes(first, first + page),
        wishes(first + page, first + 2 * page) + wishes(first - page, first),
        static_cast<int>(static_cast<double>(kMaxBytes) / (4 * pixels * pixels)));
}
