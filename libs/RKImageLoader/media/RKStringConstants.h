#pragma once

#include <QChar>
#include <QString>

/// What stands before the extension in a file dialog's filter entry.
inline const QString STR_ANY_FILENAME = QStringLiteral("*.");

/// Separates the keywords of a list.
inline constexpr QChar KOMMA = u',';
