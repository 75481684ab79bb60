#pragma once

#include <QString>
#include <QStringList>

class QFileInfo;
class RKMetaData;

/// What `rkimage set --copy-from` takes from another file.
class MetaDataCopy
{
public:
    /// All of the metadata without names of fields.
    MetaDataCopy(const QString& source, const QStringList& fields);

    /// The names that there are.
    static QStringList fieldNames();

    /// Puts them into those of a file; the failure, or nothing. What the source doesn't have stays
    /// as it is.
    QString copyTo(RKMetaData& target, const QFileInfo& file) const;

private:
    QString m_source;
    QStringList m_fields;
};
