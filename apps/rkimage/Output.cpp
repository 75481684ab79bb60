#include "Output.h"

#include <QTextStream>

#include <cstdio>

void Output::print(const QString& text)
{
    QTextStream(stdout) << text << Qt::endl;
}

void Output::print(const QJsonDocument& json)
{
    QTextStream(stdout) << json.toJson() << Qt::flush;
}

void Output::printFailure(const QString& file, const QString& failure)
{
    QTextStream(stderr) << "rkimage: " << file << ": " << failure << Qt::endl;
}

QString Output::withReason(const QString& failure, const QStringList& warnings)
{
    return warnings.isEmpty() ? failure : QStringLiteral("%1 (%2)").arg(failure, warnings.first());
}
