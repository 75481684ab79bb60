// Loading a photograph through the library, against the least work that Qt needs for it.

#include "Photograph.h"
#include "RKImageLoader/loading/RKImageLoader.h"
#include "RKImageLoader/metadata/RKMetaData.h"

#include "RKCore/RKInitializer.h"

#include <QBuffer>
#include <QColorSpace>
#include <QFile>
#include <QGuiApplication>
#include <QImageReader>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <vector>

namespace {

constexpr QSize kPhotoSize(6000, 4000);
constexpr QSize kWantedSize(800, 600);

/// A 24-megapixel JPEG with some detail everywhere, made once.
const QString& photoPath()
{
    static const QTemporaryDir folder;
    static const QString path = [] {
        QString file = folder.filePath(QStringLiteral("photo.jpg"));
        photograph(kPhotoSize).save(file, "jpg", 90);
        return file;
    }();
    return path;
}

/// The same in Adobe RGB, lying on its side, with a thumbnail.
const QString& cameraPhotoPath()
{
    static const QTemporaryDir folder;
    static const QString path = [] {
        QString file = folder.filePath(QStringLiteral("camera.jpg"));
        QFile::copy(photoPath(), file);
        RKMetaData metaData{QFileInfo(file)};
        metaData.setIccData(QColorSpace(QColorSpace::AdobeRgb).iccProfile());
        metaData.setImageOrientation(ORIENTATION_RIGHT_TOP);
        QImage thumbnail(160, 107, QImage::Format_RGB32);
        thumbnail.fill(Qt::gray);
        metaData.setThumbnail(thumbnail);
        if (!metaData.save(QFileInfo(file)))
            qFatal("can't write a photograph");
        return file;
    }();
    return path;
}

QImage decodeBare(const QByteArray& bytes)
{
    QBuffer buffer;
    buffer.setData(bytes);
    buffer.open(QIODevice::ReadOnly);
    QImageReader reader(&buffer, "jpg");
    reader.setScaledSize(kPhotoSize.scaled(kWantedSize, Qt::KeepAspectRatio));
    return reader.read();
}

template <typename Work>
double seconds(const Work& work)
{
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

double median(std::vector<double> values)
{
    const auto middle = values.begin() + std::ptrdiff_t(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

/// Both in turns, so that a busy machine slows both; "ratio" is the library's time over Qt's.
void compareWithBareReader(benchmark::State& state, const QString& path, const QSize& wanted)
{
    QFile file(path);
    file.open(QIODevice::ReadOnly);
    const QByteArray bytes = file.readAll();
    const RKMediaDescriptor descriptor{QFileInfo(path)};
    std::vector<double> ours;
    std::vector<double> bare;
    for (auto _ : state) {
        ours.push_back(seconds([&] {
            benchmark::DoNotOptimize(
                RKImageLoader::instance()->drawable(descriptor, wanted, RKImageOption()));
        }));
        bare.push_back(seconds([&] { benchmark::DoNotOptimize(decodeBare(bytes)); }));
    }
    state.counters["ours_ms"] = median(ours) * 1e3;
    state.counters["bare_ms"] = median(bare) * 1e3;
    state.counters["ratio"] = median(ours) / median(bare);
}

void turnedAdobeRgbJpegAgainstBareReader(benchmark::State& state)
{
    compareWithBareReader(state, cameraPhotoPath(), kWantedSize.transposed());
}

/// With nothing known of the file, as for a folder that is opened.
void thumbnailOfJpeg(benchmark::State& state)
{
    const RKMediaDescriptor descriptor{QFileInfo(cameraPhotoPath())};
    for (auto _ : state) {
        RKImageLoader::instance()->clearMetaDataCache();
        benchmark::DoNotOptimize(
            RKImageLoader::instance()->drawable(descriptor, {160, 160}, RKImageOption()));
    }
}

void sizeOfJpeg(benchmark::State& state)
{
    const RKMediaDescriptor descriptor{QFileInfo(photoPath())};
    for (auto _ : state)
        benchmark::DoNotOptimize(RKImageLoader::instance()->size(descriptor));
}

} // namespace

BENCHMARK(turnedAdobeRgbJpegAgainstBareReader)->Unit(benchmark::kMillisecond)->Iterations(15);
BENCHMARK(thumbnailOfJpeg)->Unit(benchmark::kMillisecond);
BENCHMARK(sizeOfJpeg)->Unit(benchmark::kMicrosecond);

int main(int argc, char** argv)
{
    const QGuiApplication application(argc, argv);
    RKInitializer::instance()->setup(RKInitializerOption::Test);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
