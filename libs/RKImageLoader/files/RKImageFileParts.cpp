#include "RKImageLoader/files/RKImageFileParts_p.h"
#include "RKImageLoader/files/RKJp2Parts_p.h"
#include "RKImageLoader/files/RKJpegParts_p.h"
#include "RKImageLoader/files/RKPartCollector_p.h"
#include "RKImageLoader/files/RKPhotoshopParts_p.h"
#include "RKImageLoader/files/RKPieceSource_p.h"
#include "RKImageLoader/files/RKPngParts_p.h"
#include "RKImageLoader/files/RKWebpParts_p.h"

#include <algorithm>
#include <set>

namespace {

using Content = RKImageFileParts::Content;
using Part = RKImageFileParts::Part;

const RKImageFileFormat* formatOf(QByteArrayView start)
{
    static const RKJpegParts jpeg;
    static const RKPngParts png;
    static const RKJp2Parts jp2;
    static const RKPhotoshopParts photoshop;
    static const RKWebpParts webp;
    if (start.size() < RKImageFileFormat::kStartSize)
        return nullptr;
    for (const RKImageFileFormat* format :
        std::initializer_list<const RKImageFileFormat*>{&jpeg, &png, &jp2, &photoshop, &webp})
    {
        if (format->matches(start))
            return format;
    }
    return nullptr;
}

bool hasSameBytes(const RKFilePiece& left,
    const RKByteSource& leftSource,
    const RKFilePiece& right,
    const RKByteSource& rightSource)
{
    if (left.bytes != right.bytes || left.size != right.size)
        return false;
    if (leftSource.origin(left.offset, left.size) == rightSource.origin(right.offset, right.size))
        return true;
    constexpr qint64 kBlock = 256 * 1024;
    QByteArray leftBytes;
    QByteArray rightBytes;
    for (qint64 at = 0; at < left.size; at += kBlock) {
        const qint64 size = std::min(kBlock, left.size - at);
        if (!leftSource.read(left.offset + at, size, &leftBytes)
            || !rightSource.read(right.offset + at, size, &rightBytes) || leftBytes != rightBytes)
            return false;
    }
    return true;
}

} // namespace

RKImageFileParts::RKImageFileParts(const QByteArray& file)
    : RKImageFileParts(std::make_shared<RKMemorySource>(file))
{
}

RKImageFileParts::RKImageFileParts(std::shared_ptr<const RKByteSource> source)
    : m_source(std::move(source))
{
    RKPartCollector collector(*m_source);
    m_format = formatOf(collector.peek(0, RKImageFileFormat::kStartSize));
    if (m_format && m_format->split(collector))
        m_parts = collector.parts();
    m_hasReadError = collector.hasReadError();
}

bool RKImageFileParts::isValid() const
{
    return !m_parts.isEmpty();
}

bool RKImageFileParts::hasReadError() const
{
    return m_hasReadError;
}

QList<RKFilePiece> RKImageFileParts::pieces() const
{
    return isValid() ? m_format->pieces(m_parts) : QList<RKFilePiece>();
}

QByteArray RKImageFileParts::file() const
{
    return RKPieceSource(pieces(), m_source).all();
}

RKImageFileParts RKImageFileParts::read() const
{
    // Otherwise a copy of all metadata for nothing.
    if (!isValid() || m_format->areReadAsWritten(m_parts))
        return *this;
    return RKImageFileParts(std::make_shared<RKPieceSource>(pieces(), m_source));
}

QByteArray RKImageFileParts::skeleton() const
{
    if (!isValid())
        return {};
    return RKPieceSource(m_format->pieces(m_format->withoutPixels(m_parts)), m_source).all();
}

QList<QByteArray> RKImageFileParts::parts(Content content) const
{
    QList<QByteArray> found;
    for (const Part& part : m_parts) {
        if (part.content == content)
            found.append(part.piece.bytes);
    }
    return found;
}

void RKImageFileParts::replace(Content content, const QList<QByteArray>& parts)
{
    QList<QList<QByteArray>> replacements;
    for (const QByteArray& part : parts)
        replacements.append({part});
    replaceEach(content, replacements);
}

/// Each list replaces one part with that content, further ones follow the last part.
void RKImageFileParts::replaceEach(Content content, const QList<QList<QByteArray>>& replacements)
{
    if (!isValid())
        return;
    const QList<Part> before = m_parts;
    qsizetype used = 0;
    qsizetype place = -1;
    const auto insertNext = [&](qsizetype at) {
        for (const QByteArray& bytes : replacements.value(used++)) {
            Part part = m_format->partOf(bytes);
            part.content = content;
            m_parts.insert(at++, part);
            place = at;
        }
    };
    // Made anew: files may have thousands of parts.
    m_parts.clear();
    for (const Part& part : before) {
        if (part.content == content)
            insertNext(m_parts.size());
        else
            m_parts.append(part);
    }
    if (place < 0)
        place = m_format->placeFor(content, m_parts);
    while (place >= 0 && used < replacements.size())
        insertNext(place);
    m_format->adjust(m_parts, before);
}

