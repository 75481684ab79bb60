// Reading metadata against the least that exiv2 needs for it, and asking the cache.

#include "RKImageLoader/metadata/RKMetaDataCache.h"
#include "RKImageLoader/metadata/RKMetaDataField.h"
#include "RKImageLoader/metadata/exiv2/RKExiv2Compat_p.h"

#include <QBuffer>
#include <QColorSpace>
#include <QFile>
#include <QImage>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <vector>

namespace {

constexpr int kPictures = 200;

/// A picture with what a camera and a photo application write: Exif with a thumbnail, IPTC, XMP,
/// a profile.
QByteArray picture(int number)
{
    QImage image(640, 480, QImage::Format_RGB32);
    image.fill(QColor::fromHsv(number % 360, 200, 200));
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "JPEG");

    RKMetaData metaData;
    metaData.setImageOrientation(RKImageOrientation(1 + number % 8));
    metaData.setPictureTaken(QDateTime(QDate(2021, 7, 4), QTime(12, 30)).addSecs(number));
    metaData.setGeoPosition(RKGeoPosition(48.858222 + number / 1000.0, 2.2945));
    metaData.setAdobeRating(number % 6);
    metaData.setTamoRating(number % 6);
    metaData.setFlashUsed(number % 2 == 0);
    metaData.setDigitalZoomRatio(1.5);
    for (const auto field : {RKMetaDataFieldEnum::originalFilename,
             RKMetaDataFieldEnum::exifImageDescription,
             RKMetaDataFieldEnum::keywords,
             RKMetaDataFieldEnum::copyright,
             RKMetaDataFieldEnum::author,
             RKMetaDataFieldEnum::exifMake,
             RKMetaDataFieldEnum::exifModel})
        metaData.write(field, QStringLiteral("Text number %1").arg(number));
    metaData.setThumbnail(image.scaled(160, 120));
    metaData.setIccData(QColorSpace(QColorSpace::SRgb).iccProfile());
    metaData.save(&buffer);
    return buffer.data();
}

void readBare(const QByteArray& bytes)
{
    const RKExiv2ImagePtr image = RKExiv2Compat::openMemory(bytes);
    image->readMetadata();
    const Exiv2::ExifData exif = image->exifData();
    const Exiv2::IptcData iptc = image->iptcData();
    const Exiv2::XmpData xmp = image->xmpData();
    benchmark::DoNotOptimize(exif.count() + iptc.count() + xmp.count());
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

/// Both in turns, so that a busy machine slows both; "ratio" is the library's time over exiv2's.
void readingAgainstBareExiv2(benchmark::State& state)
{
    std::vector<QByteArray> pictures;
    for (int i = 0; i < kPictures; ++i)
        pictures.push_back(picture(i));
    const QFileInfo file(QStringLiteral("picture.jpg"));
    std::vector<double> ours;
    std::vector<double> bare;
    for (auto _ : state) {
        ours.push_back(seconds([&] {
            for (const QByteArray& bytes : pictures)
                benchmark::DoNotOptimize(RKMetaData(file, bytes).unrotatedSize());
        }));
        bare.push_back(seconds([&] { std::for_each(pictures.begin(), pictures.end(), readBare); }));
    }
    state.counters["ours_us"] = median(ours) * 1e6 / kPictures;
    state.counters["bare_us"] = median(bare) * 1e6 / kPictures;
    state.counters["ratio"] = median(ours) / median(bare);
}

struct CachedFile
{
    QTemporaryDir folder;
    QString path = folder.filePath(QStringLiteral("picture.jpg"));
    RKMetaDataCache cache;

    CachedFile()
    {
        QFile file(path);
        file.open(QIODevice::WriteOnly);
        file.write(picture(1));
        file.close();
        cache.metaDataValue(QFileInfo(path));
    }
};

void cacheHit(benchmark::State& state)
{
    CachedFile cached;
    const QFileInfo file(cached.path);
    for (auto _ : state)
        benchmark::DoNotOptimize(cached.cache.metaDataValue(file));
    state.SetItemsProcessed(state.iterations());
}

/// A new file information each time, which asks the file system whether the file exists.
void cacheHitWithNewFileInfo(benchmark::State& state)
{
    CachedFile cached;
    for (auto _ : state)
        benchmark::DoNotOptimize(cached.cache.metaDataValue(QFileInfo(cached.path)));
    state.SetItemsProcessed(state.iterations());
}

} // namespace

BENCHMARK(readingAgainstBareExiv2)->Unit(benchmark::kMillisecond)->Iterations(15);
BENCHMARK(cacheHit);
BENCHMARK(cacheHitWithNewFileInfo);
