#pragma once

#include <QString>
#include <QStringView>

/// Finds what a style sheet or a style attribute refers to. Reentrant.
class RKCssReferences
{
public:
    /// The CSS text without its @import rules, and with `url(#)`, which refers to nothing, in the
    /// place of every url() but those of the document itself (`#id`) and of inline data (`data:`).
    /// All else stays as it is.
    static QString withoutExternal(QStringView css);
};
