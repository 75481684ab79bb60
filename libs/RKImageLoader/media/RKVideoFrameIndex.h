#pragma once

#include "RKImageLoader/RKImageLoaderExport.h"

#include <QString>
#include <QUrl>

/// The number of one frame of a video, from 0; -1 stands for no frame.
///
/// Every negative number becomes -1, whether given or calculated; so do results beyond the 32-bit
/// range and divisions by 0.
///
/// A number stands for a frame wherever one is expected, so `index + (-3)` adds no frame, -1, and
/// `index += -3` is what subtracts three. No frame takes part in calculations as -1: adding it
/// subtracts 1, and negated it is frame 1. Reentrant.
class RKIMAGELOADER_EXPORT RKVideoFrameIndex
{
public:
    /// No frame.
    RKVideoFrameIndex() = default;
    /// A negative number becomes -1, no frame.
    RKVideoFrameIndex(int frame);

    RKVideoFrameIndex(const RKVideoFrameIndex&) = default;
    RKVideoFrameIndex(RKVideoFrameIndex&&) noexcept = default;
    RKVideoFrameIndex& operator=(const RKVideoFrameIndex&) = default;
    RKVideoFrameIndex& operator=(RKVideoFrameIndex&&) noexcept = default;
    virtual ~RKVideoFrameIndex();

    /// The number, or -1.
    int frame() const;
    /// Whether it is not -1; says nothing about whether the video has that frame.
    bool isValid() const;

    bool operator==(const RKVideoFrameIndex& other) const;
    bool operator!=(const RKVideoFrameIndex& other) const;
    /// By the numbers; no frame comes before frame 0.
    /// @{
    bool operator<(const RKVideoFrameIndex& other) const;
    bool operator<=(const RKVideoFrameIndex& other) const;
    bool operator>(const RKVideoFrameIndex& other) const;
    bool operator>=(const RKVideoFrameIndex& other) const;
    /// @}

    /// On the numbers, as described above.
    /// @{
    RKVideoFrameIndex operator-() const;
    RKVideoFrameIndex operator+(const RKVideoFrameIndex& other) const;
    RKVideoFrameIndex operator-(const RKVideoFrameIndex& other) const;
    RKVideoFrameIndex operator*(int factor) const;
    RKVideoFrameIndex operator/(int divisor) const;
    RKVideoFrameIndex operator%(int divisor) const;
    /// @}
    /// The whole-number quotient as a double: 7 / 2 is 3.0. Division by frame 0 gives 0.0.
    double operator/(const RKVideoFrameIndex& divisor) const;

    /// The same, in place.
    /// @{
    RKVideoFrameIndex& operator+=(const RKVideoFrameIndex& other);
    RKVideoFrameIndex& operator+=(int frames);
    RKVideoFrameIndex& operator-=(const RKVideoFrameIndex& other);
    RKVideoFrameIndex& operator*=(int factor);
    RKVideoFrameIndex& operator/=(int divisor);
    RKVideoFrameIndex& operator%=(int divisor);
    /// @}

    /// Adds the query item "frame" with the number; without a frame the URL stays as it is.
    void addToUrl(QUrl& url) const;
    /// Appends "-" and the number; without a frame the name stays as it is.
    void addToFilename(QString& name) const;
    /// The number in the query item "frame"; no frame if it is missing or not a number.
    static RKVideoFrameIndex extractFromUrl(const QUrl& url);

private:
    int m_frame = -1;
};
