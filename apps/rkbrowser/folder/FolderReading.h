#pragma once

#include "folder/FolderOrder.h"

#include <QPromise>
#include <QUrl>

/// What the browser does with the files of a folder. All of it waits for the disk: for background
/// threads.
namespace FolderReading {

struct Listing
{
    QList<FolderEntry> entries;
    FolderOrder order;
    FolderRows rows;
    /// Why there are no entries; empty if the folder could be read.
    QString failure;
};

/// All files that the library opens, but hidden ones. What is known of those that stay as they were
/// is kept.
Listing list(const QString& folder, const QList<FolderEntry>& known, const FolderOrder& order);

/// One file, without its metadata. The name is empty if the library doesn't open it.
FolderEntry entryOf(const QFileInfo& file);
/// The same with its metadata.
FolderEntry read(const QString& folder, FolderEntry entry);

/// Copies files into a folder under names that are free there; nothing is replaced. Files of the
/// folder itself are left out. The result says which ones failed; the progress counts files.
void copyInto(QPromise<QStringList>& promise, const QString& folder, const QList<QUrl>& files);

} // namespace FolderReading
