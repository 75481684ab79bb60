#pragma once

#include <QIcon>
#include <QTreeWidget>

/// The folders of the machine. Those in a folder are listed in the background when it is opened.
class FolderTree : public QTreeWidget
{
    Q_OBJECT

public:
    explicit FolderTree(QWidget* parent = nullptr);

    /// Opens all folders down to this one, and makes it the current one.
    void reveal(const QString& folder);

Q_SIGNALS:
    void chosen(const QString& folder);

private:
    QTreeWidgetItem* add(QTreeWidgetItem* parent, const QString& name, const QString& folder);
    void list(QTreeWidgetItem* item);
    void revealIn(QTreeWidgetItem* item);

    // Making one for each folder would take long.
    const QIcon m_icon;
    QString m_revealed;
};
