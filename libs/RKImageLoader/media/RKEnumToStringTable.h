#pragma once

#include "RKImageLoader/media/RKStringConstants.h"

#include <QHash>
#include <QString>
#include <QStringList>

/// The keywords of one enumeration E of 64-bit flags.
///
/// Reentrant; a table that is no longer filled may be read on several threads.
template <typename E>
class RKEnumToStringTable
{
public:
    /// The fallback stands for unknown keywords in decodeCSV().
    explicit RKEnumToStringTable(E fallback = E(0))
        : m_fallback(fallback)
    {
    }

    /// Adds a keyword. A keyword that is there already gets the new value; a value keeps the first
    /// keyword that was inserted for it.
    void insert(const QString& keyword, E value)
    {
        const QString key = keyword.toLower();
        if (!m_valueOfKeyword.contains(key))
            m_keywordsInOrder.append(key);
        m_valueOfKeyword.insert(key, value);
        if (!m_keywordOfValue.contains(qint64(value)))
            m_keywordOfValue.insert(qint64(value), keyword);
    }

    /// Looks up the trimmed text, whatever its case. False, with `value` untouched, if unknown.
    bool decode(const QString& text, E& value) const
    {
        // Only the text is trimmed, not the inserted keyword: one that ends in a blank is never
        // found here.
        const auto found = m_valueOfKeyword.constFind(text.trimmed().toLower());
        if (found == m_valueOfKeyword.cend())
            return false;
        value = *found;
        return true;
    }

    /// The values of a comma-separated list, combined bit by bit. Empty parts are skipped, unknown
    /// ones count as the fallback.
    E decodeCSV(const QString& text) const
    {
        qint64 combined = 0;
        const QStringList parts = text.split(KOMMA, Qt::SkipEmptyParts);
        for (const QString& part : parts) {
            E value = m_fallback;
            decode(part, value);
            combined |= qint64(value);
        }
        return E(combined);
    }

    /// All keywords of every bit that is set, lowest bit first and in the order of their
    /// insertion, in lower case. Empty for 0 and negative values.
    QStringList allPossibleKeywords(E value) const
    {
        QStringList keywords;
        for (qint64 rest = qint64(value); rest > 0; rest &= rest - 1) {
            const E lowestBit = E(rest & -rest);
            for (const QString& keyword : m_keywordsInOrder) {
                if (m_valueOfKeyword.value(keyword) == lowestBit)
                    keywords.append(keyword);
            }
        }
        return keywords;
    }

    /// The value's first keyword, spelled as it was inserted; empty if it has none.
    QString keyword(E value) const
    {
        return m_keywordOfValue.value(qint64(value));
    }

private:
    QHash<QString, E> m_valueOfKeyword;
    QHash<qint64, QString> m_keywordOfValue;
    QStringList m_keywordsInOrder;
    E m_fallback;
};
