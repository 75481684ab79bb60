#include "MessageCollector.h"

#include <QMutex>
#include <QMutexLocker>
#include <QtGlobal>

#include <utility>

namespace {

struct Collected
{
    // Guards warnings.
    QMutex mutex;
    QStringList warnings;
};

Collected& collected()
{
    static Collected instance;
    return instance;
}

QtMessageHandler originalHandler = nullptr;
bool isVerbose = false;

void handleMessage(QtMsgType type, const QMessageLogContext& context, const QString& text)
{
    if (type == QtWarningMsg) {
        Collected& all = collected();
        const QMutexLocker locker(&all.mutex);
        all.warnings << text.simplified();
    }
    if (isVerbose || type == QtFatalMsg)
        originalHandler(type, context, text);
}

} // namespace

MessageCollector::MessageCollector(bool verbose)
{
    isVerbose = verbose;
    originalHandler = qInstallMessageHandler(handleMessage);
}

MessageCollector::~MessageCollector()
{
    qInstallMessageHandler(nullptr);
}

QStringList MessageCollector::takeWarnings()
{
    Collected& all = collected();
    const QMutexLocker locker(&all.mutex);
    return std::exchange(all.warnings, {});
}
