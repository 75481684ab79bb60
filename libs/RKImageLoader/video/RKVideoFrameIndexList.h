#pragma once

#include "RKImageLoader/RKImageLoaderExport.h"
#include "RKImageLoader/media/RKVideoFrameIndex.h"

#include <QList>
#include <QString>

#include <initializer_list>

class QDomElement;

/// Frames of one video, in order, and their text forms. Reentrant.
class RKIMAGELOADER_EXPORT RKVideoFrameIndexList
{
public:
    RKVideoFrameIndexList() = default;
    /// In the given order; equal frames are kept.
    RKVideoFrameIndexList(std::initializer_list<RKVideoFrameIndex> frames);
    /// A list of one frame, also for no frame.
    RKVideoFrameIndexList(const RKVideoFrameIndex& frame);

    RKVideoFrameIndexList(const RKVideoFrameIndexList&) = default;
    RKVideoFrameIndexList(RKVideoFrameIndexList&&) noexcept = default;
    RKVideoFrameIndexList& operator=(const RKVideoFrameIndexList&) = default;
    RKVideoFrameIndexList& operator=(RKVideoFrameIndexList&&) noexcept = default;
    virtual ~RKVideoFrameIndexList();

    /// The frames in order; the reference holds until the list is changed.
    const QList<RKVideoFrameIndex>& list() const;
    /// The number of frames, equal ones and no frames included.
    qsizetype size() const;
    /// Adds a frame at the end, also one that is there already.
    void append(const RKVideoFrameIndex& frame);

    bool operator==(const RKVideoFrameIndexList& other) const;
    bool operator!=(const RKVideoFrameIndexList& other) const;

    /// Reads decimal numbers separated by commas. Empty parts and parts that are not a 32-bit
    /// integer are skipped; a negative number is no frame.
    static RKVideoFrameIndexList fromCsv(const QString& csv);
    /// The numbers separated by commas, without blanks: "0,25,50"; -1 for no frame.
    QString toCsv() const;

    /// Reads the attribute "frameNumbers" like fromCsv(); a missing one is an empty list.
    static RKVideoFrameIndexList decode(const QDomElement& element);
    /// Writes toCsv() into the attribute.
    void encode(QDomElement& element) const;

    /// A hash that is the same in every version and on every platform, so it may be stored.
    unsigned int hash() const;

private:
    QList<RKVideoFrameIndex> m_frames;
};
