#include "RKImageLoader/files/RKImageFileFormat_p.h"

QList<RKFilePiece> RKImageFileFormat::pieces(const Parts& parts) const
{
    QList<RKFilePiece> pieces;
    pieces.reserve(parts.size());
    for (const Part& part : parts)
        pieces.append(part.piece);
    return pieces;
}

bool RKImageFileFormat::areReadAsWritten(const Parts& parts) const
{
    Q_UNUSED(parts)
    return true;
}

RKImageFileFormat::Parts RKImageFileFormat::withoutPixels(const Parts& parts) const
{
    Parts small = parts;
    small.removeIf([](const Part& part) { return part.piece.size > 0; });
    return small;
}

RKImageFileFormat::Parts RKImageFileFormat::comparable(const Parts& parts) const
{
    return parts;
}

qsizetype RKImageFileFormat::placeFor(Content content, const Parts& parts) const
{
    qsizetype place = leadingParts(parts);
    for (qsizetype i = place; i < parts.size(); ++i) {
        if (parts[i].content != Content::Other && parts[i].content < content)
            place = i + 1;
    }
    return place;
}

QList<RKImageFileFormat::Run> RKImageFileFormat::iptcRuns(const QList<QByteArray>& parts) const
{
    QList<Run> runs;
    for (const QByteArray& part : parts)
        runs.append({part});
    return runs;
}

QByteArrayList RKImageFileFormat::iptcBlocks(const Run& run) const
{
    return {block(Content::Iptc, run)};
}

std::optional<QList<RKImageFileFormat::Run>> RKImageFileFormat::withIptcBlocks(
    const QByteArrayList& blocks, const Run& run) const
{
    const auto changed = withBlock(Content::Iptc, blocks.value(0), run);
    return changed ? std::optional(QList<Run>{*changed}) : std::nullopt;
}

void RKImageFileFormat::adjust(Parts& parts, const Parts& before) const
{
    Q_UNUSED(parts)
    Q_UNUSED(before)
}

void RKImageFileFormat::adjustPreviews(
    Parts& parts, const Parts& before, const RKByteSource& source) const
{
    Q_UNUSED(parts)
    Q_UNUSED(before)
    Q_UNUSED(source)
}
