#include "RKImageLoader/decoders/RKBitmapDecoderRegistry.h"

#include "RKImageLoader/decoders/RKBitmapDecoderQt.h"
#include "RKImageLoader/decoders/RKBitmapDecoderSVG.h"

#include <QDebug>
#include <QMutexLocker>

namespace {

RKBitmapDecoder* firstOrEnd(
    const QList<RKBitmapDecoder*>& list, const RKMediaFormat& format, const char* complaint)
{
    if (list.isEmpty()) {
        qWarning().noquote() << complaint << format.fileExtensions().join(u' ');
        qFatal("Programmende");
    }
    return list.first();
}

} // namespace

RKBitmapDecoderRegistry::RKBitmapDecoderRegistry() = default;

RKBitmapDecoderRegistry::~RKBitmapDecoderRegistry() = default;

QList<RKBitmapDecoder*>& RKBitmapDecoderRegistry::listOfDecoders(const RKMediaFormat& format) const
{
    return listIn(m_decoders, format);
}

QList<RKBitmapDecoder*>& RKBitmapDecoderRegistry::listOfEncoders(const RKMediaFormat& format) const
{
    return listIn(m_encoders, format);
}

RKBitmapDecoder* RKBitmapDecoderRegistry::primaryDecoder(const RKMediaFormat& format) const
{
    return firstOrEnd(listOfDecoders(format), format, "Kein BitmapDecoder für Format");
}

RKBitmapDecoder* RKBitmapDecoderRegistry::primaryEncoder(const RKMediaFormat& format) const
{
    return firstOrEnd(listOfEncoders(format), format, "Kein BitmapEncoder für Format");
}

RKMediaFormatList RKBitmapDecoderRegistry::supportedMediaFormats() const
{
    return formatsIn(m_decoders, m_supported);
}

RKMediaFormatList RKBitmapDecoderRegistry::writableImageFileFormats() const
{
    return formatsIn(m_encoders, m_writable);
}

void RKBitmapDecoderRegistry::setupInstance()
{
    m_owned = createDecoderList();
    for (const auto& decoder : m_owned) {
        add(m_decoders, decoder->readableImageFileFormats(), decoder.get());
        add(m_encoders, decoder->writableImageFileFormats(), decoder.get());
    }
}

std::vector<std::unique_ptr<RKBitmapDecoder>> RKBitmapDecoderRegistry::createDecoderList() const
{
    std::vector<std::unique_ptr<RKBitmapDecoder>> decoders;
    decoders.push_back(std::make_unique<RKBitmapDecoderQt>());
    decoders.push_back(std::make_unique<RKBitmapDecoderSVG>());
    return decoders;
}

QList<RKBitmapDecoder*>& RKBitmapDecoderRegistry::listIn(
    Lists& lists, const RKMediaFormat& format) const
{
    const QMutexLocker locker(&m_mutex);
    auto& list = lists[format];
    if (!list)
        list = std::make_unique<QList<RKBitmapDecoder*>>();
    return *list;
}

const RKMediaFormatList& RKBitmapDecoderRegistry::formatsIn(
    const Lists& lists, std::optional<RKMediaFormatList>& compiled) const
{
    const QMutexLocker locker(&m_mutex);
    if (!compiled) {
        compiled.emplace();
        for (const auto& [format, list] : lists) {
            // Queries for unknown formats leave a list behind.
            if (format.isValid())
                compiled->insertOnlyOnce(format);
        }
    }
    return *compiled;
}

void RKBitmapDecoderRegistry::add(
    Lists& lists, const RKMediaFormatList& formats, RKBitmapDecoder* decoder) const
{
    for (const RKMediaFormat& format : formats) {
        if (format.isValid())
            listIn(lists, format).append(decoder);
        else
            qWarning().noquote() << "A Decoder is trying to add MEDIA_FORMAT_UNKNOWN"
                                 << decoder->name();
    }
}
