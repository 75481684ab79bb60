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

void Output::printLine(const QJsonObject& json)
{
    QTextStream(stdout) << QJsonDocument(json).toJson(QJsonDocument::Compact) << Qt::endl;
}

bool Output::isWritten()
{
    return std::fflush(stdout) == 0 && std::ferror(stdout) == 0;
}

void Output::printFailure(const QString& file, const QString& failure)
{
    QTextStream(stderr) << "rkimage: " << file << ": " << failure << Qt::endl;
}

int Output::fail(const QString& file, const RKMediaError& error)
{
    printFailure(file, error.text());
    return SomeFailed;
}
