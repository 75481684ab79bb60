// Camera raw pictures for the screen against LibRaw's own quick way, and Photoshop pictures for the
// screen against whole ones. The files have 24 megapixels and are made here.

#include "RKImageLoader/decoders/RKBitmapDecoderLibRaw_p.h"
#include "RKImageLoader/decoders/photoshop/RKPhotoshopReader_p.h"
#include "benchmarks/Comparison.h"
#include "support/RKTestDng.h"
#include "support/RKTestPsd.h"

#include <QColorSpace>
#include <QFile>
#include <QRandomGenerator>

#include <libraw/libraw.h>

#include <functional>
#include <memory>

namespace {

constexpr QSize kSize(6000, 4000);
constexpr QSize kWanted(800, 600);

/// Slopes with a little grain, and some plain areas.
QImage photograph()
{
    QImage image(kSize, QImage::Format_RGB32);
    QRandomGenerator random(7);
    for (int y = 0; y < image.height(); ++y) {
        auto* const row = reinterpret_cast<QRgb*>(image.scanLine(y));
        for (int x = 0; x < image.width(); ++x) {
            const int grain = y % 4 == 0 ? 0 : int(random.bounded(4));
            row[x] = qRgb(x / 24 % 250 + grain, y / 17 % 250 + grain, (x + y) / 41 % 250 + grain);
        }
    }
    return image;
}

QByteArray rawFile(const QSize& preview)
{
    RKTestDng file{.scene = photograph()};
    if (preview.isValid())
        file.preview = file.scene.scaled(preview);
    return file.bytes();
}

int developHalf(const QByteArray& bytes)
{
    const auto raw = std::make_unique<LibRaw>();
    raw->imgdata.params.half_size = 1;
    raw->imgdata.params.use_camera_wb = 1;
    raw->open_buffer(const_cast<char*>(bytes.constData()), size_t(bytes.size()));
    raw->unpack();
    raw->dcraw_process();
    libraw_processed_image_t* const image = raw->dcraw_make_mem_image();
    const int width = image->width;
    LibRaw::dcraw_clear_mem(image);
    return width;
}

void compareRaw(benchmark::State& state, const QByteArray& bytes)
{
    compare(
        state,
        [&] { return developHalf(bytes); },
        [&] { return RKBitmapDecoderLibRaw().decode(bytes, "dng", kWanted, {}).width(); });
}

void rawWithPreviewAgainstHalfSize(benchmark::State& state)
{
    compareRaw(state, rawFile({1620, 1080}));
}

void rawWithoutPreviewAgainstHalfSize(benchmark::State& state)
{
    compareRaw(state, rawFile({}));
}

void comparePhotoshop(benchmark::State& state, const QByteArray& profile)
{
    const QByteArray bytes = RKTestPsd::of(photograph(), profile).bytes();
    compare(
        state,
        [&] { return RKPhotoshopReader::read(bytes, {}).width(); },
        [&] { return RKPhotoshopReader::read(bytes, kWanted).width(); });
}

void photoshopAgainstWhole(benchmark::State& state)
{
    comparePhotoshop(state, {});
}

void photoshopWithProfileAgainstWhole(benchmark::State& state)
{
    comparePhotoshop(state, QColorSpace(QColorSpace::AdobeRgb).iccProfile());
}

/// By how many megabytes the work lets the process grow, at the worst. Linux only.
double megabytes(const std::function<void()>& work)
{
    const auto status = [](const char* field) {
        QFile file(QStringLiteral("/proc/self/status"));
        file.open(QIODevice::ReadOnly);
        const QByteArray text = file.readAll();
        return text.mid(text.indexOf(field) + 6).simplified().split(' ').value(0).toDouble() / 1024;
    };
    QFile peak(QStringLiteral("/proc/self/clear_refs"));
    peak.open(QIODevice::WriteOnly);
    peak.write("5");
    peak.close();
    const double before = status("VmRSS:");
    work();
    return status("VmHWM:") - before;
}

void memoryOfPhotoshopAgainstWhole(benchmark::State& state)
{
    const QByteArray bytes = RKTestPsd::of(photograph()).bytes();
    for ([[maybe_unused]] auto iteration : state) {
        const double ours = megabytes([&] { RKPhotoshopReader::read(bytes, kWanted); });
        const double whole = megabytes([&] { RKPhotoshopReader::read(bytes, {}); });
        state.counters["ours_MB"] = ours;
        state.counters["whole_MB"] = whole;
        state.counters["ratio"] = whole / ours;
    }
}

} // namespace

BENCHMARK(rawWithPreviewAgainstHalfSize)->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(rawWithoutPreviewAgainstHalfSize)->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(photoshopAgainstWhole)->Unit(benchmark::kMillisecond)->Iterations(5);
BENCHMARK(photoshopWithProfileAgainstWhole)->Unit(benchmark::kMillisecond)->Iterations(5);
BENCHMARK(memoryOfPhotoshopAgainstWhole)->Unit(benchmark::kMillisecond)->Iterations(1);
