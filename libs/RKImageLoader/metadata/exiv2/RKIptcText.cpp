#include "RKImageLoader/metadata/exiv2/RKIptcText_p.h"

#include <QStringDecoder>

#include <algorithm>
#include <array>

namespace {

constexpr uchar kFirst = 0x80;

/// The characters from 0x80 to 0x9f, where Windows-1252 differs from Latin-1
/// (https://encoding.spec.whatwg.org/#windows-1252).
constexpr std::array<char16_t, 32> kCharacters = {0x20ac,
    0x0081,
    0x201a,
    0x0192,
    0x201e,
    0x2026,
    0x2020,
    0x2021,
    0x02c6,
    0x2030,
    0x0160,
    0x2039,
    0x0152,
    0x008d,
    0x017d,
    0x008f,
    0x0090,
    0x2018,
    0x2019,
    0x201c,
    0x201d,
    0x2022,
    0x2013,
    0x2014,
    0x02dc,
    0x2122,
    0x0161,
    0x203a,
    0x0153,
    0x009d,
    0x017e,
    0x0178};

bool isSpecial(uchar byte)
{
    return byte >= kFirst && byte < kFirst + kCharacters.size();
}

} // namespace

bool RKIptcText::isAscii(QByteArrayView bytes)
{
    return std::all_of(bytes.begin(), bytes.end(), [](char c) { return uchar(c) < kFirst; });
}

bool RKIptcText::isUtf8(QByteArrayView bytes)
{
    return bytes.isValidUtf8();
}

QString RKIptcText::fromBytes(QByteArrayView bytes)
{
    return isUtf8(bytes) ? QString::fromUtf8(bytes) : fromWindows1252(bytes);
}

QString RKIptcText::fromWindows1252(QByteArrayView bytes)
{
    QString text = QString::fromLatin1(bytes);
    for (QChar& character : text) {
        const auto byte = static_cast<uchar>(character.unicode());
        if (isSpecial(byte))
            character = kCharacters[byte - kFirst];
    }
    return text;
}

std::optional<QByteArray> RKIptcText::toWindows1252(const QString& text)
{
    QByteArray bytes;
    for (const QChar character : text) {
        const char16_t code = character.unicode();
        const auto special = std::find(kCharacters.begin(), kCharacters.end(), code);
        if (special != kCharacters.end())
            bytes += static_cast<char>(kFirst + (special - kCharacters.begin()));
        else if (code <= 0xff && !isSpecial(static_cast<uchar>(code)))
            bytes += static_cast<char>(code);
        else
            return std::nullopt;
    }
    if (!isAscii(bytes) && isUtf8(bytes))
        return std::nullopt;
    return bytes;
}
