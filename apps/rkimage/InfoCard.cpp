#include "InfoCard.h"

#include "Colors.h"
#include "Output.h"

#include <QMap>

#include <algorithm>

namespace {

// The longest label.
constexpr int kLabelWidth = 12;
// Tables of numbers, which nobody reads to the end.
constexpr qsizetype kMaxTextLength = 300;
// A few names of XMP are far longer than all others.
constexpr qsizetype kMaxKeyWidth = 48;

/// On one line, and without what would control the terminal.
QByteArray line(const QString& label, qsizetype width, const QString& text)
{
    const QString cut = text.size() > kMaxTextLength
        ? QStringLiteral("%1… (%2 letters)").arg(text.left(kMaxTextLength)).arg(text.size())
        : text;
    return "  " + Output::escaped((label.leftJustified(width) + u' ' + cut).toUtf8()) + '\n';
}

} // namespace

QByteArray InfoCard::of(const QByteArray& name, const QList<RKMediaCard::Group>& groups)
{
    QByteArray card = Colors::heading(Output::escaped(name)) + '\n';
    for (const RKMediaCard::Group& group : groups) {
        card += &group == &groups.first() ? "" : "\n";
        for (const RKMediaCard::Line& fact : group)
            card += line(RKMediaCard::label(fact.item), kLabelWidth, fact.text);
    }
    return card;
}

QByteArray InfoCard::allData(const QHash<QString, QString>& data)
{
    QMap<QString, QString> sorted;
    qsizetype width = 0;
    for (auto datum = data.cbegin(); datum != data.cend(); ++datum) {
        sorted[datum.key()] = datum.value();
        width = std::clamp(datum.key().size(), width, kMaxKeyWidth);
    }
    QByteArray lines;
    for (auto datum = sorted.cbegin(); datum != sorted.cend(); ++datum)
        lines += line(datum.key(), width, datum.value().trimmed());
    return lines;
}
