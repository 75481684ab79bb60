#pragma once

#include <QSize>

class QSvgRenderer;

/// Estimates the work of painting an SVG document before it is painted.
///
/// The document is drawn onto a device that has no pixels and only adds up what would be filled,
/// crossed and scaled there: elements that draw each other, transformations and styles are resolved
/// then. Drawing itself is bounded by RKSvgDrawingCost. Reentrant.
class RKSvgPaintCost
{
public:
    RKSvgPaintCost() = delete;

    /// The most that a document may cost, in nanoseconds of a plain machine.
    static constexpr double kMaxCost = 1e9;

    /// The cost of painting the document at a size in pixels.
    static double of(QSvgRenderer& renderer, const QSize& size);

    /// Painting the document at 400x400 pixels or less, in its own proportions, is within the
    /// limit; a warning if not. Larger pictures may cost more, as they do of all files.
    static bool isAffordable(QSvgRenderer& renderer);
};
