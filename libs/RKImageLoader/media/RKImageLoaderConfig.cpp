#include "RKImageLoader/media/RKImageLoaderConfig.h"

#include "RKImageLoader/media/RKLogCategories_p.h"

#include <QDebug>
#include <QFile>
#include <QTextStream>

#include <algorithm>
#include <cstdlib>

namespace {

struct ParseError
{
    QString message;
    qsizetype line = 0;
    qsizetype column = 0;
};

bool parse(const QString& text, QDomDocument& document, ParseError& error)
{
#if QT_VERSION >= QT_VERSION_CHECK(6, 5, 0)
    const QDomDocument::ParseResult result = document.setContent(text);
    error = {result.errorMessage, result.errorLine, result.errorColumn};
    return bool(result);
#else
    int line = 0;
    int column = 0;
    const bool ok = document.setContent(text, &error.message, &line, &column);
    error.line = line;
    error.column = column;
    return ok;
#endif
}

} // namespace

QFileInfo RKImageLoaderConfig::myConfigFile;
bool RKImageLoaderConfig::s_usesDefaults = false;

RKImageLoaderConfig::RKImageLoaderConfig()
    : m_document(s_usesDefaults ? QDomDocument() : loadDocument(myConfigFile))
    , m_root(m_document.documentElement())
{
}

void RKImageLoaderConfig::setConfigFile(const QFileInfo& file)
{
    myConfigFile = file;
    s_usesDefaults = false;
}

void RKImageLoaderConfig::useDefaults()
{
    s_usesDefaults = true;
}

QDomDocument RKImageLoaderConfig::loadDocument(const QFileInfo& file)
{
    const QString path = file.absoluteFilePath();
    QFile device(path);
    if (path.isEmpty() || !device.open(QIODevice::ReadOnly)) {
        qCWarning(rkLoad).noquote() << "-- file does not exist:" << path;
        if (path.isEmpty()) {
            qFatal(
                "Das Konfigurationfile muss vor dem ersten Aufruf der ImageLoaderConfig auf eine "
                "existierende Datei gesetzt werden!");
        }
        return {};
    }

    const QString text = QTextStream(&device).readAll();
    device.close();

    QDomDocument document;
    ParseError error;
    if (!parse(text, document, error)) {
        qCWarning(rkLoad).noquote() << QStringLiteral("-- error parsing %1, line %2, column %3: %4")
                                           .arg(path,
                                               QString::number(error.line),
                                               QString::number(error.column),
                                               error.message);
        return {};
    }
    return document;
}

QDomElement RKImageLoaderConfig::findDomElement(const QString& name) const
{
    return m_root.firstChildElement(name);
}

int RKImageLoaderConfig::jpgQualityExtended() const
{
    const QString text
        = attribute(QStringLiteral("jpg"), QStringLiteral("compression"), QStringLiteral("90"));
    return std::clamp(text.toInt(), -99, 100);
}

int RKImageLoaderConfig::jpgQuality() const
{
    return std::abs(jpgQualityExtended());
}

double RKImageLoaderConfig::scalingMinFactor() const
{
    const QString text = attribute(QStringLiteral("scaling"),
        QStringLiteral("productionMaxScalePercent"),
        QStringLiteral("0"));
    return text.toInt() / 100.0;
}

RKScalingOption RKImageLoaderConfig::scalingOption() const
{
    return SCALING_SMOOTH;
}

QString RKImageLoaderConfig::attribute(
    const QString& element, const QString& name, const QString& fallback) const
{
    return findDomElement(element).attribute(name, fallback);
}
