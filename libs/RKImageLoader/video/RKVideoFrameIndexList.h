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
    RKVideoFrameIndexList(std::initializer_list<RKVideoFrameIndex> frames);
    RKVideoFrameIndexList(const RKVideoFrameIndex& frame);

    RKVideoFrameIndexList(const RKVideoFrameIndexList&) = default;
    RKVideoFrameIndexList(RKVideoFrameIndexList&&) noexcept = default;
    RKVideoFrameIndexList& operator=(const RKVideoFrameIndexList&) = default;
    RKVideoFrameIndexList& operator=(RKVideoFrameIndexList&&) noexcept = default;
    virtual ~RKVideoFrameIndexList();

    const QList<RKVideoFrameIndex>& list() const;
    qsizetype size() const;
    void append(const RKVideoFrameIndex& frame);

    bool operator==(const RKVideoFrameIndexList& other) const;
    bool operator!=(const RKVideoFrameIndexList& other) const;

    /// The frames of numbers in decimal that commas separate. Empty parts and parts that are no
    /// 32-bit integer are skipped; a negative number is no frame.
    static RKVideoFrameIndexList fromCsv(const QString& csv);
    QString toCsv() const;

    /// Reads and writes the attribute "frameNumbers"; a missing one is an empty list.
    static RKVideoFrameIndexList decode(const QDomElement& element);
    void encode(QDomElement& element) const;

    /// The same in every version and on every platform, so it may be stored.
    unsigned int hash() const;

private:
    QList<RKVideoFrameIndex> m_frames;
};
