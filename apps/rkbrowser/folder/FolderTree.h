#pragma once

#include <QFileSystemModel>
#include <QTreeView>

/// The folders of the user or, outside of these, of the machine. Qt lists them in the background.
class FolderTree : public QTreeView
{
    Q_OBJECT

public:
    FolderTree();

    /// It is the user's home, or in it.
    static bool isAtHome(const QString& folder);
    /// Opens all folders down to this one, and makes it the current one.
    void reveal(const QString& folder);

Q_SIGNALS:
    void chosen(const QString& folder);

protected:
    void currentChanged(const QModelIndex& current, const QModelIndex& previous) override;

private:
    QFileSystemModel m_model;
};
