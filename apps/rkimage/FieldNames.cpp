#include "FieldNames.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace {

void addNames(const QJsonValue& schema, const QString& before, QStringList& names)
{
    const QJsonObject properties = schema[u"properties"].toObject();
    for (auto property = properties.begin(); property != properties.end(); ++property) {
        const QString name = before + property.key();
        names << name;
        addNames(property.value(), name + u'.', names);
    }
    const QJsonArray choices = schema[u"oneOf"].toArray();
    for (const auto& choice : choices)
        addNames(choice, before, names);
}

} // namespace

QStringList FieldNames::known()
{
    QFile file(QStringLiteral(":/rkimage/json.schema.json"));
    if (!file.open(QIODevice::ReadOnly))
        return {};
    const QJsonValue definitions = QJsonDocument::fromJson(file.readAll())[u"$defs"];
    QStringList names;
    for (const char* kind : {"info", "result"})
        addNames(definitions[QLatin1String(kind)], {}, names);
    return names;
}
