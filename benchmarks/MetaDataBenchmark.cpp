// Reading and saving metadata against the least that exiv2 needs for it, and asking the cache.

#include "RKImageLoader/metadata/RKExiv2Wrapper.h"
#include "RKImageLoader/metadata/RKMetaDataCache.h"
#include "RKImageLoader/metadata/RKMetaDataField.h"
#include "RKImageLoader/metadata/exiv2/RKExiv2Compat_p.h"

#include <QBuffer>
#include <QColorSpace>
#include <QFile>
#include <QImage>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <memory>
#include <random>
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

/// A photograph of some 3 MB, most of which are pixels.
QByteArray photograph(int number)
{
    QImage noise(1600, 1200, QImage::Format_RGB32);
    std::mt19937 random(static_cast<unsigned>(number));
    for (int y = 0; y < noise.height(); ++y) {
        auto* row = reinterpret_cast<quint32*>(noise.scanLine(y));
        std::generate(row, row + noise.width(), std::ref(random));
    }
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    noise.save(&buffer, "JPEG", 90);
    const RKExiv2Wrapper metaData(picture(number));
    metaData.save(&buffer);
    return buffer.data();
}

bool saveWithLibrary(const QString& path, int rating)
{
    const QFileInfo file(path);
    RKMetaData metaData(file);
    metaData.setImageOrientation(RKImageOrientation(1 + rating));
    metaData.setAdobeRating(rating);
    metaData.write(RKMetaDataFieldEnum::originalFilename, QStringLiteral("Title %1").arg(rating));
    return metaData.save(file);
}

void flush(const QString& path, int flags)
{
    const int descriptor = ::open(QFile::encodeName(path).constData(), flags);
    ::fsync(descriptor);
    ::close(descriptor);
}

/// The same edits, with the same flushes.
void saveWithBareExiv2(const QString& path, int rating)
{
    const RKExiv2ImagePtr image = RKExiv2Compat::openFile(path.toStdString());
    image->readMetadata();
    const std::string title = "Title " + std::to_string(rating);
    Exiv2::ExifData& exif = image->exifData();
    exif["Exif.Image.Orientation"] = static_cast<uint16_t>(1 + rating);
    exif["Exif.Image.Rating"] = static_cast<uint16_t>(rating);
    exif["Exif.Image.RatingPercent"] = static_cast<uint16_t>(rating);
    image->iptcData()["Iptc.Application2.Caption"] = title;
    Exiv2::XmpData& xmp = image->xmpData();
    xmp["Xmp.tiff.Orientation"] = std::to_string(1 + rating);
    xmp["Xmp.xmp.Rating"] = std::to_string(rating);
    xmp["Xmp.MicrosoftPhoto.Rating"] = std::to_string(rating);
    xmp["Xmp.dc.title"] = title;
    image->writeMetadata();
    flush(path, O_RDWR);
    flush(QFileInfo(path).path(), O_RDONLY | O_DIRECTORY);
}

double processorSeconds()
{
    rusage usage = {};
    ::getrusage(RUSAGE_SELF, &usage);
    const auto seconds
        = [](const timeval& time) { return double(time.tv_sec) + double(time.tv_usec) / 1e6; };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

/// Orientation, rating and a title into each of 200 photographs, in turns with exiv2; processor
/// time.
void savingAgainstBareExiv2(benchmark::State& state)
{
    const QTemporaryDir folder;
    const auto path = [&folder](int number, const char* kind) {
        return folder.filePath(QStringLiteral("%1-%2.jpg").arg(QLatin1String(kind)).arg(number));
    };
    for (int i = 0; i < kPictures; ++i) {
        const QByteArray bytes = photograph(i % 20);
        for (const char* kind : {"ours", "bare"}) {
            QFile file(path(i, kind));
            file.open(QIODevice::WriteOnly);
            file.write(bytes);
        }
    }
    double ours = 0;
    double bare = 0;
    int rating = 0;
    for (auto _ : state) {
        rating = rating % 5 + 1;
        for (int i = 0; i < kPictures; ++i) {
            const double start = processorSeconds();
            if (!saveWithLibrary(path(i, "ours"), rating))
                state.SkipWithError("a save failed");
            const double middle = processorSeconds();
            saveWithBareExiv2(path(i, "bare"), rating);
            ours += middle - start;
            bare += processorSeconds() - middle;
        }
    }
    const double saves = double(state.iterations()) * kPictures;
    state.counters["ours_ms"] = ours * 1e3 / saves;
    state.counters["bare_ms"] = bare * 1e3 / saves;
    state.counters["ratio"] = ours / bare;
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
BENCHMARK(savingAgainstBareExiv2)->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(cacheHit);
BENCHMARK(cacheHitWithNewFileInfo);
