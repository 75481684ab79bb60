#pragma once

#include "RKGeoLocation/RKGeoPosition.h"

#include <QColor>
#include <QDateTime>
#include <QFile>
#include <QRectF>
#include <QSize>
#include <QString>
#include <QStringList>

#include <optional>
#include <string>
#include <vector>

/// What the arguments of the command line mean. What looks wrong is no value.
namespace Arguments {

using Text = std::optional<std::string>;
using Texts = std::vector<std::string>;

QString toPath(const std::string& argument);
QStringList toPaths(const Texts& arguments);
std::optional<QString> toText(const Text& argument);
QStringList toTexts(const Texts& arguments);

/// Pixels as in "800x600".
std::optional<QSize> parseSize(const std::string& text);

/// Pixels as in "100,50,640,480".
std::optional<QRectF> parseRect(const std::string& text);

/// Tenths of a millimetre as in "1500x1000".
std::optional<QSizeF> parseProduction(const std::string& text);

/// Degrees as in "48.858222,2.2945".
std::optional<RKGeoPosition> parsePosition(const std::string& text);

/// As in "#c0ffee" or "white".
std::optional<QColor> parseColor(const std::string& text);

/// As in "2021-07-04T12:30:00".
std::optional<QDateTime> parseDateTime(const std::string& text);

/// A check for CLI11: no text means that the argument is right.
template <typename Parse>
auto checked(Parse parse, const char* hint)
{
    return [parse, hint](
               const std::string& text) { return parse(text) ? std::string() : std::string(hint); };
}

/// A check for CLI11: the text is the path of a file that is there.
inline auto existingFile()
{
    return checked([](const std::string& path) { return QFile::exists(toPath(path)); },
        "there is no such file");
}

/// A check for CLI11: an empty text would stand for no file at all, and what isn't in the system's
/// encoding for a file of another name.
inline auto newName()
{
    return checked(
        [](const std::string& name) {
            return !name.empty() && QFile::encodeName(toPath(name)).toStdString() == name;
        },
        "the name is empty or not UTF-8");
}

} // namespace Arguments
