#include "folder/FolderTree.h"

FolderTree::FolderTree()
{
    m_model.setFilter(QDir::Dirs | QDir::NoDotAndDotDot);
    m_model.setOption(QFileSystemModel::DontUseCustomDirectoryIcons);
    m_model.setRootPath(QDir::rootPath());
    setModel(&m_model);
    setHeaderHidden(true);
    setUniformRowHeights(true);
    for (int column = 1; column < m_model.columnCount(); ++column)
        hideColumn(column);
    setAccessibleName(tr("Folders"));
}

bool FolderTree::isAtHome(const QString& folder)
{
    return folder == QDir::homePath() || folder.startsWith(QDir::homePath() + u'/');
}

void FolderTree::reveal(const QString& folder)
{
    setRootIndex(m_model.index(isAtHome(folder) ? QDir::homePath() : QDir::rootPath()));
    const QModelIndex index = m_model.index(folder);
    setCurrentIndex(index);
    scrollTo(index);
}

void FolderTree::currentChanged(const QModelIndex& current, const QModelIndex& previous)
{
    QTreeView::currentChanged(current, previous);
    if (current.isValid())
        Q_EMIT chosen(m_model.filePath(current));
}
