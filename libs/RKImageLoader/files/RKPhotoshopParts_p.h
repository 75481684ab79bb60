#pragma once

#include "RKImageLoader/files/RKImageFileFormat_p.h"

/// Photoshop files: the header with the colour table, the resources with the bytes that make their
/// sizes even, and layers and pixels as one range.
class RKPhotoshopParts final : public RKImageFileFormat
{
public:
    bool matches(QByteArrayView start) const override;
    bool split(RKPartCollector& file) const override;
    Part partOf(const QByteArray& bytes) const override;
    QList<RKFilePiece> pieces(const Parts& parts) const override;
    Parts comparable(const Parts& parts) const override;
    Parts withoutPixels(const Parts& parts) const override;
    qsizetype leadingParts(const Parts& parts) const override;
    QByteArray block(Content content, const QList<QByteArray>& parts) const override;
    std::optional<QList<QByteArray>> withBlock(
        Content content, const QByteArray& block, const QList<QByteArray>& parts) const override;
};
