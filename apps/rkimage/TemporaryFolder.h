#pragma once

#include <QString>
#include <QTemporaryDir>

#include <memory>
#include <mutex>

/// A private folder for what has to lie in a file with a plain name; made when it is first asked
/// for, and gone with the object. There is one object, in main().
class TemporaryFolder
{
public:
    TemporaryFolder();
    ~TemporaryFolder();

    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    /// A path in it that nothing else uses, with that extension unless it is empty. Thread-safe.
    static QString newPath(const QString& extension);

private:
    static TemporaryFolder* s_folder;

    // Guards the others.
    std::mutex m_mutex;
    std::unique_ptr<QTemporaryDir> m_folder;
    int m_count = 0;
};
