#include "RKCore/RKRegularExpression.h"

RKRegularExpression::RKRegularExpression(
    const QString& pattern, QRegularExpression::PatternOptions options)
    : m_expression(pattern, options)
{
    // Compiled here, so that the first use on a busy thread does not pay for it.
    m_expression.optimize();
}

bool RKRegularExpression::isValid() const
{
    return m_expression.isValid();
}

QRegularExpressionMatch RKRegularExpression::match(const QString& text) const
{
    return isValid() ? m_expression.match(text) : QRegularExpressionMatch();
}

QString RKRegularExpression::removeFrom(const QString& text) const
{
    if (!isValid())
        return text;
    QString rest = text;
    return rest.remove(m_expression);
}
