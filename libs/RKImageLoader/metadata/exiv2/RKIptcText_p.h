#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QString>

#include <optional>

/// The encodings of IPTC texts. A file says that its texts are UTF-8; those of files that say
/// nothing are in the encoding of the program that wrote them, in most cases Windows-1252 or UTF-8.
namespace RKIptcText {

bool isAscii(QByteArrayView bytes);
bool isUtf8(QByteArrayView bytes);

/// The text of bytes in UTF-8, or in Windows-1252 if they are not UTF-8.
QString fromBytes(QByteArrayView bytes);

/// Never fails: the five numbers without a character stand for control characters.
QString fromWindows1252(QByteArrayView bytes);

/// nullopt for a text with other characters, and for one whose bytes would be read as UTF-8.
std::optional<QByteArray> toWindows1252(const QString& text);

} // namespace RKIptcText
