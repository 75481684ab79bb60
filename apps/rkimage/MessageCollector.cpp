#include "MessageCollector.h"

#include <QLoggingCategory>

#include <utility>

namespace {

thread_local QStringList warnings;
QtMessageHandler originalHandler = nullptr;
bool isVerbose = false;

void handleMessage(QtMsgType type, const QMessageLogContext& context, const QString& text)
{
    if (type == QtWarningMsg)
        warnings << text.simplified();
    if (isVerbose || type == QtFatalMsg)
        originalHandler(type, context, text);
}

} // namespace

MessageCollector::MessageCollector(bool verbose)
{
    isVerbose = verbose;
    // Nobody would see them.
    if (!verbose)
        QLoggingCategory::setFilterRules(QStringLiteral("*.debug=false"));
    originalHandler = qInstallMessageHandler(handleMessage);
}

MessageCollector::~MessageCollector()
{
    qInstallMessageHandler(nullptr);
}

QStringList MessageCollector::takeWarnings()
{
    return std::exchange(warnings, {});
}
