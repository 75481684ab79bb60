#pragma once

#include "RKImageLoader/metadata/exiv2/RKExiv2Compat_p.h"

/// Looks at the segments of a JPEG before exiv2 reads them. Other formats would have to be searched
/// as thoroughly as exiv2 does.
///
/// Reentrant.
class RKExiv2SegmentProbe
{
public:
    explicit RKExiv2SegmentProbe(Exiv2::Image& image);

    /// False only if the segments show that exiv2 will find no XMP, as most cameras write them.
    bool mayHaveXmp() const;

    /// exiv2 stops at the first segment with Photoshop's resources that reads well.
    bool hasSeveralPhotoshopSegments() const;

    /// False only if the segments show that there is one block of IPTC at most.
    bool mayHaveSeveralIptcBlocks() const;

private:
    void readSegments(Exiv2::BasicIo& io);

    bool m_mayHaveXmp = true;
    // All segments before the first scan were followed.
    bool m_isComplete = false;
    int m_photoshopSegments = 0;
    qsizetype m_iptcBlocks = 0;
};
