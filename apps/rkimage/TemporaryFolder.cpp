#include "TemporaryFolder.h"

TemporaryFolder* TemporaryFolder::s_folder = nullptr;

TemporaryFolder::TemporaryFolder()
{
    s_folder = this;
}

TemporaryFolder::~TemporaryFolder()
{
    s_folder = nullptr;
}

QString TemporaryFolder::newPath(const QString& extension)
{
    const std::lock_guard lock(s_folder->m_mutex);
    if (!s_folder->m_folder)
        s_folder->m_folder = std::make_unique<QTemporaryDir>();
    const QString name = QString::number(++s_folder->m_count);
    return s_folder->m_folder->filePath(extension.isEmpty() ? name : name + u'.' + extension);
}
