#include "RKImageLoader/files/RKPieceSource_p.h"
#include "RKImageLoader/files/RKTiffSkeleton_p.h"
#include "RKImageLoader/metadata/saving/RKImageContent_p.h"

namespace {

/// Without the colour profile, at which exiv2 throws if its size is wrong.
QByteArray readableOf(RKImageFileParts parts)
{
    parts.setIccProfile({});
    return parts.skeleton();
}

} // namespace

RKImageContent::RKImageContent(const std::shared_ptr<const RKByteSource>& source)
{
    const RKImageFileParts parts(source);
    m_isRead = !parts.hasReadError();
    if (parts.isValid()) {
        m_parts = parts;
        m_bytes = readableOf(parts);
    } else if (m_isRead) {
        const auto bytes = RKTiffSkeleton::read(*source);
        m_isRead = bytes.has_value();
        m_bytes = bytes.value_or(RKSparseBytes());
        m_source = source;
    }
}

RKImageContent::RKImageContent(const RKImageFileParts& parts)
    : m_parts(parts)
    , m_bytes(readableOf(parts))
{
}

RKImageContent::RKImageContent(const QByteArray& file)
    : m_bytes(file)
{
}

RKImageContent RKImageContent::with(const RKSparseBytes& bytes) const
{
    RKImageContent content = *this;
    content.m_bytes = bytes;
    return content;
}

bool RKImageContent::isRead() const
{
    return m_isRead;
}

const RKImageFileParts* RKImageContent::parts() const
{
    return m_parts ? &*m_parts : nullptr;
}

const QByteArray& RKImageContent::readable() const
{
    return m_bytes.array();
}

const RKSparseBytes& RKImageContent::bytes() const
{
    return m_bytes;
}

void RKImageContent::adjustPreviews(const RKImageContent& before)
{
    if (m_parts && before.m_parts)
        m_parts->adjustPreviews(*before.m_parts);
}

bool RKImageContent::readPixels()
{
    if (m_bytes.holes().empty())
        return false;
    const QByteArray whole = file();
    m_isRead = whole.size() == m_bytes.size();
    m_bytes = whole;
    return true;
}

QList<RKFilePiece> RKImageContent::pieces() const
{
    return m_parts ? m_parts->pieces() : m_bytes.pieces();
}

QByteArray RKImageContent::file() const
{
    return m_parts ? m_parts->file() : RKPieceSource(pieces(), m_source).all();
}
