// Turning a photograph upright against copying it, and against what Qt's own operations need for
// the same orientation.

#include "RKImageLoader/drawables/RKImageRotator.h"
#include "benchmarks/Comparison.h"

#include <QTransform>

#include <array>
#include <string>

namespace {

// The second one has rows that fall onto the same places of a cache.
constexpr std::array kSizes{QSize(6000, 4000), QSize(6144, 4096)};

QImage turnedByQt(const QImage& image, int orientation)
{
    const bool isMirrored
        = orientation == ORIENTATION_LEFT_TOP || orientation == ORIENTATION_RIGHT_BOTTOM;
    const int sine
        = orientation == ORIENTATION_RIGHT_TOP || orientation == ORIENTATION_RIGHT_BOTTOM ? 1 : -1;
    const QImage unmirrored = isMirrored ? image.mirrored(true, false) : image;
    return unmirrored.transformed(QTransform(0, sine, -sine, 0, 0, 0));
}

void addSize(const QSize& size)
{
    QImage image(size, QImage::Format_RGB32);
    image.fill(Qt::white);
    for (int orientation = ORIENTATION_LEFT_TOP; orientation <= ORIENTATION_LEFT_BOTTOM;
         ++orientation) {
        const auto ours
            = [=] { return RKImageRotator::rotate(image, RKImageOrientation(orientation)); };
        const auto add = [&](const std::string& kind, const auto& reference) {
            const std::string name = kind + "/" + std::to_string(size.width()) + "x"
                + std::to_string(size.height()) + "/" + std::to_string(orientation);
            benchmark::RegisterBenchmark(
                name.c_str(), [=](benchmark::State& state) { compare(state, reference, ours); })
                ->Unit(benchmark::kMillisecond)
                ->Iterations(10);
        };
        add("rotation_vs_copy", [=] { return image.copy(); });
        add("rotation_vs_qt", [=] { return turnedByQt(image, orientation); });
    }
}

} // namespace

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    for (const QSize& size : kSizes)
        addSize(size);
    benchmark::RunSpecifiedBenchmarks();
}
