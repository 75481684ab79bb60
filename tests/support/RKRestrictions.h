#pragma once

#include <QDir>
#include <QFile>
#include <QString>
#include <QTemporaryDir>

#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>

#ifdef Q_OS_LINUX
#    include <sys/mount.h>
#endif

/// Circumstances that a file system or a process puts in the way of writing.
namespace RKRestrictions {

/// No file of this process may grow beyond the size; writing more is an error, as on a full disk.
inline bool limitFileSize(rlim_t size)
{
    std::signal(SIGXFSZ, SIG_IGN);
    const rlimit limit{size, size};
    return ::setrlimit(RLIMIT_FSIZE, &limit) == 0;
}

/// The process gets no more large blocks of memory until it goes. Sanitizers can't bear it.
class LittleMemory
{
    Q_DISABLE_COPY_MOVE(LittleMemory)

public:
    explicit LittleMemory(rlim_t rest = 4 << 20)
    {
        ::getrlimit(RLIMIT_AS, &m_before);
        QFile status(QStringLiteral("/proc/self/statm"));
        const rlim_t pages
            = status.open(QIODevice::ReadOnly) ? status.readAll().split(' ')[0].toULongLong() : 0;
        const rlim_t size = pages * rlim_t(::sysconf(_SC_PAGESIZE)) + rest;
        const rlimit limit{size, m_before.rlim_max};
        m_isSet = pages > 0 && ::setrlimit(RLIMIT_AS, &limit) == 0;
    }

    ~LittleMemory()
    {
        ::setrlimit(RLIMIT_AS, &m_before);
    }

    bool isSet() const
    {
        return m_isSet;
    }

private:
    rlimit m_before{};
    bool m_isSet = false;
};

/// Gives up the rights of the superuser, which no file mode stops.
inline bool becomeOrdinaryUser()
{
    constexpr uid_t kNobody = 65534;
    return ::geteuid() != 0 || ::seteuid(kNobody) == 0;
}

/// The same until it goes: LeakSanitizer may not look at a process without these rights.
class OrdinaryUser
{
    Q_DISABLE_COPY_MOVE(OrdinaryUser)

public:
    OrdinaryUser()
    {
        if (!becomeOrdinaryUser())
            qFatal("the user can't be changed");
    }

    ~OrdinaryUser()
    {
        static_cast<void>(::seteuid(m_user));
    }

private:
    const uid_t m_user = ::geteuid();
};

inline bool setMode(const QString& path, mode_t mode)
{
    return ::chmod(QFile::encodeName(path).constData(), mode) == 0;
}

inline struct stat status(const QString& path)
{
    struct stat result = {};
    ::stat(QFile::encodeName(path).constData(), &result);
    return result;
}

/// A directory that an ordinary user may enter.
class OpenDir
{
public:
    OpenDir()
    {
        setMode(m_dir.path(), 0777);
    }

    QString filePath(const QString& name) const
    {
        return m_dir.filePath(name);
    }

    QStringList entries() const
    {
        return QDir(m_dir.path()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
    }

    QString path() const
    {
        return m_dir.path();
    }

private:
    QTemporaryDir m_dir;
};

/// A directory that is a file system in memory of a given size, where the process may mount one.
class SmallDisk : public OpenDir
{
    Q_DISABLE_COPY_MOVE(SmallDisk)

public:
    explicit SmallDisk([[maybe_unused]] int kilobytes)
    {
#ifdef Q_OS_LINUX
        const QByteArray options = "size=" + QByteArray::number(kilobytes) + 'k';
        m_isMounted
            = ::mount(
                  "none", QFile::encodeName(path()).constData(), "tmpfs", 0, options.constData())
            == 0;
#endif
    }

    ~SmallDisk()
    {
#ifdef Q_OS_LINUX
        if (m_isMounted)
            ::umount2(QFile::encodeName(path()).constData(), MNT_DETACH);
#endif
    }

    bool isMounted() const
    {
        return m_isMounted;
    }

    /// Leaves no room for another byte.
    void fill() const
    {
        QFile filler(filePath(QStringLiteral("filler")));
        const QByteArray block(4096, 'x');
        if (!filler.open(QIODevice::WriteOnly | QIODevice::Unbuffered))
            return;
        while (filler.write(block) == block.size()) {
        }
    }

private:
    bool m_isMounted = false;
};

} // namespace RKRestrictions
