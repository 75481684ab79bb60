#pragma once

#include "RKImageLoader/decoders/photoshop/RKPhotoshopFile_p.h"
#include "RKImageLoader/media/RKLoadContext.h"

#include <QByteArray>

#include <memory>
#include <optional>
#include <span>
#include <vector>

/// The rows of a Photoshop file's merged picture, each channel's from top to bottom. Every row is
/// looked for in the file's bytes, so nothing is held but a table of places and, for zip, the state
/// of a stream for each channel.
class RKPhotoshopRows
{
public:
    /// For the first so many channels. Absent when the data can't hold the picture, so that no
    /// memory is taken for promises. Refers to the file's bytes.
    static std::optional<RKPhotoshopRows> open(
        const RKPhotoshopFile& file, int channels, RKLoadContext& context);
    RKPhotoshopRows(RKPhotoshopRows&&) noexcept;
    ~RKPhotoshopRows();

    /// Reads as many samples as the picture is wide, from 0 to 65535, the least and the most that
    /// the file can say. False when the row is damaged or cut off.
    bool read(int channel, int row, std::span<quint16> samples);
    /// Which of both, after such a failure.
    RKMediaErrorCode readError() const;

private:
    class Inflater;

    explicit RKPhotoshopRows(const RKPhotoshopFile& file);
    bool findPackedRows(int channels);
    bool findInflatedChannels(int channels);
    QByteArrayView rowBytes(int channel, int row);

    RKPhotoshopFile m_file;
    qint64 m_rowSize;
    /// Where the packed row of an index begins, and at the end where the last one ends.
    std::vector<qint64> m_packedOffsets;
    std::vector<std::unique_ptr<Inflater>> m_inflaters;
    /// The row at hand, unpacked.
    QByteArray m_row;
    bool m_hasEnded = false;
};
