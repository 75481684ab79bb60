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
        m_readable = readableOf(parts);
    } else if (m_isRead) {
        m_isRead = source->read(0, source->size(), &m_readable);
    }
}

RKImageContent::RKImageContent(const RKImageFileParts& parts)
    : m_parts(parts)
    , m_readable(readableOf(parts))
{
}

RKImageContent::RKImageContent(const QByteArray& file)
    : m_readable(file)
{
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
    return m_readable;
}

QList<RKFilePiece> RKImageContent::pieces() const
{
    return m_parts ? m_parts->pieces() : QList<RKFilePiece>{{m_readable, 0, 0}};
}

QByteArray RKImageContent::file() const
{
    return m_parts ? m_parts->file() : m_readable;
}
