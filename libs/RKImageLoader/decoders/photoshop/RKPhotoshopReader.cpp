#include "RKImageLoader/decoders/RKAreaReducer_p.h"
#include "RKImageLoader/decoders/RKBitmapDecoder.h"
#include "RKImageLoader/decoders/RKRefusal_p.h"
#include "RKImageLoader/decoders/photoshop/RKPhotoshopColors_p.h"
#include "RKImageLoader/decoders/photoshop/RKPhotoshopFile_p.h"
#include "RKImageLoader/decoders/photoshop/RKPhotoshopReader_p.h"
#include "RKImageLoader/decoders/photoshop/RKPhotoshopRows_p.h"
#include "RKImageLoader/drawables/RKImageScaler_p.h"
#include "RKImageLoader/guards/RKEmbeddedPicture_p.h"
#include "RKImageLoader/guards/RKImageLimits_p.h"
#include "RKImageLoader/media/RKLogCategories_p.h"

#include <QDebug>

#include <algorithm>

namespace {

using Mode = RKPhotoshopFile::Mode;
using Row = RKPhotoshopColors::Row;

constexpr size_t kPaletteColors = 256;

/// The merged picture, row by row: decoded, made smaller, converted.
class MergedPicture
{
public:
    MergedPicture(const RKPhotoshopFile& file, const QSize& target)
        : m_file(file)
        , m_target(target)
        , m_channels(file.mode == Mode::Indexed ? 3 : size_t(file.colorChannels()))
    {
        // The opacity comes last.
        const size_t count = m_channels + (file.hasOpacity ? 1 : 0);
        m_rows.assign(count, Row(size_t(file.size.width())));
        if (file.size == target)
            return;
        m_reducers.assign(count, RKAreaReducer(file.size, target));
        m_reduced.assign(count, Row(size_t(target.width())));
    }

    QImage read(RKLoadContext& context)
    {
        const int stored = m_file.colorChannels() + (m_file.hasOpacity ? 1 : 0);
        std::optional<RKPhotoshopRows> source = RKPhotoshopRows::open(m_file, stored, context);
        RKPhotoshopColors colors(m_file);
        if (!source || !colors.isValid())
            return {};
        QImage image(m_target, m_file.hasOpacity ? QImage::Format_ARGB32 : QImage::Format_RGB32);
        if (image.isNull()) {
            context.fail(RKMediaErrorCode::OutOfMemory);
            return {};
        }
        int targetRow = 0;
        for (int y = 0; y < m_file.size.height(); ++y) {
            if (context.isCancelled())
                return {};
            if (!readRow(*source, y)) {
                context.fail(source->readError());
                return {};
            }
            if (!reduceRow())
                continue;
            auto* const line = reinterpret_cast<QRgb*>(image.scanLine(targetRow++));
            colors.convert(
                m_reducers.empty() ? m_rows : m_reduced, {line, size_t(m_target.width())});
        }
        return image;
    }

private:
    bool readRow(RKPhotoshopRows& source, int y)
    {
        if (m_file.hasOpacity && !source.read(m_file.colorChannels(), y, m_rows.back()))
            return false;
        for (int channel = 0; channel < m_file.colorChannels(); ++channel) {
            if (!source.read(channel, y, m_rows[size_t(channel)]))
                return false;
        }
        if (m_file.mode == Mode::Indexed)
            lookUpColors();
        return true;
    }

    // Indices have no mean, so they become colours before anything else.
    void lookUpColors()
    {
        const QByteArrayView palette = m_file.palette;
        for (size_t x = 0; x < m_rows[0].size(); ++x) {
            const size_t index = m_rows[0][x] >> 8;
            for (size_t channel = 0; channel < m_channels; ++channel) {
                const size_t place = channel * kPaletteColors + index;
                m_rows[channel][x] = quint16(uchar(palette[qsizetype(place)]) * 257);
            }
        }
    }

