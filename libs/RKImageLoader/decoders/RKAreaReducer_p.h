#pragma once

#include <QSize>
#include <QtGlobal>

#include <span>
#include <vector>

/// Makes one channel of a picture smaller while its rows arrive, so that the picture itself is
/// never held: every sample of the result is the mean of the area that it covers.
class RKAreaReducer
{
public:
    /// Neither side of the target may be longer than that of the source.
    RKAreaReducer(const QSize& source, const QSize& target);

    /// Adds the next row. True when it completes a row of the result, which is then written.
    bool add(std::span<const quint16> row, std::span<quint16> result);

private:
    void accumulate(std::span<const quint16> row, qint64 part);
    void reduceAcross(std::span<quint16> result) const;

    QSize m_source;
    QSize m_target;
    int m_sourceRow = 0;
    int m_targetRow = 0;
    /// The mean of the rows that the current row of the result covers, as far as they are here.
    std::vector<float> m_sums;
};
