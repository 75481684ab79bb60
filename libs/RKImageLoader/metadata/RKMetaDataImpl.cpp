#include "RKImageLoader/guards/RKEmbeddedPicture_p.h"
#include "RKImageLoader/media/RKImageOption.h"
#include "RKImageLoader/metadata/RKMetaDataField.h"
#include "RKImageLoader/metadata/RKMetaDataImpl_p.h"

#include <QRect>

#include <algorithm>
#include <cstdlib>

namespace {

using Field = RKMetaDataFieldEnum;

// Bars are black, but for what the compression has left in them.
constexpr int kBlackest = 32;
// Cameras round the picture's place within the thumbnail each in their own way.
constexpr int kLargestShift = 2;

double degreesOf(const QMap<QString, QVariant>& fields, Field field)
{
    const QString keyword = RKMetaDataField().enumToStringTable()->keyword(field);
    return fields.value(keyword).toDouble();
}

bool isBlack(QRgb pixel)
{
    return qRed(pixel) <= kBlackest && qGreen(pixel) <= kBlackest && qBlue(pixel) <= kBlackest;
}

bool isBlackRow(const QImage& image, int y)
{
    const auto* row = reinterpret_cast<const QRgb*>(image.constScanLine(y));
    return std::all_of(row, row + image.width(), isBlack);
}

bool isBlackColumn(const QImage& image, int x, int top, int bottom)
{
    for (int y = top; y <= bottom; ++y) {
        if (!isBlack(reinterpret_cast<const QRgb*>(image.constScanLine(y))[x]))
            return false;
    }
    return true;
}

// The pixels of the thumbnail along one axis that show the picture; end is the one after the last.
struct Span
{
    int begin = 0;
    int end = 0;
};

// The bars that a thumbnail has if it holds all of an image: rows or columns, in pixels of both.
struct Bars
{
    bool areExpected() const
    {
        return thickness > 1;
    }

    Span between() const
    {
        const int bar = qRound(thickness / 2);
        return {bar, length - bar};
    }

    bool areRows = false;
    // Of the thumbnail across the bars.
    int length = 0;
    double thickness = 0;
};

Bars expectedBars(const QSize& thumbnail, const QSize& image)
{
    if (thumbnail.isEmpty() || image.isEmpty())
        return {};
    // The picture fills one axis of the thumbnail; bars can lie on the other one only.
    const double scaleX = double(thumbnail.width()) / image.width();
    const double scaleY = double(thumbnail.height()) / image.height();
    if (scaleX < scaleY)
        return {true, thumbnail.height(), thumbnail.height() - scaleX * image.height()};
    return {false, thumbnail.width(), thumbnail.width() - scaleY * image.width()};
}

bool agree(const Span& expected, const Span& found)
{
    return std::abs(expected.begin - found.begin) <= kLargestShift
        && std::abs(expected.end - found.end) <= kLargestShift;
}

// The expected span, each end moved inwards by one pixel where the bar is that much wider.
Span cropSpan(const Span& expected, const Span& found)
{
    return {std::clamp(found.begin, expected.begin, expected.begin + 1),
        std::clamp(found.end, expected.end - 1, expected.end)};
}

} // namespace

RKMetaDataImpl::RKMetaDataImpl(const RKExiv2Wrapper& wrapper)
    : m_wrapper(wrapper)
{
}

RKExiv2Wrapper& RKMetaDataImpl::exiv2Wrapper()
{
    return m_wrapper;
}

const RKExiv2Wrapper& RKMetaDataImpl::exiv2Wrapper() const
{
    return m_wrapper;
}

void RKMetaDataImpl::writeFields(const QMap<QString, QVariant>& fields)
{
    bool hasPosition = false;
    for (auto entry = fields.cbegin(); entry != fields.cend(); ++entry) {
        const QString text = entry.value().toString();
        if (text.isEmpty())
            continue;
        const RKMetaDataField field(entry.key());
        if (field.isStringValueField())
            m_wrapper.write(field, text);
        hasPosition = hasPosition || field.isGeoPositionArcField();
    }
    if (hasPosition) {
        m_wrapper.setGeoPosition(RKGeoPosition(degreesOf(fields, Field::gpsLatitudeInDegreesNorth),
            degreesOf(fields, Field::gpsLongitudeInDegreesEast)));
    }
}

QString RKMetaDataImpl::usedPhotoSoftware() const
{
    return m_wrapper.read(Field::exifSoftware);
}

void RKMetaDataImpl::setUsedPhotoSoftware(const QString& name)
{
    m_wrapper.write(Field::exifSoftware, name);
}

QByteArray RKMetaDataImpl::thumbnailData() const
{
    return m_thumbnailData;
}

void RKMetaDataImpl::writeThumbnail(const QByteArray& jpeg)
{
    m_thumbnailData = jpeg;
    m_wrapper.writeThumbnail(jpeg);
}

void RKMetaDataImpl::eraseThumbnail()
{
    m_thumbnailData.clear();
    m_wrapper.eraseThumbnail();
}

QImage RKMetaDataImpl::extractThumbnail(const QSize& imageSize, const RKImageOption&) const
{
    const QImage thumbnail = m_wrapper.thumbnail();
    const Bars bars = expectedBars(thumbnail.size(), imageSize);
    QRect inner;
    if (!bars.areExpected() || !thumbnailEdgeDetector(thumbnail, &inner))
        return thumbnail;

    const Span found = bars.areRows ? Span{inner.top(), inner.bottom() + 1}
                                    : Span{inner.left(), inner.right() + 1};
    const Span crop = cropSpan(bars.between(), found);
    const int size = crop.end - crop.begin;
    if (!agree(bars.between(), found) || size <= 0)
        return thumbnail;
    return bars.areRows ? thumbnail.copy(0, crop.begin, thumbnail.width(), size)
                        : thumbnail.copy(crop.begin, 0, size, thumbnail.height());
}

QSize RKMetaDataImpl::thumbnailSize(const QSize& imageSize) const
{
    QByteArray data;
    m_wrapper.extractThumbnailData(data);
    const QSize stored = RKEmbeddedPicture::thumbnailSize(data);
    if (!expectedBars(stored, imageSize).areExpected())
        return stored;
    const QImage thumbnail = extractThumbnail(imageSize, RKImageOption());
    return thumbnail.isNull() ? QSize() : thumbnail.size();
}

bool RKMetaDataImpl::thumbnailEdgeDetector(const QImage& image, QRect* inner)
{
    const QImage pixels = image.convertToFormat(QImage::Format_RGB32);
    int top = 0;
    int bottom = pixels.height() - 1;
    while (top <= bottom && isBlackRow(pixels, top))
        ++top;
    if (top > bottom)
        return false;
    while (isBlackRow(pixels, bottom))
        --bottom;

    int left = 0;
    int right = pixels.width() - 1;
    while (isBlackColumn(pixels, left, top, bottom))
        ++left;
    while (isBlackColumn(pixels, right, top, bottom))
        --right;

    const QRect found(QPoint(left, top), QPoint(right, bottom));
    if (found == pixels.rect())
        return false;
    *inner = found;
    return true;
}

QStringList RKMetaDataImpl::debugOutput() const
{
    return m_wrapper.debugOutput();
}
