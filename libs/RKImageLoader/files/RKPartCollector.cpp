#include "RKImageLoader/files/RKPartCollector_p.h"

#include <algorithm>

namespace {

// Real files have some megabytes; what Photoshop notes of a document's ancestors may take tens.
constexpr qint64 kMaxHeld = 64 * 1024 * 1024;
// An animation has two or three for each of its frames.
constexpr qsizetype kMaxParts = 200'000;
// Headers of small parts often lie within one page.
constexpr qint64 kWindowSize = 4096;

} // namespace

RKPartCollector::RKPartCollector(const RKByteSource& source)
    : m_source(source)
{
}

qint64 RKPartCollector::size() const
{
    return m_source.size();
}

QByteArrayView RKPartCollector::peek(qint64 offset, qint64 count)
{
    if (offset < 0 || offset >= size())
        return {};
    const qint64 wanted = std::min(count, size() - offset);
    const qint64 windowEnd = m_windowOffset + m_window.size();
    if (offset < m_windowOffset || offset + wanted > windowEnd) {
        const qint64 windowSize = std::min(std::max(wanted, kWindowSize), size() - offset);
        m_windowOffset = offset;
        if (!m_source.read(offset, windowSize, &m_window)) {
            m_hasReadError = true;
            m_window.clear();
            return {};
        }
    }
    return QByteArrayView(m_window).sliced(offset - m_windowOffset, wanted);
}

std::optional<QByteArray> RKPartCollector::read(qint64 offset, qint64 count)
{
    if (offset < 0 || count < 0 || offset > size() || count > size() - offset
        || count > kMaxHeld - m_held)
        return {};
    m_held += count;
    if (count <= kWindowSize) {
        const QByteArrayView bytes = peek(offset, count);
        return bytes.size() == count ? std::optional(bytes.toByteArray()) : std::nullopt;
    }
    QByteArray bytes;
    if (m_source.read(offset, count, &bytes))
        return bytes;
    m_hasReadError = true;
    return {};
}

bool RKPartCollector::addBytes(const RKImageFileFormat& format, qint64 offset, qint64 count)
{
    const auto bytes = read(offset, count);
    return bytes && add(format.partOf(*bytes));
}

bool RKPartCollector::add(const Part& part)
{
    if (m_parts.size() >= kMaxParts)
        return false;
    m_parts.append(part);
    return true;
}

bool RKPartCollector::addRange(
    const QByteArray& name, qint64 offset, qint64 count, const QByteArray& start)
{
    if (offset < 0 || count <= 0 || offset > size() || count > size() - offset)
        return false;
    if (!m_parts.isEmpty() && m_parts.constLast().name == name) {
        RKFilePiece& last = m_parts.last().piece;
        if (last.size > 0 && last.offset + last.size == offset) {
            last.size += count;
            return true;
        }
    }
    return add({RKImageFileParts::Content::Other, name, {{}, offset, count}, start});
}

bool RKPartCollector::addOther(const QByteArray& name, qint64 offset, qint64 count)
{
    if (count > kMaxOther)
        return addRange(name, offset, count);
    const auto bytes = read(offset, count);
    return bytes && add({RKImageFileParts::Content::Other, name, {*bytes}, {}});
}

bool RKPartCollector::hasReadError() const
{
    return m_hasReadError;
}

const QList<RKPartCollector::Part>& RKPartCollector::parts() const
{
    return m_parts;
}
