#pragma once

#include <QRgb>

#include <array>
#include <memory>

class CIccCmm;
class CIccProfile;

/// Converts RGB with 8 bits a channel between profiles of three curves and a matrix (ICC.1:2022,
/// 8.4.3 and F.3) and gives to the bit what the engine, rounded, gives, some fifty times as fast.
///
/// Each channel's contribution to the linear values of the target is one of 256, and the curve of
/// the target ends in one of 256 levels. Both are tables made from the engine's own curves, and
/// what is in between are the engine's sums.
///
/// Immutable, thread-safe. Nothing is logged.
class RKMatrixTransform
{
public:
    /// Null for profiles of another kind and wherever the engine, which has been set up for the two
    /// profiles, says something else for one of a thousand colours.
    static std::unique_ptr<const RKMatrixTransform> make(
        const CIccProfile& source, const CIccProfile& target, const CIccCmm& engine);

    /// Alpha stays. Source and target may be the same.
    void convert(const QRgb* source, QRgb* target, int pixels) const;
    /// The same without vector instructions: what machines that lack them use.
    void convertPlainly(const QRgb* source, QRgb* target, int pixels) const;

private:
    struct Profiles;

    /// Linear red, green and blue of the target; the fourth fills a vector.
    struct alignas(16) Linear
    {
        double rgb[4];
    };

    static constexpr int kLevels = 256;
    static constexpr int kSteps = 0x10000;

    RKMatrixTransform() = default;

    bool setSource(const Profiles& profiles);
    bool setTarget(const Profiles& profiles);
    bool agreesWith(const CIccCmm& engine) const;

    std::array<std::array<Linear, kLevels>, 3> m_linear;
    std::array<quint8, kSteps> m_levels;
};
