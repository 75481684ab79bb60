#pragma once

#include "RKImageLoader/files/RKImageFileFormat_p.h"

/// JPEG (ISO/IEC 10918-1, annex B): segments up to the first scan, and the rest as one range, with
/// all scans and what may follow the picture.
class RKJpegParts final : public RKImageFileFormat
{
public:
    bool matches(QByteArrayView start) const override;
    bool split(RKPartCollector& file) const override;
    Part partOf(const QByteArray& bytes) const override;
    bool areReadAsWritten(const Parts& parts) const override;
    Parts withoutPixels(const Parts& parts) const override;
    Parts comparable(const Parts& parts) const override;
    qsizetype placeFor(Content content, const Parts& parts) const override;
    qsizetype leadingParts(const Parts& parts) const override;
    void adjust(Parts& parts, const Parts& before) const override;
    void adjustPreviews(
        Parts& parts, const Parts& before, const RKByteSource& source) const override;
    QByteArray block(Content content, const QList<QByteArray>& parts) const override;
    QList<Run> iptcRuns(const QList<QByteArray>& parts) const override;
    QByteArrayList iptcBlocks(const Run& run) const override;
    std::optional<QList<Run>> withIptcBlocks(
        const QByteArrayList& blocks, const Run& run) const override;
    std::optional<QList<QByteArray>> withBlock(
        Content content, const QByteArray& block, const QList<QByteArray>& parts) const override;
};
