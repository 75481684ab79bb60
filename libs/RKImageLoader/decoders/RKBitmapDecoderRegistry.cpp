#include "RKImageLoader/decoders/RKBitmapDecoderRegistry.h"

#include "RKImageLoader/decoders/RKBitmapDecoder.h"
#include "RKImageLoader/decoders/RKBitmapDecoderQt.h"
#include "RKImageLoader/decoders/RKBitmapDecoderSVG.h"

#include <QDebug>
#include <QMutexLocker>

#ifdef Q_OS_MACOS
#    include "RKImageLoader/decoders/RKBitmapDecoderMacCoreGraphics.h"
using RKBitmapDecoderOfPlatform = RKBitmapDecoderMacCoreGraphics;
#else
#    include "RKImageLoader/decoders/RKBitmapDecoderLibRaw_p.h"
using RKBitmapDecoderOfPlatform = RKBitmapDecoderLibRaw;
#endif

RKBitmapDecoderRegistry::RKBitmapDecoderRegistry() = default;

RKBitmapDecoderRegistry::~RKBitmapDecoderRegistry() = default;

QList<RKBitmapDecoder*> RKBitmapDecoderRegistry::createDecoderList() const
{
    return {new RKBitmapDecoderQt, new RKBitmapDecoderSVG, new RKBitmapDecoderOfPlatform};
}

void RKBitmapDecoderRegistry::setupInstance()
{
    const QMutexLocker locker(&m_mutex);
    const QList<RKBitmapDecoder*> decoders = createDecoderList();
    for (RKBitmapDecoder* decoder : decoders) {
        m_ownedDecoders.emplace_back(decoder);
        add(m_decoders, decoder->readableImageFileFormats(), decoder);
        add(m_encoders, decoder->writableImageFileFormats(), decoder);
    }
}

QList<RKBitmapDecoder*>& RKBitmapDecoderRegistry::listOfDecoders(const RKMediaFormat& format) const
{
    return list(m_decoders, format);
}

QList<RKBitmapDecoder*>& RKBitmapDecoderRegistry::listOfEncoders(const RKMediaFormat& format) const
{
    return list(m_encoders, format);
}

RKBitmapDecoder* RKBitmapDecoderRegistry::primaryDecoder(const RKMediaFormat& format) const
{
    const DecoderList& decoders = listOfDecoders(format);
    if (decoders.isEmpty()) {
        qWarning().noquote() << "Kein BitmapDecoder für Format"
                             << format.fileExtensions().join(u' ');
        qFatal("Programmende");
    }
    return decoders.first();
}

RKBitmapDecoder* RKBitmapDecoderRegistry::primaryEncoder(const RKMediaFormat& format) const
{
    const DecoderList& encoders = listOfEncoders(format);
    if (encoders.isEmpty()) {
        qWarning().noquote() << "Kein BitmapEncoder für Format"
                             << format.fileExtensions().join(u' ');
        qFatal("Programmende");
    }
    return encoders.first();
}

RKMediaFormatList RKBitmapDecoderRegistry::supportedMediaFormats() const
{
    const QMutexLocker locker(&m_mutex);
    if (!m_supportedFormats)
        m_supportedFormats = preCompileImageFileFormats(m_decoders);
    return *m_supportedFormats;
}

RKMediaFormatList RKBitmapDecoderRegistry::writableImageFileFormats() const
{
    const QMutexLocker locker(&m_mutex);
    if (!m_writableFormats)
        m_writableFormats = preCompileImageFileFormats(m_encoders);
    return *m_writableFormats;
}

RKBitmapDecoderRegistry::DecoderList& RKBitmapDecoderRegistry::list(
    DecoderMap& map, const RKMediaFormat& format) const
{
    const QMutexLocker locker(&m_mutex);
    std::unique_ptr<DecoderList>& decoders = map[format];
    if (!decoders)
        decoders = std::make_unique<DecoderList>();
    return *decoders;
}

void RKBitmapDecoderRegistry::add(
    DecoderMap& map, const RKMediaFormatList& formats, RKBitmapDecoder* decoder) const
{
    for (const RKMediaFormat& format : formats) {
        if (format == MEDIA_FORMAT_UNKNOWN) {
            qWarning().noquote() << "A Decoder is trying to add MEDIA_FORMAT_UNKNOWN"
                                 << decoder->name();
            continue;
        }
        list(map, format).append(decoder);
    }
}

RKMediaFormatList RKBitmapDecoderRegistry::preCompileImageFileFormats(const DecoderMap& map)
{
    RKMediaFormatList formats;
    for (const auto& entry : map) {
        // A question may have added it.
        if (entry.first != MEDIA_FORMAT_UNKNOWN)
            formats.insertOnlyOnce(entry.first);
    }
    return formats;
}
