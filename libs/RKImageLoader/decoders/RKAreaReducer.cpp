#include "RKImageLoader/decoders/RKAreaReducer_p.h"

#include <algorithm>

// Both pictures are laid over each other on a grid that has as many lines as the sides multiplied:
// a source row is as high as the target has rows, and the other way round. Parts of pixels are
// whole numbers there.

RKAreaReducer::RKAreaReducer(const QSize& source, const QSize& target)
    : m_source(source)
    , m_target(target)
    , m_sums(size_t(source.width()))
{
}

bool RKAreaReducer::add(std::span<const quint16> row, std::span<quint16> result)
{
    const qint64 height = m_target.height();
    const qint64 begin = m_sourceRow * height;
    const qint64 end = begin + height;
    const qint64 limit = qint64(m_targetRow + 1) * m_source.height();
    ++m_sourceRow;
    accumulate(row, std::min(end, limit) - begin);
    if (end < limit)
        return false;

    reduceAcross(result);
    std::fill(m_sums.begin(), m_sums.end(), 0.0F);
    accumulate(row, end - limit);
    ++m_targetRow;
    return true;
}

void RKAreaReducer::accumulate(std::span<const quint16> row, qint64 part)
{
    if (part == 0)
        return;
    const float weight = float(part) / float(m_source.height());
    const quint16* const from = row.data();
    float* const to = m_sums.data();
    const size_t count = m_sums.size();
    for (size_t x = 0; x < count; ++x)
        to[x] += weight * float(from[x]);
}

void RKAreaReducer::reduceAcross(std::span<quint16> result) const
{
    const qint64 sourceWidth = m_source.width();
    const qint64 targetWidth = m_target.width();
    for (qint64 column = 0; column < targetWidth; ++column) {
        const qint64 begin = column * sourceWidth;
        const qint64 end = begin + sourceWidth;
        double sum = 0;
        for (qint64 x = begin / targetWidth; x * targetWidth < end; ++x) {
            const qint64 part
                = std::min(end, (x + 1) * targetWidth) - std::max(begin, x * targetWidth);
            sum += double(part) * double(m_sums[size_t(x)]);
        }
        const double mean = sum / double(sourceWidth);
        result[size_t(column)] = quint16(std::min(mean + 0.5, 65535.0));
    }
}
