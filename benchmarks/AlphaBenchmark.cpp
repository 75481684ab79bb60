// Looking for transparency in a large opaque image against the speed of the memory, for which
// comparing two such images stands.

#include "RKImageLoader/drawables/RKImageTester.h"
#include "benchmarks/Comparison.h"

#include <QImage>

#include <cstring>

namespace {

constexpr QSize k24Megapixels(6000, 4000);

void hasAlpha(benchmark::State& state, QImage::Format format)
{
    QImage image(k24Megapixels, format);
    image.fill(Qt::white);
    const QImage same = image.copy();
    compare(
        state,
        [&] { return std::memcmp(image.constBits(), same.constBits(), image.sizeInBytes()); },
        [&] { return RKImageTester().imageContainsAlphaInformation(image); });
    state.counters["GB_per_s"]
        = double(image.sizeInBytes()) / 1e6 / state.counters["ours_ms"].value;
}

BENCHMARK_CAPTURE(hasAlpha, argb32, QImage::Format_ARGB32)->Iterations(20);
BENCHMARK_CAPTURE(hasAlpha, argb32_premultiplied, QImage::Format_ARGB32_Premultiplied)
    ->Iterations(20);
BENCHMARK_CAPTURE(hasAlpha, rgba8888, QImage::Format_RGBA8888)->Iterations(10);

} // namespace
