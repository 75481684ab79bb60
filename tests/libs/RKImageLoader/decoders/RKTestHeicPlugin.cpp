#include "RKTestHeicPlugin.h"

#include "support/RKTestPictures.h"

#include <QDataStream>
#include <QIODevice>
#include <QVariant>

namespace {

const QByteArray kSignature = "made-up HEIC";

class Handler : public QImageIOHandler
{
public:
    bool canRead() const override
    {
        return device()->peek(kSignature.size()) == kSignature;
    }

    bool read(QImage* image) override
    {
        if (!readHeader() || m_trait == RKTestHeic::Trait::Broken)
            return false;
        *image = RKTestPictures::quadrants(m_size);
        // Like a real one, this doesn't care for the proportions.
        if (m_scaledSize.isValid())
            *image = image->scaled(m_scaledSize);
        return true;
    }

    bool supportsOption(ImageOption option) const override
    {
        const_cast<Handler*>(this)->readHeader();
        return option == ScaledSize || option == ImageTransformation
            || (option == Size && m_trait != RKTestHeic::Trait::Unmeasurable);
    }

    QVariant option(ImageOption option) const override
    {
        const_cast<Handler*>(this)->readHeader();
        switch (option) {
        case Size: return m_size;
        case ImageTransformation: return int(m_transformation);
        default: return {};
        }
    }

    void setOption(ImageOption option, const QVariant& value) override
    {
        if (option == ScaledSize)
            m_scaledSize = value.toSize();
    }

private:
    bool readHeader()
    {
        if (m_size.isValid())
            return true;
        if (device()->read(kSignature.size()) != kSignature)
            return false;
        QDataStream stream(device());
        qint32 transformation = 0;
        stream >> m_size >> transformation >> m_trait;
        m_transformation = Transformations(transformation);
        return stream.status() == QDataStream::Ok;
    }

    QSize m_size;
    QSize m_scaledSize;
    Transformations m_transformation;
    RKTestHeic::Trait m_trait = RKTestHeic::Trait::None;
};

} // namespace

QByteArray RKTestHeic::file(
    const QSize& stored, QImageIOHandler::Transformations transformation, Trait trait)
{
    QByteArray header;
    QDataStream stream(&header, QIODevice::WriteOnly);
    stream << stored << qint32(transformation.toInt()) << trait;
    return kSignature + header;
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
