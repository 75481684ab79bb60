#include "RKImageLoader/media/RKLoadContext.h"

namespace {

// How much a reason says: decoders call damaged what they don't know.
int rank(RKMediaErrorCode code)
{
    switch (code) {
    case RKMediaErrorCode::None: return 0;
    case RKMediaErrorCode::Damaged: return 1;
    case RKMediaErrorCode::UnknownFormat: return 2;
    case RKMediaErrorCode::Cancelled: return 4;
    default: return 3;
    }
}

} // namespace

RKLoadContext::RKLoadContext(const RKCancellation& cancellation)
    : m_cancellation(cancellation)
{
}

RKCancellation RKLoadContext::cancellation() const
{
    return m_cancellation;
}

bool RKLoadContext::isCancelled() const
{
    return m_cancellation.isCancelled();
}

void RKLoadContext::fail(RKMediaErrorCode code, const QString& text)
{
    fail(RKMediaError(code, text));
}

void RKLoadContext::fail(const RKMediaError& error)
{
    if (rank(error.code()) > rank(m_error.code()))
        m_error = error;
}

void RKLoadContext::succeed()
{
    if (m_error.code() != RKMediaErrorCode::Truncated)
        m_error = {};
}

void RKLoadContext::setFilePath(const QString& path)
{
    if (m_error.isError())
        m_error.setFilePath(path);
}

RKMediaError RKLoadContext::error() const
{
    return m_error;
}
