#pragma once

#include "RKImageLoader/files/RKImageFileFormat_p.h"

/// PNG (ISO/IEC 15948): chunks.
class RKPngParts final : public RKImageFileFormat
{
public:
    bool matches(QByteArrayView start) const override;
    bool split(RKPartCollector& file) const override;
    Part partOf(const QByteArray& bytes) const override;
    Parts comparable(const Parts& parts) const override;
    qsizetype placeFor(Content content, const Parts& parts) const override;
    qsizetype leadingParts(const Parts& parts) const override;
    QByteArray block(Content content, const QList<QByteArray>& parts) const override;
    QByteArrayList iptcBlocks(const Run& run) const override;
    std::optional<QList<Run>> withIptcBlocks(
        const QByteArrayList& blocks, const Run& run) const override;
    std::optional<QList<QByteArray>> withBlock(
        Content content, const QByteArray& block, const QList<QByteArray>& parts) const override;
};