QByteArrayList RKImageFileParts::iptcBlocks() const
{
    QByteArrayList blocks;
    if (isValid()) {
        for (const QList<QByteArray>& run : m_format->iptcRuns(parts(Content::Iptc)))
            blocks += m_format->iptcBlocks(run);
    }
    return blocks;
}

bool RKImageFileParts::setIptcBlocks(const QByteArrayList& blocks)
{
    if (!isValid())
        return false;
    QList<QList<QByteArray>> runs = m_format->iptcRuns(parts(Content::Iptc));
    if (runs.isEmpty()) {
        if (m_format->placeFor(Content::Iptc, m_parts) < 0)
            return blocks.join().isEmpty();
        runs.append(QList<QByteArray>());
    }
    const bool hasNone = iptcBlocks().isEmpty();
    QList<QList<QByteArray>> replacements;
    qsizetype used = 0;
    for (const QList<QByteArray>& run : std::as_const(runs)) {
        const QByteArrayList old = run.isEmpty() ? QByteArrayList() : m_format->iptcBlocks(run);
        const QByteArrayList wanted
            = hasNone && replacements.isEmpty() ? blocks : blocks.mid(used, old.size());
        used += old.size();
        if (wanted == old) {
            for (const QByteArray& part : run)
                replacements.append({part});
            continue;
        }
        const auto changed = m_format->withIptcBlocks(wanted, run);
        if (!changed)
            return false;
        replacements += *changed;
    }
    RKImageFileParts changed = *this;
    changed.replaceEach(Content::Iptc, replacements);
    // What a damaged file keeps may be read as the continuation of another part.
    if (!firstDifference(*this, changed, {Content::Iptc}).isEmpty())
        return false;
    *this = changed;
    return true;
}

QByteArray RKImageFileParts::block(Content content) const
{
    const QList<QByteArray> found = parts(content);
    return found.isEmpty() ? QByteArray() : m_format->block(content, found);
}

bool RKImageFileParts::setBlock(Content content, const QByteArray& block)
{
    if (!isValid())
        return false;
    const QList<QByteArray> old = parts(content);
    auto changed = m_format->withBlock(content, block, old);
    // Readers take the first of several.
    if (changed && !block.isEmpty() && (content == Content::Exif || content == Content::Xmp))
        *changed += old.mid(1);
    const bool isPossible = changed
        && (!old.isEmpty() || changed->isEmpty() || m_format->placeFor(content, m_parts) >= 0);
    if (isPossible)
        replace(content, *changed);
    return isPossible;
}

void RKImageFileParts::adjustPreviews(const RKImageFileParts& before)
{
    if (isValid())
        m_format->adjustPreviews(m_parts, before.m_parts, *m_source);
}

QString RKImageFileParts::firstDifference(
    const RKImageFileParts& before, const RKImageFileParts& after, const QList<Content>& owned)
{
    if (!before.isValid() || before.m_format != after.m_format || !after.isValid())
        return QStringLiteral("format");
    // If several parts have Exif or XMP, an edit owns the first, or removes all.
    std::set<Content> kept;
    for (const Part& part : after.m_parts)
        kept.insert(part.content);
    const auto isOwned = [&](Content content, std::set<Content>& seen) {
        const bool isFirst = seen.insert(content).second;
        const bool ownsAll
            = content == Content::Iptc || content == Content::Icc || kept.count(content) == 0;
        return owned.contains(content) && (isFirst || ownsAll);
    };
    const auto othersOf = [&isOwned](const RKImageFileParts& file) {
        QList<Part> parts = file.m_format->comparable(file.m_parts);
        std::set<Content> seen;
        parts.removeIf([&](const Part& part) { return isOwned(part.content, seen); });
        return parts;
    };
    const QList<Part> left = othersOf(before);
    const QList<Part> right = othersOf(after);
    for (qsizetype i = 0; i < std::max(left.size(), right.size()); ++i) {
        const bool isSame = i < left.size() && i < right.size() && left[i].name == right[i].name
            && left[i].content == right[i].content
            && hasSameBytes(left[i].piece, *before.m_source, right[i].piece, *after.m_source);
        if (!isSame)
            return QString::fromLatin1(i < left.size() ? left[i].name : right[i].name);
    }
    return {};
}
