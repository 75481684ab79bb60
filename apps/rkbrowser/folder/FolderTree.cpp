#include "folder/FolderTree.h"

#include "BackgroundThreads.h"
#include "WhenDone.h"

#include <QApplication>
#include <QDir>
#include <QPointer>
#include <QStyle>
#include <QtConcurrent>

namespace {

constexpr int kFolderRole = Qt::UserRole;
constexpr int kIsListedRole = Qt::UserRole + 1;

QString folderOf(const QTreeWidgetItem* item)
{
    return item->data(0, kFolderRole).toString();
}

} // namespace

FolderTree::FolderTree(QWidget* parent)
    : QTreeWidget(parent)
    , m_icon(QApplication::style()->standardIcon(QStyle::SP_DirIcon))
{
    setHeaderHidden(true);
    setUniformRowHeights(true);
    setAccessibleName(tr("Folders"));
    add(nullptr, tr("Home"), QDir::homePath());
    add(nullptr, tr("Computer"), QDir::rootPath());
    connect(this, &QTreeWidget::itemExpanded, this, &FolderTree::list);
    connect(this, &QTreeWidget::currentItemChanged, this, [this](const QTreeWidgetItem* item) {
        if (item)
            Q_EMIT chosen(folderOf(item));
    });
}

void FolderTree::reveal(const QString& folder)
{
    if (currentItem() && folderOf(currentItem()) == folder)
        return;
    m_revealed = folder;
    const bool isAtHome = folder == QDir::homePath() || folder.startsWith(QDir::homePath() + u'/');
    revealIn(topLevelItem(isAtHome ? 0 : 1));
}

QTreeWidgetItem* FolderTree::add(
    QTreeWidgetItem* parent, const QString& name, const QString& folder)
{
    auto* item = new QTreeWidgetItem({name});
    item->setData(0, kFolderRole, folder);
    item->setIcon(0, m_icon);
    // Whether there are any is seen when it is opened.
    item->setChildIndicatorPolicy(QTreeWidgetItem::ShowIndicator);
    if (parent)
        parent->addChild(item);
    else
        addTopLevelItem(item);
    return item;
}

void FolderTree::list(QTreeWidgetItem* item)
{
    if (item->data(0, kIsListedRole).toBool())
        return;
    item->setData(0, kIsListedRole, true);
    const auto subfolders = [folder = folderOf(item)] {
        return QDir(folder).entryList(
            QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name | QDir::IgnoreCase | QDir::LocaleAware);
    };
    // Items are never removed.
    const auto addFolders = [this, item](const QStringList& names) {
        for (const QString& name : names)
            add(item, name, QDir(folderOf(item)).filePath(name));
        if (names.isEmpty())
            item->setChildIndicatorPolicy(QTreeWidgetItem::DontShowIndicator);
        revealIn(item);
    };
    whenDone(QtConcurrent::run(backgroundThreads(), subfolders), this, addFolders);
}

void FolderTree::revealIn(QTreeWidgetItem* item)
{
    if (folderOf(item) == m_revealed) {
        setCurrentItem(item);
        m_revealed.clear();
    } else if (!item->data(0, kIsListedRole).toBool() && m_revealed.startsWith(folderOf(item))) {
        item->setExpanded(true);
    }
    for (int i = 0; i < item->childCount() && !m_revealed.isEmpty(); ++i) {
        const QString folder = folderOf(item->child(i));
        if (m_revealed == folder || m_revealed.startsWith(folder + u'/')) {
            item->setExpanded(true);
            return revealIn(item->child(i));
        }
    }
}
