// Where the plug-in is built without libavcodec.
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
