#pragma once

#include "folder/ThumbnailStore.h"

#include <QStyledItemDelegate>

class FolderModel;

/// Draws a file of the folder: its thumbnail or why there is none, its name and its stars.
class FolderDelegate : public QStyledItemDelegate
{
    Q_OBJECT

public:
    FolderDelegate(const FolderModel* model, const ThumbnailStore* thumbnails, QObject* parent);

    /// What a file takes at least for a thumbnail, without the ratio of the device.
    QSize minSize(const QFontMetrics& font, int side) const;
    void setSize(const QSize& size);
    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;
    void paint(QPainter* painter,
        const QStyleOptionViewItem& option,
        const QModelIndex& index) const override;
    bool helpEvent(QHelpEvent* event,
        QAbstractItemView* view,
        const QStyleOptionViewItem& option,
        const QModelIndex& index) override;

private:
    ThumbnailStore::File file(const QModelIndex& index) const;
    void paintThumbnail(QPainter* painter,
        const QRect& frame,
        const QPalette& palette,
        const Thumbnail* thumbnail) const;

    const FolderModel* const m_model;
    const ThumbnailStore* const m_thumbnails;
    QSize m_size;
};
