#include "RKImageLoader/guards/RKCssReferences_p.h"

#include <QLatin1String>

#include <algorithm>

namespace {

// Splits CSS into the tokens that matter here (CSS Syntax Module Level 3, section 4), and copies
// them.
class Scanner
{
public:
    explicit Scanner(QStringView css)
        : m_css(css)
    {
        m_result.reserve(css.size());
    }

    QString run()
    {
        while (!atEnd()) {
            if (lookingAt("/*"))
                copy(endOfComment());
            else if (current() == u'"' || current() == u'\'')
                copy(endOfString());
            else if (current() == u'@')
                copyAtRule();
            else if (isNameCharacter(current()))
                copyName();
            else
                copy(m_position + 1);
        }
        return m_result;
    }

private:
    static bool isNameCharacter(QChar character)
    {
        return character.isLetterOrNumber() || character == u'-' || character == u'_'
            || character == u'\\' || character.unicode() >= 0x80;
    }

    static bool isHexDigit(QChar character)
    {
        const char16_t code = character.toLower().unicode();
        return (code >= u'0' && code <= u'9') || (code >= u'a' && code <= u'f');
    }

    static bool isInternal(QStringView reference)
    {
        return reference.startsWith(u'#')
            || reference.startsWith(QLatin1String("data:"), Qt::CaseInsensitive);
    }

    bool atEnd() const
    {
        return m_position >= m_css.size();
    }

    QChar current() const
    {
        return m_css[m_position];
    }

    bool lookingAt(const char* text) const
    {
        return m_css.sliced(m_position).startsWith(QLatin1String(text));
    }

    void copy(qsizetype end)
    {
        m_result += m_css.sliced(m_position, end - m_position);
        m_position = end;
    }

    qsizetype endOfComment() const
    {
        const qsizetype end = m_css.indexOf(QLatin1String("*/"), m_position + 2);
        return end < 0 ? m_css.size() : end + 2;
    }

    // Strings end at their quote, or unfinished at the end of the line.
    qsizetype endOfString() const
    {
        const QChar quote = current();
        qsizetype i = m_position + 1;
        while (i < m_css.size() && m_css[i] != quote && m_css[i] != u'\n')
            i += m_css[i] == u'\\' ? 2 : 1;
        return std::min(i + 1, m_css.size());
    }

    // One past the escape that begins at a position: up to six digits and a space, or a character.
    qsizetype endOfEscape(qsizetype begin) const
    {
        constexpr qsizetype kMaxDigits = 6;
        const qsizetype firstDigit = begin + 1;
        qsizetype i = firstDigit;
        while (i < m_css.size() && i < firstDigit + kMaxDigits && isHexDigit(m_css[i]))
            ++i;
        if (i == firstDigit || (i < m_css.size() && m_css[i].isSpace()))
            ++i;
        return std::min(i, m_css.size());
    }

    // The text from begin to end with its escapes resolved.
    QString unescaped(qsizetype begin, qsizetype end) const
    {
        QString text;
        for (qsizetype i = begin; i < end;) {
            if (m_css[i] != u'\\') {
                text += m_css[i++];
                continue;
            }
            const qsizetype next = endOfEscape(i);
            const QStringView code = m_css.sliced(i + 1, next - i - 1);
            if (!code.isEmpty() && isHexDigit(code.front()))
                text += QChar::fromUcs4(code.trimmed().toUInt(nullptr, 16));
            else
                text += code;
            i = next;
        }
        return text;
    }

    qsizetype endOfName(qsizetype begin) const
    {
        qsizetype i = begin;
        while (i < m_css.size() && isNameCharacter(m_css[i]))
            i = m_css[i] == u'\\' ? endOfEscape(i) : i + 1;
        return i;
    }

    void copyAtRule()
    {
        const qsizetype end = endOfName(m_position + 1);
        const QString name = unescaped(m_position + 1, end);
        if (name.compare(QLatin1String("import"), Qt::CaseInsensitive) != 0) {
            copy(end);
            return;
        }
        // Left out up to its semicolon, which does not count inside a string or an address.
        m_position = end;
        while (!atEnd() && current() != u';') {
            if (current() == u'"' || current() == u'\'')
                m_position = endOfString();
            else if (current() == u'(')
                m_position = endOfArgument(m_position + 1);
            else
                ++m_position;
        }
        if (!atEnd())
            ++m_position;
    }

    void copyName()
    {
        const qsizetype end = endOfName(m_position);
        const QString name = unescaped(m_position, end);
        const bool isAddress = end < m_css.size() && m_css[end] == u'('
            && (name.compare(QLatin1String("url"), Qt::CaseInsensitive) == 0
                || name.compare(QLatin1String("src"), Qt::CaseInsensitive) == 0);
        if (!isAddress) {
            copy(end);
            return;
        }
        const qsizetype endOfAddress = endOfArgument(end + 1);
        const qsizetype closing = m_css[endOfAddress - 1] == u')' ? 1 : 0;
        QString address = unescaped(end + 1, endOfAddress - closing).trimmed();
        if (address.startsWith(u'"') || address.startsWith(u'\''))
            address = address.sliced(1).trimmed();
        if (isInternal(address)) {
            copy(endOfAddress);
            return;
        }
        m_result += QLatin1String("url(#)");
        m_position = endOfAddress;
    }

    // One past the bracket that closes an argument, which may be quoted.
    qsizetype endOfArgument(qsizetype begin) const
    {
        qsizetype i = begin;
        QChar quote;
        while (i < m_css.size()) {
            const QChar character = m_css[i];
            if (character == u'\\') {
                i += 2;
                continue;
            }
            ++i;
            if (!quote.isNull()) {
                if (character == quote)
                    quote = QChar();
            } else if (character == u'"' || character == u'\'') {
                quote = character;
            } else if (character == u')') {
                break;
            }
        }
        return std::min(i, m_css.size());
    }

    QStringView m_css;
    qsizetype m_position = 0;
    QString m_result;
};

} // namespace

QString RKCssReferences::withoutExternal(QStringView css)
{
    return Scanner(css).run();
}
