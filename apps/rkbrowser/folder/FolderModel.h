#pragma once

#include "folder/FolderOrder.h"
#include "folder/FolderReading.h"

#include <QAbstractListModel>
#include <QFileSystemWatcher>
#include <QFutureWatcher>
#include <QTimer>

/// The media of a folder, in an order and filtered. Everything that takes time is done on
/// background threads; the folder is watched for changes.
class FolderModel : public QAbstractListModel
{
    Q_OBJECT

public:
    explicit FolderModel(QObject* parent = nullptr);
    ~FolderModel() override;

    /// Absolute path.
    void open(const QString& folder);
    QString folder() const;
    /// Gives up what is done in the background.
    void stop();
    /// Lists the folder again.
    void refresh();

    void setOrder(const FolderOrder& order);
    const FolderOrder& order() const;

    /// The row must exist.
    const FolderEntry& entry(int row) const;
    QString filePath(int row) const;
    /// -1 if it isn't shown.
    int rowOf(const QString& fileName) const;
    /// Shown or not.
    int fileCount() const;
    /// Everybody who is in a picture of the folder.
    const QStringList& people() const;

    /// A file has changed on disk.
    void look(const QString& filePath);
    /// Copies files into the folder in the background.
    void copyHere(const QList<QUrl>& files);

    int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;
    QStringList mimeTypes() const override;
    QMimeData* mimeData(const QModelIndexList& indexes) const override;
    Qt::DropActions supportedDropActions() const override;
    bool canDropMimeData(const QMimeData* data,
        Qt::DropAction action,
        int row,
        int column,
        const QModelIndex& parent) const override;
    bool dropMimeData(const QMimeData* data,
        Qt::DropAction action,
        int row,
        int column,
        const QModelIndex& parent) override;

Q_SIGNALS:
    void folderChanged(const QString& folder);
    /// The folder can't be read; empty once it can.
    void failed(const QString& reason);
    void copyFailed(const QStringList& reasons);
    /// How much of the work in the background is done; equal numbers for all.
    void progressed(int done, int all);

private:
    void listed();
    void replace(const FolderReading::Listing& listing);
    void readOn();
    void batchRead(int index);
    void arrange();
    void arrangedRows();
    void reportProgress();

    QString m_folder;
    QList<FolderEntry> m_entries;
    FolderOrder m_order;
    FolderRows m_rows;
    qsizetype m_readCount = 0;

    QFutureWatcher<FolderReading::Listing> m_listing;
    QFutureWatcher<FolderReading::Batch> m_reading;
    QFutureWatcher<FolderRows> m_arranging;
    QFutureWatcher<QStringList> m_copying;
    QFileSystemWatcher m_changes;
    // Several changes are one.
    QTimer m_relisting;
    // While metadata come in, the order isn't made anew for each batch.
    QTimer m_rearranging;
};
