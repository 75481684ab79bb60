#include "RKImageLoader/files/RKImageFileParts_p.h"
#include "RKImageLoader/files/RKJp2Parts_p.h"
#include "RKImageLoader/files/RKJpegParts_p.h"
#include "RKImageLoader/files/RKPartCollector_p.h"
#include "RKImageLoader/files/RKPhotoshopParts_p.h"
#include "RKImageLoader/files/RKPieceSource_p.h"
#include "RKImageLoader/files/RKPngParts_p.h"
#include "RKImageLoader/files/RKWebpParts_p.h"

#include <algorithm>

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
    if (!isValid())
        return;
    const QList<Part> before = m_parts;
    const auto partOf = [this, content](const QByteArray& bytes) {
        Part part = m_format->partOf(bytes);
        part.content = content;
        return part;
    };
    qsizetype used = 0;
    qsizetype place = -1;
    for (qsizetype i = 0; i < m_parts.size(); ++i) {
        if (m_parts[i].content != content)
            continue;
        if (used < parts.size()) {
            m_parts[i] = partOf(parts[used++]);
            place = i + 1;
        } else {
            m_parts.removeAt(i--);
        }
    }
    if (place < 0)
        place = m_format->placeFor(content, m_parts);
    while (place >= 0 && used < parts.size())
        m_parts.insert(place++, partOf(parts[used++]));
    m_format->adjust(m_parts, before);
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

QString RKImageFileParts::firstDifference(
    const RKImageFileParts& before, const RKImageFileParts& after, const QList<Content>& owned)
{
    if (!before.isValid() || before.m_format != after.m_format || !after.isValid())
        return QStringLiteral("format");
    // If several parts have Exif or XMP, an edit owns the first, or removes all.
    const auto isOwned = [&](Content content, QList<Content>& seen) {
        const bool isFirst = !seen.contains(content);
        seen.append(content);
        const bool ownsAll
            = content == Content::Iptc || content == Content::Icc || after.parts(content).isEmpty();
        return owned.contains(content) && (isFirst || ownsAll);
    };
    const auto othersOf = [&isOwned](const RKImageFileParts& file) {
        QList<Part> parts = file.m_format->comparable(file.m_parts);
        QList<Content> seen;
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
