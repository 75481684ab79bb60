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

    /// The pattern compiled.
    bool isValid() const;

    /// The first match in the text; one without a match for an invalid expression.
    QRegularExpressionMatch match(const QString& text) const;

    /// The text without any of its matches; the text itself for an invalid expression.
    QString removeFrom(const QString& text) const;

private:
    QRegularExpression m_expression;
};
