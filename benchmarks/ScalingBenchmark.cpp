// How many times as fast as the plain formulas, and as Qt's smooth scaling, bilinear and bicubic
// scaling are.

#include "RKImageLoader/drawables/RKDrawableInterfaceQImage.h"
#include "benchmarks/Comparison.h"
#include "support/PlainScaling.h"

#include <QRandomGenerator>

namespace {

struct Case
{
    const char* name;
    QSize from;
    QSize to;
};

const std::array kCases{
    Case{"24MP_to_800x533", {6000, 4000}, {800, 533}},
    Case{"6MP_to_1200x800", {3000, 2000}, {1200, 800}},
    Case{"1500x1000_to_1300x867", {1500, 1000}, {1300, 867}},
    Case{"600x400_to_1800x1200", {600, 400}, {1800, 1200}},
};

QImage noise(const QSize& size)
{
    QRandomGenerator random(1);
    QImage image(size, QImage::Format_ARGB32);
    for (int y = 0; y < size.height(); ++y) {
        auto* row = reinterpret_cast<QRgb*>(image.scanLine(y));
        random.generate(row, row + size.width());
    }
    return image;
}

void addCase(const Case& item)
{
    const QImage image = noise(item.from);
    const QSize to = item.to;
    const auto bilinear = [=] { return RKDrawableInterfaceQImage().scaleBilinearly(image, to); };
    const auto bicubic = [=] { return RKDrawableInterfaceQImage().scaleBicubicly(image, to); };
    const auto plainBilinear = [=] { return PlainScaling::bilinear(image, to); };
    const auto plainBicubic = [=] { return PlainScaling::bicubic(image, to); };
    const auto smooth
        = [=] { return image.scaled(to, Qt::IgnoreAspectRatio, Qt::SmoothTransformation); };

    const auto add = [&](const char* kind, const auto& reference, const auto& ours) {
        benchmark::RegisterBenchmark((std::string(kind) + '/' + item.name).c_str(),
            [=](benchmark::State& state) { compare(state, reference, ours); })
            ->Unit(benchmark::kMillisecond)
            ->Iterations(20);
    };
    add("bilinear_vs_plain", plainBilinear, bilinear);
    add("bicubic_vs_plain", plainBicubic, bicubic);
    add("bilinear_vs_qt_smooth", smooth, bilinear);
    add("bicubic_vs_qt_smooth", smooth, bicubic);
}

} // namespace

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    for (const Case& item : kCases)
        addCase(item);
    benchmark::RunSpecifiedBenchmarks();
}
