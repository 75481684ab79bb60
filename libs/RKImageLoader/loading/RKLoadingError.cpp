#include "RKImageLoader/loading/RKLoadingError.h"

#include "RKImageLoader/drawables/RKDrawable.h"
#include "RKImageLoader/files/RKBinaryFile_p.h"
#include "RKImageLoader/loading/RKContentFormat_p.h"
#include "RKImageLoader/loading/RKMediaLoader.h"
#include "RKImageLoader/media/RKMediaDescriptor.h"

#include <QFile>

namespace {

QString shortName(const RKMediaFormat& format)
{
    return format == MEDIA_FORMAT_JPG ? QStringLiteral("JPEG")
                                      : format.defaultExtension().toUpper();
}

RKMediaFormat contentFormatOf(const QFileInfo& info)
{
    QFile file(info.absoluteFilePath());
    if (RKBinaryFile::mayBlock(info) || !file.open(QIODevice::ReadOnly))
        return {};
    return RKContentFormat::of(file.read(RKContentFormat::kStartSize));
}

} // namespace

RKLoadingError::RKLoadingError(Kind kind, const QString& text, const RKMediaFormat& contentFormat)
    : m_kind(kind)
    , m_text(text)
    , m_contentFormat(contentFormat)
{
}

RKLoadingError RKLoadingError::of(const RKMediaDescriptor& descriptor)
{
    const RKMediaLoader& loader = *RKMediaLoader::instance();
    if (!descriptor.fileInfo().exists())
        return {Kind::NotFound, QStringLiteral("there is no such file")};
    if (!loader.hasSupportedMediaFormat(descriptor))
        return {Kind::Unsupported, QStringLiteral("the format is not supported")};

    const RKMediaFormat named = descriptor.mediaFormat();
    const RKMediaFormat content = contentFormatOf(descriptor.fileInfo());
    if (content != MEDIA_FORMAT_UNKNOWN && !RKContentFormat::isReadAs(content, named)) {
        const auto text = QStringLiteral("content is %1, name says %2");
        return {Kind::OtherContent, text.arg(shortName(content), shortName(named)), content};
    }

    const QSize size = loader.unrotatedSize(descriptor);
    if (!size.isValid()) {
        return {Kind::Unmeasurable,
            QStringLiteral("this is no picture of that format, or a damaged one")};
    }
    if (!RKDrawable::isAcceptableSize(size)) {
        const auto text = QStringLiteral("%1x%2 pixels are too small or too thin for a picture");
        return {Kind::UnusableSize, text.arg(size.width()).arg(size.height())};
    }
    return {Kind::Undecodable, QStringLiteral("the picture can't be decoded")};
}

RKLoadingError::Kind RKLoadingError::kind() const
{
    return m_kind;
}

RKMediaFormat RKLoadingError::contentFormat() const
{
    return m_contentFormat;
}

QString RKLoadingError::text() const
{
    return m_text;
}
