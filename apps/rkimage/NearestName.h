#pragma once

#include <QString>
#include <QStringList>

/// The name that the fewest letters have to be added to, removed from or replaced in to make it the
/// word: what was probably meant by a misspelt one. Empty without names.
QString nearestName(const QString& word, const QStringList& names);
