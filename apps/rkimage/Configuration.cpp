#include "Configuration.h"

#include "RKImageLoader/media/RKImageLoaderConfig.h"
#include "SmallFile.h"

#include <QHash>
#include <QTemporaryFile>
#include <QXmlStreamReader>

namespace {

// More than anybody writes.
constexpr qint64 kMaxSize = 1024 * 1024;

struct Value
{
    const char* element;
    const char* attribute;
    int smallest;
    int largest;
    int number;
};

/// What the library looks for below the root, and what is built in.
struct Values
{
    Value jpegQuality{"jpg", "compression", -99, 100, 90};
    Value minScale{"scaling", "productionMaxScalePercent", 0, 1000, 0};
};

/// The failure, or nothing if the attribute is left out or holds a number that is allowed.
QString readValue(const QXmlStreamAttributes& attributes, Value& value)
{
    const QLatin1String name(value.attribute);
    if (!attributes.hasAttribute(name))
        return {};
    bool isNumber = false;
    const int number = attributes.value(name).toInt(&isNumber);
    if (!isNumber || number < value.smallest || number > value.largest) {
        return QStringLiteral("%1 of %2 is not a number from %3 to %4")
            .arg(name, QLatin1String(value.element))
            .arg(value.smallest)
            .arg(value.largest);
    }
    value.number = number;
    return {};
}

QString read(const QByteArray& bytes, Values& values)
{
    QXmlStreamReader reader(bytes);
    QString failure;
    // The library takes the first of several elements.
    QHash<QString, Value*> wanted{{QLatin1String(values.jpegQuality.element), &values.jpegQuality},
        {QLatin1String(values.minScale.element), &values.minScale}};
    int depth = 0;
    while (!reader.atEnd() && failure.isEmpty()) {
        reader.readNext();
        if (reader.isStartElement() && ++depth == 2) {
            if (Value* value = wanted.take(reader.name().toString()))
                failure = readValue(reader.attributes(), *value);
        } else if (reader.isEndElement()) {
            --depth;
        }
    }
    if (!reader.hasError() && failure.isEmpty())
        return {};
    return QStringLiteral("line %1: %2")
        .arg(reader.lineNumber())
        .arg(reader.hasError() ? reader.errorString() : failure);
}

QString readFile(const QString& path, Values& values)
{
    RKMediaError error;
    const auto bytes = SmallFile::read(path, kMaxSize, &error);
    return bytes ? read(*bytes, values) : error.text();
}

QByteArray toXml(const Values& values)
{
    QByteArray xml = "<imageLoader>";
    for (const Value* value : {&values.jpegQuality, &values.minScale}) {
        xml += QByteArray("<") + value->element + ' ' + value->attribute + "=\""
            + QByteArray::number(value->number) + "\"/>";
    }
    return xml + "</imageLoader>";
}

} // namespace

QString Configuration::install(const QString& file, const std::optional<int>& jpegQuality)
{
    Values values;
    if (!file.isEmpty()) {
        if (const QString failure = readFile(file, values); !failure.isEmpty())
            return failure;
    }
    if (jpegQuality)
        values.jpegQuality.number = *jpegQuality;
    if (file.isEmpty() && !jpegQuality) {
        RKImageLoaderConfig::useDefaults();
        return {};
    }
    QTemporaryFile used;
    if (!used.open() || used.write(toXml(values)) < 0 || !used.flush())
        return used.errorString();
    RKImageLoaderConfig::setConfigFile(QFileInfo(used.fileName()));
    // Reads it while it is there.
    RKImageLoaderConfig::instance();
    return {};
}
