#pragma once

#include "RKCore/RKCoreExport.h"

#include <QRegularExpression>
#include <QString>

/// A compiled regular expression, Perl-compatible. Reentrant; const operations of one object may
/// run on several threads at once.
class RKCORE_EXPORT RKRegularExpression
{
public:
    /// Compiles the pattern (Perl syntax) once; one that does not compile matches nothing.
    explicit RKRegularExpression(
        const QString& pattern, QRegularExpression::PatternOptions options = {});

    /// Whether the pattern compiled.
    bool isValid() const;

    /// The first match in the text. An invalid expression gives a result without a match.
    QRegularExpressionMatch match(const QString& text) const;

    /// The text with all matches removed; unchanged for an invalid expression.
    QString removeFrom(const QString& text) const;

private:
    QRegularExpression m_expression;
};
