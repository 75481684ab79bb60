#pragma once

#include <QImage>
#include <QPoint>

#include <array>

/// How much two pictures of the same size differ, in levels of 8 bits. Colours count as far as they
/// are opaque: what is wholly transparent in both is the same.
class PictureDifference
{
public:
    /// The pictures must have the same size, and pixels.
    PictureDifference(const QImage& first, const QImage& second);

    /// The mean over all pixels, of red, green, blue and alpha.
    const std::array<double, 4>& means() const;
    /// The mean over red, green and blue.
    double mean() const;
    /// The greatest of a pixel's four values, and the first place that has it.
    int greatest() const;
    QPoint greatestAt() const;
    /// How many of all pixels differ at all, 0 to 1.
    double changedShare() const;

    /// Black where the pictures are the same; elsewhere the differences of red, green and blue,
    /// stretched so that the greatest is 255.
    QImage picture() const;

private:
    static constexpr int kChannels = 4;

    // Opaque, with red, green and blue as differences.
    QImage m_picture;
    std::array<double, kChannels> m_means{};
    int m_greatest = 0;
    QPoint m_greatestAt;
    double m_changedShare = 0;
};
