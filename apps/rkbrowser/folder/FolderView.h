#pragma once

#include "folder/ThumbnailStore.h"

#include <QListView>
#include <QTimer>

class FolderDelegate;
class FolderModel;

/// The thumbnails of a folder. Loads those that can be seen, and a page before and after these.
class FolderView : public QListView
{
    Q_OBJECT

public:
    FolderView(FolderModel* model, RKAsyncLoader* loader, QWidget* parent = nullptr);

    /// Larger or smaller by some steps, within limits.
    void zoom(int steps);
    /// The longest side of a thumbnail.
    int thumbnailSide() const;
    void setThumbnailSide(int side);

    QStringList selectedFiles() const;
    int selectedCount() const;
    /// The current one; empty if there is none.
    QString currentFile() const;
    /// Selects a file as soon as the folder shows it.
    void setCurrentFile(const QString& filePath);

Q_SIGNALS:
    void currentChangedTo(const QString& filePath);
    void selectedFilesChanged();

protected:
    void currentChanged(const QModelIndex& current, const QModelIndex& previous) override;
    void selectionChanged(
        const QItemSelection& selected, const QItemSelection& deselected) override;
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void dragMoveEvent(QDragMoveEvent* event) override;

private:
    void layOut();
    void remember();
    void restore();
    void wantThumbnails();
    void updateFile(const QString& filePath);

    FolderModel* const m_model;
    ThumbnailStore m_thumbnails;
    FolderDelegate* const m_delegate;
    int m_side = 0;
    // Once for many events.
    QTimer m_wanting;
    // Why there are no files.
    QString m_failure;
    // Names, while the model changes.
    QStringList m_selected;
    QString m_current;
};
