#include "RKTestHeicPlugin.h"

#include "support/RKTestPictures.h"

#include <QVariant>

namespace {

// A PNG file behind the transformation and the trait.
class Handler : public QImageIOHandler
{
public:
    bool canRead() const override
    {
        return !stored().isNull();
    }

    bool read(QImage* image) override
    {
        // Like a real one, this doesn't care for the proportions.
        *image = m_scaledSize.isValid() ? stored().scaled(m_scaledSize) : stored();
        return trait() != RKTestHeic::Trait::Broken;
    }

    bool supportsOption(ImageOption option) const override
    {
        return option == ScaledSize || option == ImageTransformation
            || (option == Size && trait() != RKTestHeic::Trait::Unmeasurable);
    }

    QVariant option(ImageOption option) const override
    {
        return option == Size ? QVariant(stored().size()) : QVariant(int(bytes().at(0)));
    }

    void setOption(ImageOption, const QVariant& value) override
    {
        m_scaledSize = value.toSize();
    }

private:
    QByteArray bytes() const
    {
        return device()->peek(device()->size()).leftJustified(2);
    }

    RKTestHeic::Trait trait() const
    {
        return RKTestHeic::Trait(bytes().at(1));
    }

    QImage stored() const
    {
        return QImage::fromData(bytes().sliced(2));
    }

    QSize m_scaledSize;
};

} // namespace

QByteArray RKTestHeic::file(
    const QSize& stored, QImageIOHandler::Transformations transformation, Trait trait)
{
    const QByteArray png = RKTestPictures::encoded(RKTestPictures::quadrants(stored), "PNG");
    return QByteArray(1, char(transformation.toInt())) + char(trait) + png;
}

QImageIOPlugin::Capabilities RKTestHeicPlugin::capabilities(
    QIODevice*, const QByteArray& format) const
{
    return format == "heic" || format == "heif" ? Capabilities(CanRead) : Capabilities();
}

QImageIOHandler* RKTestHeicPlugin::create(QIODevice* device, const QByteArray& format) const
{
    auto* const handler = new Handler;
    handler->setDevice(device);
    handler->setFormat(format);
    return handler;
}
