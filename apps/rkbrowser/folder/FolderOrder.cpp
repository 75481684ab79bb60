#include "folder/FolderOrder.h"

#include <QCollator>

#include <algorithm>
#include <set>
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
    const QLocale locale;
    QCollator collator(locale.language() == QLocale::C ? QLocale(QLocale::English) : locale);
    collator.setNumericMode(true);
    collator.setCaseSensitivity(Qt::CaseInsensitive);
    return collator;
}

FolderOrder::Kind kindOf(const RKMediaFormat& format)
{
    using Kind = FolderOrder::Kind;
    return format.isVideo() ? Kind::Videos
        : format.isSVG()    ? Kind::Drawings
        : format.isRaw()    ? Kind::Raw
                            : Kind::Pictures;
}

bool accepts(const FolderOrder& order, const FolderEntry& entry)
{
    const auto isWanted = [&order](const auto& name) { return order.people.contains(name); };
    return (order.kind == FolderOrder::Kind::All || kindOf(entry.format) == order.kind)
        && entry.rating >= order.minRating && entry.name.contains(order.text, Qt::CaseInsensitive)
        && (order.people.isEmpty()
            || std::any_of(entry.people.begin(), entry.people.end(), isWanted));
}

} // namespace

FolderRows arranged(const QList<FolderEntry>& entries, const FolderOrder& order)
{
    const QCollator collator = nameOrder();
    std::set<QString> people;
    std::vector<SortKey> keys;
    for (qsizetype place = 0; place < entries.size(); ++place) {
        const FolderEntry& entry = entries[place];
        people.insert(entry.people.begin(), entry.people.end());
        if (accepts(order, entry))
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
    FolderRows rows{{}, {people.begin(), people.end()}};
    for (const SortKey& key : keys)
        rows.places << key.place;
    return rows;
}
