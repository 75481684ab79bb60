#pragma once

#include "folder/FolderOrder.h"

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

/// Copies a file into a folder, unless it is there, under a name that is free; nothing is replaced.
/// Says why not; empty if it was copied.
QString copyInto(const QString& folder, const QUrl& url);

} // namespace FolderReading
