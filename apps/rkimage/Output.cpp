#include "Output.h"

#include <QRegularExpression>
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

void Output::printFailure(const QString& file, const QString& failure)
{
    QTextStream(stderr) << "rkimage: " << file << ": " << failure << Qt::endl;
}

void Output::printRemarks(const QString& file, const QStringList& warnings)
{
    for (const QString& warning : warnings) {
        if (warning.startsWith(QLatin1String("Photoshop file without merged picture")))
            printFailure(file, warning);
    }
}

QString Output::withReason(const QString& failure, const QStringList& warnings)
{
    // These only say that something failed, which the line does already.
    static const QRegularExpression empty(QStringLiteral(
        "^(could not decode|failed to save|Größe nicht bekannt|Groesse nicht bekannt)"));
    // Readers may have complained of details before the file was refused.
    const QStringList reasons = warnings.filter(QStringLiteral(" refused: ")) + warnings;
    for (const QString& warning : reasons) {
        if (!warning.contains(empty))
            return QStringLiteral("%1 (%2)").arg(failure, warning);
    }
    return failure;
}
