#pragma once

#include <QCoreApplication>
#include <QProcess>
#include <QProcessEnvironment>
#include <QString>
#include <QTest>

#include <cstdlib>

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

/// The main() of a program of tests, or of its child, whose work gives the exit code.
template <typename Application, typename Test>
int main(int argc, char** argv, int (*work)(const QString& role))
{
    Application application(argc, argv);
    // At once: a leak checker can't look at a process that has changed its user, and would replace
    // the exit code.
    if (!role().isEmpty())
        std::_Exit(work(QString::fromUtf8(role())));
    Test test;
    return QTest::qExec(&test, argc, argv);
}

} // namespace RKChildProcess
