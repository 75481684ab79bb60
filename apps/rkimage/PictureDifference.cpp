#include "PictureDifference.h"

#include <algorithm>
#include <cstdlib>

PictureDifference::PictureDifference(const QImage& first, const QImage& second)
    : m_picture(first.size(), QImage::Format_RGB888)
{
    constexpr auto kFormat = QImage::Format_RGBA8888_Premultiplied;
    const QImage a = first.convertToFormat(kFormat);
    const QImage b = second.convertToFormat(kFormat);

    std::array<qint64, kChannels> sums{};
    qint64 changed = 0;
    for (int y = 0; y < a.height(); ++y) {
        const uchar* left = a.constScanLine(y);
        const uchar* right = b.constScanLine(y);
        uchar* out = m_picture.scanLine(y);
        for (int x = 0; x < a.width(); ++x, left += kChannels, right += kChannels, out += 3) {
            std::array<int, kChannels> levels{};
            for (size_t channel = 0; channel < kChannels; ++channel) {
                levels[channel] = std::abs(left[channel] - right[channel]);
                sums[channel] += levels[channel];
            }
            std::copy_n(levels.begin(), 3, out);
            const int greatest = *std::max_element(levels.begin(), levels.end());
            changed += greatest > 0;
            if (greatest > m_greatest) {
                m_greatest = greatest;
                m_greatestAt = QPoint(x, y);
            }
        }
    }
    const double pixels = double(a.width()) * a.height();
    std::transform(sums.begin(), sums.end(), m_means.begin(), [pixels](qint64 sum) {
        return double(sum) / pixels;
    });
    m_changedShare = double(changed) / pixels;
}

const std::array<double, 4>& PictureDifference::means() const
{
    return m_means;
}

double PictureDifference::mean() const
{
    return (m_means[0] + m_means[1] + m_means[2]) / 3;
}

int PictureDifference::greatest() const
{
    return m_greatest;
}

QPoint PictureDifference::greatestAt() const
{
    return m_greatestAt;
}

double PictureDifference::changedShare() const
{
    return m_changedShare;
}

QImage PictureDifference::picture() const
{
    QImage stretched = m_picture;
    if (m_greatest == 0)
        return stretched;
    for (int y = 0; y < stretched.height(); ++y) {
        uchar* const row = stretched.scanLine(y);
        std::transform(row, row + 3 * stretched.width(), row, [this](uchar level) {
            return uchar(level * 255 / m_greatest);
        });
    }
    return stretched;
}
