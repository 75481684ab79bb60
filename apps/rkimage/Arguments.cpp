#include "Arguments.h"

#include <QFile>
#include <QRegularExpression>

#include <cmath>

namespace {

/// As many numbers as wanted; each of them finite.
std::optional<QList<double>> parseNumbers(const std::string& text, QChar separator, int count)
{
    const QStringList parts = QString::fromStdString(text).split(separator);
    QList<double> numbers;
    for (const QString& part : parts) {
        bool ok = false;
        numbers << part.toDouble(&ok);
        if (!ok || !std::isfinite(numbers.last()))
            return {};
    }
    return numbers.size() == count ? std::optional(numbers) : std::nullopt;
}

} // namespace

QString Arguments::toPath(const std::string& argument)
{
    return QFile::decodeName(argument.c_str());
}

QStringList Arguments::toPaths(const std::vector<std::string>& arguments)
{
    QStringList paths;
    for (const std::string& argument : arguments)
        paths << toPath(argument);
    return paths;
}

std::optional<QString> Arguments::toText(const Text& argument)
{
    return argument ? std::optional(QString::fromStdString(*argument)) : std::nullopt;
}

QStringList Arguments::toTexts(const std::vector<std::string>& arguments)
{
    QStringList texts;
    for (const std::string& argument : arguments)
        texts << QString::fromStdString(argument);
    return texts;
}

std::optional<QSize> Arguments::parseSize(const std::string& text)
{
    static const QRegularExpression pattern(
        QStringLiteral("^([1-9][0-9]{0,4})x([1-9][0-9]{0,4})$"));
    const QRegularExpressionMatch match = pattern.match(QString::fromStdString(text));
    if (!match.hasMatch())
        return {};
    return QSize(match.captured(1).toInt(), match.captured(2).toInt());
}

std::optional<QRectF> Arguments::parseRect(const std::string& text)
{
    const auto numbers = parseNumbers(text, u',', 4);
    if (!numbers || (*numbers)[2] <= 0 || (*numbers)[3] <= 0)
        return {};
    return QRectF((*numbers)[0], (*numbers)[1], (*numbers)[2], (*numbers)[3]);
}

std::optional<QSizeF> Arguments::parseProduction(const std::string& text)
{
    const auto numbers = parseNumbers(text, u'x', 2);
    if (!numbers || (*numbers)[0] <= 0 || (*numbers)[1] <= 0)
        return {};
    return QSizeF((*numbers)[0], (*numbers)[1]);
}

std::optional<RKGeoPosition> Arguments::parsePosition(const std::string& text)
{
    const QStringList parts = QString::fromStdString(text).split(u',');
    bool isLatitude = false;
    bool isLongitude = false;
    const RKGeoPosition position(
        parts.value(0).toDouble(&isLatitude), parts.value(1).toDouble(&isLongitude));
    const bool ok = parts.size() == 2 && isLatitude && isLongitude && position.isValid();
    return ok ? std::optional(position) : std::nullopt;
}

std::optional<QColor> Arguments::parseColor(const std::string& text)
{
    const QColor color(QString::fromStdString(text));
    return color.isValid() ? std::optional(color) : std::nullopt;
}

std::optional<QDateTime> Arguments::parseDateTime(const std::string& text)
{
    const QDateTime parsed = QDateTime::fromString(QString::fromStdString(text), Qt::ISODate);
    // Invalid as a whole is also a time that clocks here skipped, though others showed it.
    const bool isDate = parsed.date().isValid() && parsed.time().isValid();
    return isDate ? std::optional(parsed) : std::nullopt;
}
