// In place of RKRawPicture.cpp in builds without LibRaw: no raw file can be opened.
#include "RKImageLoader/decoders/RKRawPicture_p.h"

// Never made, but pictures own them.
class LibRaw
{
};

class RKRawPicture::StoppableStream
{
};

bool RKRawPicture::isAvailable()
{
    return false;
}

RKRawPicture::RKRawPicture(const QByteArray&, const RKCancellation&)
{
}

RKRawPicture::~RKRawPicture() = default;

bool RKRawPicture::isOpen() const
{
    return false;
}

RKMediaErrorCode RKRawPicture::openError() const
{
    return RKMediaErrorCode::NoDecoder;
}

QSize RKRawPicture::storedSize() const
{
    return {};
}

bool RKRawPicture::isTransposed() const
{
    return false;
}

QSize RKRawPicture::uprightSize() const
{
    return {};
}

QImage RKRawPicture::preview(const QSize&)
{
    return {};
}

QImage RKRawPicture::developed(const QSize&, RKLoadContext&)
{
    return {};
}
