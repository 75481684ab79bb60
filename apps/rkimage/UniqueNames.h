#pragma once

#include <QDir>
#include <QSet>
#include <QString>

/// Hands out names that differ from each other and from those in a folder, also where the file
/// system doesn't tell upper from lower case or composed from decomposed letters. Extensions don't
/// count: which one a thumbnail gets is only known when it is made.
class UniqueNames
{
public:
    explicit UniqueNames(const QDir& folder)
    {
        const QFileInfoList existing = folder.entryInfoList(QDir::AllEntries | QDir::Hidden);
        for (const QFileInfo& file : existing)
            m_taken << key(file.completeBaseName());
    }

    QString next(const QString& wanted)
    {
        QString name = wanted;
        for (int number = 2; m_taken.contains(key(name)); ++number)
            name = QStringLiteral("%1-%2").arg(wanted, QString::number(number));
        m_taken << key(name);
        return name;
    }

private:
    static QString key(const QString& name)
    {
        return name.normalized(QString::NormalizationForm_C).toCaseFolded();
    }

    QSet<QString> m_taken;
};
