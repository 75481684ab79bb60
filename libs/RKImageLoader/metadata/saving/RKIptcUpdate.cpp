#include "RKImageLoader/files/RKIptcEditor_p.h"
#include "RKImageLoader/metadata/exiv2/RKExiv2IptcData_p.h"
#include "RKImageLoader/metadata/saving/RKIptcUpdate_p.h"

std::optional<QByteArray> RKIptcUpdate::updated(
    const QByteArray& block, const Exiv2::IptcData& before, const Exiv2::IptcData& after)
{
    const RKExiv2IptcData::Values old = RKExiv2IptcData::valuesOf(before);
    const RKExiv2IptcData::Values wanted = RKExiv2IptcData::valuesOf(after);
    QList<RKIptcEditor::Change> changes;
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
    return changes.isEmpty() ? block : RKIptcEditor(block).changed(changes);
}
