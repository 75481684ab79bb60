#pragma once

#include "imageformats/common/RKOpenPicture.h"
#include "imageformats/common/RKPictureLimits.h"

#include <QByteArray>
#include <QIODevice>
#include <QImageIOHandler>
#include <QVariant>

#include <exception>
#include <memory>

/// Reads a file of one picture for QImageReader.
///
/// The picture knows its size before it is decoded, comes upright, and is made smaller on request.
/// `Picture` is a file whose header has been read:
/// - `static constexpr qint64 kStartSize` and `static bool isRecognized(const QByteArray& start)`:
///   whether a file that begins like that is of the format;
/// - `static std::unique_ptr<Opened> open(const QByteArray& file)`: null where the header is not
///   valid or asks for too much. `Opened` is `Picture` as a rule, and has
/// - `QSize size() const`: of the upright picture, in pixels;
/// - `QImage decode(const QSize& size, const RKStopQuestion& mustStop)`: the picture in exactly
///   that size, with 32 bits a pixel; null where it can't be decoded or need not be.
///
/// A format of several codings has `open(file, QByteArray* undecodable)` instead, which also names
/// the coding that there is no decoder for. It is the reader's sub-type after a failure.
template <typename Picture>
class RKPictureHandler : public QImageIOHandler
{
public:
    static bool canRead(QIODevice* device)
    {
        return device && device->isReadable()
            && Picture::isRecognized(device->peek(Picture::kStartSize));
    }

    bool canRead() const override
    {
        return m_state == State::Opened || (m_state == State::New && canRead(device()));
    }

    bool read(QImage* image) override
    {
        if (!open())
            return false;
        m_state = State::Finished;
        const Opened picture = std::move(m_picture);
        const QSize size = m_scaledSize.isValid() ? m_scaledSize : m_size;
        // Only to have Qt's limit of memory respected before any time is spent.
        QImage room;
        if (!RKPictureLimits::isAcceptable(size)
            || !allocateImage(size, QImage::Format_ARGB32, &room))
            return false;
        room = QImage();
        *image = attempt([&] { return picture->decode(size, [this] { return isGone(); }); });
        return !image->isNull();
    }

    bool supportsOption(ImageOption option) const override
    {
        return option == Size || option == ScaledSize || option == ImageTransformation
            || option == SubType;
    }

    QVariant option(ImageOption option) const override
    {
        switch (option) {
        case Size: open(); return m_size;
        case ScaledSize: return m_scaledSize;
        case SubType: open(); return m_undecodable;
        // The picture is turned while it is decoded, and nobody shall turn it again.
        case ImageTransformation: return int(TransformationNone);
        default: return {};
        }
    }

    void setOption(ImageOption option, const QVariant& value) override
    {
        if (option == ScaledSize)
            m_scaledSize = value.toSize();
    }

private:
    // Whoever takes the file's bytes away wants no picture.
    bool isGone() const
    {
        return !device()->isSequential() && device()->size() == 0;
    }

    static constexpr bool kHasCodings = requires
    {
        Picture::open(QByteArray(), nullptr);
    };

    static auto opened(const QByteArray& file, QByteArray* undecodable)
    {
        if constexpr (kHasCodings)
            return Picture::open(file, undecodable);
        else
            return Picture::open(file);
    }

    using Opened = decltype(opened(QByteArray(), nullptr));

    enum class State
    {
        New,
        Opened,
        Finished, ///< Read, or not readable.
    };

    // The codecs' libraries let exceptions through, as of exhausted memory, and Qt expects none.
    template <typename Work>
    static auto attempt(const Work& work) -> decltype(work())
    {
        try {
            return work();
        } catch (const std::exception&) {
            return {};
        }
    }

    // Qt asks for options of a constant handler, and some of them need the header.
    bool open() const
    {
        if (m_state == State::New) {
            if (canRead(device()))
                m_picture = attempt([&] { return opened(device()->readAll(), &m_undecodable); });
            m_state = m_picture ? State::Opened : State::Finished;
            if (m_picture)
                m_size = m_picture->size();
        }
        return m_state == State::Opened;
    }

    mutable State m_state = State::New;
    mutable Opened m_picture;
    mutable QSize m_size;
    mutable QByteArray m_undecodable;
    QSize m_scaledSize;
};