    // True when a row of the result is complete.
    bool reduceRow()
    {
        bool isComplete = m_reducers.empty();
        for (size_t i = 0; i < m_reducers.size(); ++i)
            isComplete = m_reducers[i].add(m_rows[i], m_reduced[i]);
        if (isComplete && m_file.depth == 8) {
            // Means that are rounded to the depth of the picture are converted many times faster.
            for (Row& row : m_reduced) {
                for (quint16& sample : row)
                    sample = quint16((sample + 128) / 257 * 257);
            }
        }
        return isComplete;
    }

    const RKPhotoshopFile& m_file;
    QSize m_target;
    size_t m_channels;
    std::vector<Row> m_rows;
    /// Empty where nothing has to be made smaller.
    std::vector<RKAreaReducer> m_reducers;
    std::vector<Row> m_reduced;
};

// Reading a huge zipped picture for a small one takes longer than its file's size justifies.
bool isWorthReducing(const RKPhotoshopFile& file, const QSize& size)
{
    constexpr qint64 kMaxInflated = 384 * RKImageLimits::kMebibyte;
    const qint64 pixels = qint64(file.size.width()) * file.size.height();
    const qint64 decoded = pixels * file.channels * file.depth / 8;
    const bool isClaim = decoded / RKImageLimits::kDeflateRatio > file.pixels.size();
    return isClaim || file.compression != RKPhotoshopFile::Compression::Zip
        || 4LL * size.width() * size.height() > pixels || decoded <= kMaxInflated
        || decoded / RKImageLimits::kMaxDecodedPerByte <= file.pixels.size();
}

QImage readThumbnail(const RKPhotoshopFile& file)
{
    const QImage image = RKEmbeddedPicture::thumbnail(file.thumbnail.toByteArray())
                             .convertToFormat(QImage::Format_RGB32);
    return file.isThumbnailBgr ? image.rgbSwapped() : image;
}

bool isPlain(const QImage& image)
{
    const auto* const pixels = reinterpret_cast<const QRgb*>(image.constBits());
    const qsizetype count = image.sizeInBytes() / qsizetype(sizeof(QRgb));
    return std::all_of(pixels, pixels + count, [&](QRgb pixel) { return pixel == pixels[0]; });
}

} // namespace

QSize RKPhotoshopReader::size(const QByteArray& data)
{
    const auto file = RKPhotoshopFile::parse(data);
    return file ? file->size : QSize();
}

QImage RKPhotoshopReader::read(const QByteArray& data, const QSize& wantedSize)
{
    RKLoadContext context;
    return read(data, wantedSize, context);
}

QImage RKPhotoshopReader::read(
    const QByteArray& data, const QSize& wantedSize, RKLoadContext& context)
{
    const auto file = RKPhotoshopFile::parse(data);
    if (!file || (file->mode == Mode::Indexed && file->palette.isEmpty())) {
        context.fail(RKMediaErrorCode::Damaged);
        return {};
    }
    const QSize target = wantedSize.isValid()
        ? RKBitmapDecoder::calculateRealTargetSize(wantedSize, file->size)
        : file->size;
    // Pictures are made smaller while they are read, but not larger.
    const bool isReduced
        = target.width() <= file->size.width() && target.height() <= file->size.height();
    const QSize readSize = isReduced ? target : file->size;
    if (!RKImageScaler::isFeasible(target) || !RKImageScaler::isFeasible(readSize)) {
        RKRefusal::wantedSize(context);
        return {};
    }

    if (!isWorthReducing(*file, readSize)) {
        RKRefusal::reduction(context);
        return {};
    }

    QImage image = MergedPicture(*file, readSize).read(context);
    if (context.isCancelled())
        return {};
    // Where Photoshop leaves the merged picture out, it writes a blank one. But some files that say
    // so have a real one (10x12x16bit-CMYK.psd, whose thumbnail is the blank one).
    if (!file->hasMergedPicture && isPlain(image)) {
        const QImage thumbnail = readThumbnail(*file);
        qCWarning(rkLoad,
            "Photoshop file without merged picture: %s is shown",
            thumbnail.isNull() ? "a blank one" : "its thumbnail");
        if (!thumbnail.isNull())
            image = thumbnail;
    }
    if (image.isNull() || !wantedSize.isValid() || image.size() == target)
        return image;
    return image.scaled(target, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
}
