#pragma once

#include "MediaFile.h"
#include "folder/FolderReading.h"

#include <QAbstractListModel>
#include <QFileSystemWatcher>
#include <QFutureWatcher>
#include <QThreadPool>
#include <QTimer>

/// The media of a folder, in an order and filtered. Everything that takes time is done on
/// background threads; the folder is watched for changes.
class FolderModel : public QAbstractListModel
{
    Q_OBJECT

public:
    FolderModel();
    ~FolderModel() override;

    /// Absolute path.
    void open(const QString& folder);
    QString folder() const;
    /// Lists the folder again.
    void refresh();
    /// Why the folder shows no files; empty if that is how it is.
    QString failure() const;

    void setOrder(const FolderOrder& order);
    const FolderOrder& order() const;

    /// The row must exist.
    const FolderEntry& entry(int row) const;
    MediaFile file(int row) const;
    /// -1 if it isn't shown.
    int rowOf(const QString& fileName) const;
    /// Shown or not.
    int fileCount() const;
    /// Everybody who is in a picture of the folder.
    const QStringList& people() const;

    /// A file has changed on disk.
    void look(const QString& filePath);
    /// Sees also what other programs change inside of this file.
    void watch(const QString& filePath);
    /// Copies files into the folder in the background.
    void copyHere(const QList<QUrl>& files);

    int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;
    QStringList mimeTypes() const override;
    QMimeData* mimeData(const QModelIndexList& indexes) const override;
    bool dropMimeData(const QMimeData* data,
        Qt::DropAction action,
        int row,
        int column,
        const QModelIndex& parent) override;

Q_SIGNALS:
    void folderChanged(const QString& folder);
    void copyFailed(const QStringList& reasons);
    /// How much of the work in the background is done; equal numbers for all.
    void progressed(int done, int all);

private:
    void take(const FolderReading::Listing& listing);
    void readOn();
    void arrange();
    void reportProgress();

    QString m_folder;
    FolderReading::Listing m_now;
    FolderOrder m_order;
    // Places of the entries that are being read.
    QList<qsizetype> m_unread;

    QFutureWatcher<FolderReading::Listing> m_listing;
    QFutureWatcher<FolderEntry> m_reading;
    QFutureWatcher<FolderRows> m_arranging;
    QFutureWatcher<QString> m_copying;
    QFileSystemWatcher m_changes;
    // Several changes are one.
    QTimer m_relisting;
    // While metadata come in, the order isn't made anew for each file.
    QTimer m_rearranging;
    // One thread each, so that the panel and the pictures needn't wait for a folder.
    QThreadPool m_reader;
    QThreadPool m_copier;
};
