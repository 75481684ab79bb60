#pragma once

#include <QByteArrayView>
#include <QSize>

/// A sequence parameter set of HEVC (ITU-T H.265, 7.3.2.2): what the decoder allocates pictures
/// for.
class RKHevcSequence
{
public:
    /// The type of its NAL units (table 7-1).
    static constexpr int kNalType = 33;

    /// From a NAL unit with its header of two bytes.
    explicit RKHevcSequence(QByteArrayView nalUnit);

    /// The size in pixels that is decoded; empty where the set can't be read.
    QSize codedSize() const
    {
        return m_codedSize;
    }

    /// The size after cropping.
    QSize size() const
    {
        return m_size;
    }

private:
    QSize m_codedSize;
    QSize m_size;
};
