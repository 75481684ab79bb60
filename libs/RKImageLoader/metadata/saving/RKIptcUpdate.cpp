#include "RKImageLoader/files/RKIptcEditor_p.h"
#include "RKImageLoader/metadata/exiv2/RKExiv2IptcData_p.h"
#include "RKImageLoader/metadata/exiv2/RKIptcText_p.h"
#include "RKImageLoader/metadata/saving/RKIptcUpdate_p.h"

#include <algorithm>
#include <set>
#include <utility>
#include <vector>

using Change = RKIptcEditor::Change;
using DataSet = RKIptcEditor::DataSet;

namespace {

// The character set, 1:90, and UTF-8 as one (ISO 2022).
constexpr quint8 kEnvelope = 1;
constexpr quint8 kCharacterSet = 90;
constexpr char kUtf8[] = "\x1b%G";
// A preview follows from 2:200 on (IIM 4.2, chapter 6).
constexpr quint8 kMaxText = 199;

QList<Change> changesOf(const Exiv2::IptcData& before, const Exiv2::IptcData& after)
{
    const RKExiv2IptcData::Values old = RKExiv2IptcData::valuesOf(before);
    const RKExiv2IptcData::Values wanted = RKExiv2IptcData::valuesOf(after);
    QList<Change> changes;
    const auto change = [&changes](const RKExiv2IptcData::Id& id, const QByteArrayList& values) {
        changes.append({static_cast<quint8>(id.first), static_cast<quint8>(id.second), values});
    };
    for (const auto& [id, values] : wanted) {
        const auto known = old.find(id);
        if (known == old.end() || known->second != values)
            change(id, values);
    }
    for (const auto& [id, values] : old) {
        if (wanted.find(id) == wanted.end())
            change(id, {});
    }
    return changes;
}

bool isCharacterSet(const Change& change)
{
    return change.record == kEnvelope && change.number == kCharacterSet;
}

std::set<std::pair<int, int>> numbersIn(const QByteArray& block)
{
    std::set<std::pair<int, int>> numbers;
    for (const DataSet& dataSet : RKIptcEditor(block).dataSets())
        numbers.emplace(dataSet.record, dataSet.number);
    return numbers;
}

bool isMarkedAsUtf8(const QByteArray& block)
{
    return RKIptcEditor(block).dataSets().contains({kEnvelope, kCharacterSet, kUtf8});
}

/// The block with a mark that its texts are UTF-8; nullopt for one with others.
std::optional<QByteArray> markedAsUtf8(const QByteArray& block)
{
    const RKIptcEditor editor(block);
    const QList<DataSet> dataSets = editor.dataSets();
    const bool isUtf8 = std::all_of(dataSets.begin(), dataSets.end(), [](const DataSet& dataSet) {
        return dataSet.number > kMaxText || RKIptcText::isUtf8(dataSet.value);
    });
    return isUtf8 ? editor.changed({{kEnvelope, kCharacterSet, {kUtf8}}}) : std::nullopt;
}

/// The block with the changes, marked like their texts if it has to be.
std::optional<QByteArray> changedBlock(
    const QByteArray& block, const QList<Change>& changes, bool isUtf8)
{
    const bool isAscii = std::all_of(changes.begin(), changes.end(), [](const Change& change) {
        return std::all_of(change.values.begin(), change.values.end(), RKIptcText::isAscii);
    });
    const bool isMarked = isMarkedAsUtf8(block);
    const auto changed = RKIptcEditor(block).changed(changes);
    if (!changed || isAscii || isMarked == isUtf8)
        return changed;
    return isUtf8 ? markedAsUtf8(*changed) : std::nullopt;
}

} // namespace

std::optional<QByteArray> RKIptcUpdate::updated(
    const QByteArray& block, const Exiv2::IptcData& before, const Exiv2::IptcData& after)
{
    const QList<Change> changes = changesOf(before, after);
    return changes.isEmpty() ? block : RKIptcEditor(block).changed(changes);
}

std::optional<QByteArrayList> RKIptcUpdate::updatedBlocks(
    const QByteArrayList& blocks, const Exiv2::IptcData& before, const Exiv2::IptcData& after)
{
    if (blocks.size() <= 1) {
        const auto block = updated(blocks.value(0), before, after);
        return block ? std::optional(QByteArrayList{*block}) : std::nullopt;
    }
    QList<Change> changes = changesOf(before, after);
    const bool getsMark = changes.removeIf(isCharacterSet) > 0;
    const bool isUtf8 = std::any_of(after.begin(), after.end(), [](const auto& datum) {
        return datum.record() == kEnvelope && datum.tag() == kCharacterSet
            && datum.toString() == kUtf8;
    });
    std::vector<std::set<std::pair<int, int>>> numbers;
    for (const QByteArray& block : blocks)
        numbers.push_back(numbersIn(block));
    const auto placeFor = std::find_if(
        numbers.begin(), numbers.end(), [](const auto& known) { return !known.empty(); });
    const qsizetype place = placeFor == numbers.end() ? 0 : placeFor - numbers.begin();

    QByteArrayList result = blocks;
    for (qsizetype i = 0; i < blocks.size(); ++i) {
        QList<Change> own;
        for (const Change& change : std::as_const(changes)) {
            const std::pair<int, int> number(change.record, change.number);
            const auto has = [&number](const auto& known) { return known.count(number) != 0; };
            if (has(numbers[size_t(i)])
                || (i == place && std::none_of(numbers.begin(), numbers.end(), has)))
                own.append(change);
        }
        if (own.isEmpty())
            continue;
        const auto changed = changedBlock(blocks[i], own, isUtf8);
        if (!changed)
            return {};
        result[i] = *changed;
    }
    if (getsMark && isUtf8 && std::none_of(result.begin(), result.end(), isMarkedAsUtf8)) {
        const auto marked = markedAsUtf8(result[place]);
        if (!marked)
            return {};
        result[place] = *marked;
    }
    return result;
}
