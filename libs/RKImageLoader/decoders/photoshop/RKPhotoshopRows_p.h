#pragma once

#include "RKImageLoader/decoders/photoshop/RKPhotoshopFile_p.h"

#include <QByteArray>

#include <optional>
#include <span>
#include <vector>

/// The rows of a Photoshop file's merged picture, in any order. Every row is looked for in the
/// file's bytes, so nothing is held but a table of places and, for zip, the inflated rows.
class RKPhotoshopRows
{
public:
    /// For the first so many channels. Absent when the data can't hold the picture, so that no
    /// memory is taken for promises. Refers to the file's bytes.
    static std::optional<RKPhotoshopRows> open(const RKPhotoshopFile& file, int channels);

    /// Reads as many samples as the picture is wide, from 0 to 65535, the least and the most that
    /// the file can say. False when the row is damaged or cut off.
    bool read(int channel, int row, std::span<quint16> samples);

private:
    explicit RKPhotoshopRows(const RKPhotoshopFile& file);
    bool findPackedRows(int channels);
    bool inflate(qint64 size);
    QByteArrayView rowBytes(qint64 index);

    RKPhotoshopFile m_file;
    qint64 m_rowSize;
    /// Where the packed row of an index begins, and at the end where the last one ends.
    std::vector<qint64> m_packedOffsets;
    QByteArray m_inflated;
    /// The row at hand, unpacked.
    QByteArray m_row;
};
