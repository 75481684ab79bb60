#include "folder/FolderOrder.h"

#include <QCollator>

#include <algorithm>
#include <vector>

namespace {

/// What entries are compared by, made once for each.
struct SortKey
{
    qsizetype place;
    qint64 first;
    QCollatorSortKey name;
};

qint64 firstKey(const FolderEntry& entry, FolderOrder::Key key)
{
    switch (key) {
    case FolderOrder::Key::Name: break;
    case FolderOrder::Key::Date: return entry.date().toMSecsSinceEpoch();
    case FolderOrder::Key::Rating: return entry.rating;
    case FolderOrder::Key::Kind: return entry.format.fileFormatEnum();
    }
    return 0;
}

QCollator nameOrder()
{
    // The locale "C" knows no numbers.
    const QLocale locale
        = QLocale().language() == QLocale::C ? QLocale(QLocale::English) : QLocale();
    QCollator collator(locale);
    collator.setNumericMode(true);
    collator.setCaseSensitivity(Qt::CaseInsensitive);
    return collator;
}

} // namespace

FolderOrder::Kind FolderOrder::kindOf(const RKMediaFormat& format)
{
    if (format.isVideo())
        return Kind::Videos;
    if (format.isSVG())
        return Kind::Drawings;
    return format.isRaw() ? Kind::Raw : Kind::Pictures;
}

bool FolderOrder::accepts(const FolderEntry& entry) const
{
    return (kind == Kind::All || kindOf(entry.format) == kind) && entry.rating >= minRating
        && (text.isEmpty() || entry.name.contains(text, Qt::CaseInsensitive))
        && (person.isEmpty() || entry.people.contains(person));
}

FolderRows arranged(const QList<FolderEntry>& entries, const FolderOrder& order)
{
    FolderRows rows;
    const QCollator collator = nameOrder();
    std::vector<SortKey> keys;
    for (qsizetype place = 0; place < entries.size(); ++place) {
        const FolderEntry& entry = entries[place];
        for (const QString& person : entry.people) {
            const auto next = std::lower_bound(rows.people.begin(), rows.people.end(), person);
            if (next == rows.people.end() || *next != person)
                rows.people.insert(next, person);
        }
        if (order.accepts(entry))
            keys.push_back({place, firstKey(entry, order.key), collator.sortKey(entry.name)});
    }
    std::sort(keys.begin(), keys.end(), [&entries](const SortKey& a, const SortKey& b) {
        if (a.first != b.first)
            return a.first < b.first;
        const int names = a.name.compare(b.name);
        return names != 0 ? names < 0 : entries[a.place].name < entries[b.place].name;
    });
    if (order.direction == Qt::DescendingOrder)
        std::reverse(keys.begin(), keys.end());
    rows.places.reserve(static_cast<qsizetype>(keys.size()));
    rows.rowsByName.reserve(static_cast<qsizetype>(keys.size()));
    for (const SortKey& key : keys) {
        rows.rowsByName.insert(entries[key.place].name, static_cast<int>(rows.places.size()));
        rows.places << key.place;
    }
    return rows;
}
