#include "folder/FolderDelegate.h"

#include "folder/FolderModel.h"

#include <QAbstractItemView>
#include <QApplication>
#include <QHelpEvent>
#include <QLocale>
#include <QPainter>
#include <QStyle>
#include <QToolTip>

namespace {

constexpr int kMargin = 8;
constexpr int kGap = 4;

QSizeF shownSize(const QImage& image, const QSizeF& room, qreal ratio)
{
    const QSizeF size = QSizeF(image.size()) / ratio;
    // As large as it is unless that is too large.
    return size.width() <= room.width() && size.height() <= room.height()
        ? size
        : size.scaled(room, Qt::KeepAspectRatio);
}

} // namespace

FolderDelegate::FolderDelegate(
    const FolderModel* model, const ThumbnailStore* thumbnails, QObject* parent)
    : QStyledItemDelegate(parent)
    , m_model(model)
    , m_thumbnails(thumbnails)
{
}

QSize FolderDelegate::minSize(const QFontMetrics& font, int side) const
{
    return {side + 2 * kMargin, side + 2 * kMargin + 2 * (font.height() + kGap)};
}

void FolderDelegate::setSize(const QSize& size)
{
    m_size = size;
}

QSize FolderDelegate::sizeHint(const QStyleOptionViewItem&, const QModelIndex&) const
{
    return m_size;
}

void FolderDelegate::paint(
    QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const
{
    const FolderEntry& entry = m_model->entry(index.row());
    QStyleOptionViewItem background = option;
    initStyleOption(&background, index);
    background.text.clear();
    QApplication::style()->drawControl(
        QStyle::CE_ItemViewItem, &background, painter, option.widget);

    const QRect frame = option.rect.adjusted(
        kMargin, kMargin, -kMargin, -kMargin - 2 * (option.fontMetrics.height() + kGap));
    painter->save();
    paintThumbnail(painter, frame, option.palette, m_thumbnails->find(file(index)));
    if (entry.format.isVideo())
        QApplication::style()
            ->standardIcon(QStyle::SP_MediaPlay)
            .paint(painter, QRect(frame.left(), frame.bottom() - 23, 24, 24));

    const bool isSelected = option.state & QStyle::State_Selected;
    painter->setPen(option.palette.color(isSelected ? QPalette::HighlightedText : QPalette::Text));
    QRect line(frame.left(), frame.bottom() + 1 + kGap, frame.width(), option.fontMetrics.height());
    painter->drawText(line,
        Qt::AlignCenter | Qt::TextSingleLine,
        option.fontMetrics.elidedText(
            QString(entry.name).replace(u'\n', u' '), Qt::ElideMiddle, line.width()));
    line.translate(0, line.height());
    painter->drawText(line, Qt::AlignCenter, QString(entry.rating, u'★'));
    painter->restore();
}

bool FolderDelegate::helpEvent(QHelpEvent* event,
    QAbstractItemView* view,
    const QStyleOptionViewItem& option,
    const QModelIndex& index)
{
    if (event->type() != QEvent::ToolTip || !index.isValid())
        return QStyledItemDelegate::helpEvent(event, view, option, index);
    const FolderEntry& entry = m_model->entry(index.row());
    const QLocale locale;
    QStringList lines{entry.name,
        locale.toString(entry.date(), QLocale::ShortFormat),
        locale.formattedDataSize(entry.bytes)};
    lines << entry.people;
    const Thumbnail* thumbnail = m_thumbnails->find(file(index));
    if (thumbnail && !thumbnail->reason.isEmpty())
        lines << thumbnail->reason;
    QToolTip::showText(event->globalPos(), lines.join(u'\n'), view);
    return true;
}

ThumbnailStore::File FolderDelegate::file(const QModelIndex& index) const
{
    return {m_model->filePath(index.row()), m_model->entry(index.row()).modified};
}

void FolderDelegate::paintThumbnail(QPainter* painter,
    const QRect& frame,
    const QPalette& palette,
    const Thumbnail* thumbnail) const
{
    if (thumbnail && !thumbnail->image.isNull()) {
        const QSizeF size
            = shownSize(thumbnail->image, frame.size(), painter->device()->devicePixelRatioF());
        QRectF target(QPointF(), size);
        target.moveCenter(QRectF(frame).center());
        painter->setRenderHint(QPainter::SmoothPixmapTransform);
        painter->drawImage(target, thumbnail->image);
        return;
    }
    painter->setRenderHint(QPainter::Antialiasing);
    painter->setPen(palette.color(QPalette::Mid));
    painter->setBrush(palette.color(QPalette::AlternateBase));
    painter->drawRoundedRect(QRectF(frame).adjusted(0.5, 0.5, -0.5, -0.5), 6, 6);
    if (!thumbnail)
        return;
    constexpr int kIconSide = 32;
    QApplication::style()
        ->standardIcon(QStyle::SP_MessageBoxWarning)
        .paint(painter,
            QRect(frame.left(), frame.top() + kMargin, frame.width(), kIconSide),
            Qt::AlignCenter);
    painter->setPen(palette.color(QPalette::Text));
    painter->drawText(frame.adjusted(kMargin, 2 * kMargin + kIconSide, -kMargin, -kMargin),
        Qt::AlignCenter | Qt::TextWordWrap,
        thumbnail->reason);
}
