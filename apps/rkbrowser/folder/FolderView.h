#pragma once

#include "picture/PictureStore.h"

#include <QListView>
#include <QSet>
#include <QTimer>

class FolderModel;

/// The thumbnails of a folder. Loads those that can be seen, and a page before and after these.
class FolderView : public QListView
{
    Q_OBJECT

public:
    FolderView(FolderModel* model, RKAsyncLoader* loader);

    /// Larger or smaller by some steps, within limits.
    void zoom(int steps);
    /// The longest side of a thumbnail.
    int thumbnailSide() const;
    void setThumbnailSide(int side);

    QStringList selectedFiles() const;
    int selectedCount() const;
    /// The current one; its path is empty if there is none.
    MediaFile currentFile() const;
    /// Selects a file as soon as the folder shows it.
    void setCurrentFile(const QString& filePath);

Q_SIGNALS:
    void selectedFilesChanged();

protected:
    void currentChanged(const QModelIndex& current, const QModelIndex& previous) override;
    void selectionChanged(
        const QItemSelection& selected, const QItemSelection& deselected) override;
    void initViewItemOption(QStyleOptionViewItem* option) const override;
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;

private:
    class Delegate;

    void layOut();
    void remember();
    void restore();
    PictureWish wish(int row) const;
    void wantThumbnails();

    FolderModel* const m_model;
    PictureStore m_thumbnails;
    int m_side = 0;
    // Once for many events.
    QTimer m_wanting;
    // Names, while the model changes.
    QSet<QString> m_selected;
    QString m_current;
};
