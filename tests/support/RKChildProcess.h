#pragma once

#include <QCoreApplication>
#include <QProcess>
#include <QProcessEnvironment>
#include <QString>

/// Runs code that ends the process: the test program starts itself again with a name in the
/// environment, and main() asks for that name before it runs any test.
namespace RKChildProcess {

inline constexpr const char* kVariable = "RK_TEST_CHILD";

/// What this process is asked to do; empty in the test program itself.
inline QByteArray role()
{
    return qgetenv(kVariable);
}

struct Result
{
    bool crashed = false;
    int exitCode = -1;
    QString messages;
};

inline void start(QProcess& child, const QString& role)
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QString::fromLatin1(kVariable), role);
    child.setProcessEnvironment(environment);
    child.start(QCoreApplication::applicationFilePath(), QStringList());
}

inline Result run(const QString& role)
{
    QProcess child;
    start(child, role);
    if (!child.waitForFinished(30000))
        return {};
    return {child.exitStatus() == QProcess::CrashExit,
        child.exitCode(),
        QString::fromUtf8(child.readAllStandardError())};
}

} // namespace RKChildProcess
