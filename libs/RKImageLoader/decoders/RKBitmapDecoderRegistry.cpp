#include "RKImageLoader/decoders/RKBitmapDecoderRegistry.h"

#include "RKImageLoader/decoders/RKBitmapDecoder.h"
#include "RKImageLoader/decoders/RKBitmapDecoderQt.h"
#include "RKImageLoader/media/RKLogCategories_p.h"

#include <QDebug>
#include <QMutexLocker>

#include <algorithm>

#ifdef Q_OS_MACOS
#    include "RKImageLoader/decoders/RKBitmapDecoderMacCoreGraphics.h"
using RKBitmapDecoderOfPlatform = RKBitmapDecoderMacCoreGraphics;
#else
#    include "RKImageLoader/decoders/RKBitmapDecoderLibRaw_p.h"
using RKBitmapDecoderOfPlatform = RKBitmapDecoderLibRaw;
#endif
#ifdef RK_HAS_SVG
#    include "RKImageLoader/decoders/RKBitmapDecoderSVG.h"
#endif

RKBitmapDecoderRegistry::RKBitmapDecoderRegistry()
    : m_reading{&RKBitmapDecoder::readableImageFileFormats, &RKBitmapDecoder::canRead}
    , m_writing{&RKBitmapDecoder::writableImageFileFormats, &RKBitmapDecoder::canWrite}
{
}

RKBitmapDecoderRegistry::~RKBitmapDecoderRegistry() = default;

QList<RKBitmapDecoder*> RKBitmapDecoderRegistry::createDecoderList() const
{
    return {new RKBitmapDecoderQt,
#ifdef RK_HAS_SVG
        new RKBitmapDecoderSVG,
#endif
        new RKBitmapDecoderOfPlatform};
}

void RKBitmapDecoderRegistry::setupInstance()
{
    const QMutexLocker locker(&m_mutex);
    const QList<RKBitmapDecoder*> decoders = createDecoderList();
    for (RKBitmapDecoder* decoder : decoders)
        m_ownedDecoders.emplace_back(decoder);
}

bool RKBitmapDecoderRegistry::isReadable(const RKMediaFormat& format) const
{
    return contains(m_reading, format);
}

bool RKBitmapDecoderRegistry::isWritable(const RKMediaFormat& format) const
{
    return contains(m_writing, format);
}

QList<RKBitmapDecoder*>& RKBitmapDecoderRegistry::listOfDecoders(const RKMediaFormat& format) const
{
    return list(m_reading, format);
}

QList<RKBitmapDecoder*>& RKBitmapDecoderRegistry::listOfEncoders(const RKMediaFormat& format) const
{
    return list(m_writing, format);
}

RKBitmapDecoder* RKBitmapDecoderRegistry::primaryDecoder(const RKMediaFormat& format) const
{
    const DecoderList& decoders = listOfDecoders(format);
    if (decoders.isEmpty()) {
        qCWarning(rkLoad).noquote()
            << "Kein BitmapDecoder für Format" << format.fileExtensions().join(u' ');
        qFatal("Programmende");
    }
    return decoders.first();
}

RKBitmapDecoder* RKBitmapDecoderRegistry::primaryEncoder(const RKMediaFormat& format) const
{
    const DecoderList& encoders = listOfEncoders(format);
    if (encoders.isEmpty()) {
        qCWarning(rkLoad).noquote()
            << "Kein BitmapEncoder für Format" << format.fileExtensions().join(u' ');
        qFatal("Programmende");
    }
    return encoders.first();
}

RKMediaFormatList RKBitmapDecoderRegistry::supportedMediaFormats() const
{
    const QMutexLocker locker(&m_mutex);
    return formats(m_reading);
}

RKMediaFormatList RKBitmapDecoderRegistry::writableImageFileFormats() const
{
    const QMutexLocker locker(&m_mutex);
    return formats(m_writing);
}

bool RKBitmapDecoderRegistry::contains(
    const Direction& direction, const RKMediaFormat& format) const
{
    const QMutexLocker locker(&m_mutex);
    if (direction.formats)
        return direction.formats->contains(format);
    // A list for the format would make it one of the supported ones.
    if (direction.decoders.count(format) > 0)
        return format != MEDIA_FORMAT_UNKNOWN;
    return std::any_of(m_ownedDecoders.begin(), m_ownedDecoders.end(), [&](const auto& decoder) {
        return (decoder.get()->*direction.can)(format);
    });
}

RKBitmapDecoderRegistry::DecoderList& RKBitmapDecoderRegistry::list(
    Direction& direction, const RKMediaFormat& format) const
{
    const QMutexLocker locker(&m_mutex);
    std::unique_ptr<DecoderList>& decoders = direction.decoders[format];
    if (decoders)
        return *decoders;
    decoders = std::make_unique<DecoderList>();
    for (const auto& decoder : m_ownedDecoders) {
        if ((decoder.get()->*direction.can)(format))
            decoders->append(decoder.get());
    }
    return *decoders;
}

/// The lock is held.
const RKMediaFormatList& RKBitmapDecoderRegistry::formats(Direction& direction) const
{
    if (direction.formats)
        return *direction.formats;
    for (const auto& decoder : m_ownedDecoders) {
        const RKMediaFormatList own = (decoder.get()->*direction.formatsOf)();
        for (const RKMediaFormat& format : own) {
            if (format == MEDIA_FORMAT_UNKNOWN) {
                qCWarning(rkLoad).noquote()
                    << "A Decoder is trying to add MEDIA_FORMAT_UNKNOWN" << decoder->name();
            } else {
                list(direction, format);
            }
        }
    }
    RKMediaFormatList& formats = direction.formats.emplace();
    for (const auto& entry : direction.decoders) {
        // A question may have added it.
        if (entry.first != MEDIA_FORMAT_UNKNOWN)
            formats.insertOnlyOnce(entry.first);
    }
    return formats;
}
