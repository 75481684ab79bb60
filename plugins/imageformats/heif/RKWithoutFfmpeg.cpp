// For plug-ins that are built without FFmpeg: libheif decodes everything.
#include "imageformats/heif/RKHeifReducer.h"
#include "imageformats/heif/RKHevcChoice.h"

bool RKHevcChoice::hasLibavcodec()
{
    return false;
}

RKHevcChoice::RKHevcChoice(Decoder)
    : m_decoder(Decoder::Libheif)
{
}

RKHevcChoice::~RKHevcChoice() = default;

QImage RKHeifReducer::reduced(const RKHeifTiles&, const QSize&, const RKStopQuestion&)
{
    return {};
}
