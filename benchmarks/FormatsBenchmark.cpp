// Pictures of 24 megapixels through the library, for the screen and whole: against what Qt's reader
// needs for the same file, and against the bare codec for its bytes.

#include "Comparison.h"
#include "Photograph.h"
#include "RKImageLoader/loading/RKImageLoader.h"

#include "RKCore/RKInitializer.h"

#include <QGuiApplication>
#include <QImageReader>
#include <QImageWriter>

#include <cstdio>
#include <string>

#ifdef RK_HAS_LIBJPEG
#    include <jpeglib.h>
#endif

namespace {

constexpr QSize kSize(6000, 4000);
constexpr QSize kScreen(800, 600);

QString photoFile(const QByteArray& format)
{
    return cachedFile(QStringLiteral("photo-24mp.") + QLatin1String(format), [&](const auto& path) {
        QImageWriter writer(path, format);
        if (format == "jpg" || format == "webp")
            writer.setQuality(85);
        return writer.write(photograph(kSize));
    });
}

int decodeOurs(const QString& path, const QSize& wanted)
{
    RKImageLoader* const loader = RKImageLoader::instance();
    loader->clearMetaDataCache();
    return loader->drawable(RKMediaDescriptor{QFileInfo(path)}, wanted, RKImageOption())
        .image()
        .width();
}

int decodePlain(const QString& path, const QSize& wanted)
{
    QImageReader reader(path);
    if (wanted.isValid())
        reader.setScaledSize(kSize.scaled(wanted, Qt::KeepAspectRatio));
    return reader.read().width();
}

void againstPlainQt(benchmark::State& state, const QByteArray& format, const QSize& wanted)
{
    const QString path = photoFile(format);
    compare(
        state, [&] { return decodePlain(path, wanted); }, [&] { return decodeOurs(path, wanted); });
}

#ifdef RK_HAS_LIBJPEG
// The whole picture or, as Qt's reader does for the screen, a quarter of its sides.
int decodeBareJpeg(const QByteArray& bytes, unsigned denominator)
{
    jpeg_decompress_struct codec{};
    jpeg_error_mgr errors;
    codec.err = jpeg_std_error(&errors);
    jpeg_create_decompress(&codec);
    jpeg_mem_src(&codec, reinterpret_cast<const uchar*>(bytes.constData()), bytes.size());
    jpeg_read_header(&codec, TRUE);
    codec.out_color_space = JCS_EXT_BGRX;
    codec.scale_num = 1;
    codec.scale_denom = denominator;
    jpeg_start_decompress(&codec);
    QImage image(int(codec.output_width), int(codec.output_height), QImage::Format_RGB32);
    while (codec.output_scanline < codec.output_height) {
        uchar* row = image.scanLine(int(codec.output_scanline));
        jpeg_read_scanlines(&codec, &row, 1);
    }
    jpeg_finish_decompress(&codec);
    jpeg_destroy_decompress(&codec);
    return image.width();
}

void againstBareJpeg(benchmark::State& state, const QSize& wanted, unsigned denominator)
{
    const QString path = photoFile("jpg");
    QFile file(path);
    file.open(QIODevice::ReadOnly);
    const QByteArray bytes = file.readAll();
    compare(
        state,
        [&] { return decodeBareJpeg(bytes, denominator); },
        [&] { return decodeOurs(path, wanted); });
}

void jpegForScreenAgainstCodec(benchmark::State& state)
{
    againstBareJpeg(state, kScreen, 4);
}

void wholeJpegAgainstCodec(benchmark::State& state)
{
    againstBareJpeg(state, {}, 1);
}

BENCHMARK(jpegForScreenAgainstCodec)->Unit(benchmark::kMillisecond)->Iterations(15);
BENCHMARK(wholeJpegAgainstCodec)->Unit(benchmark::kMillisecond)->Iterations(7);
#endif

} // namespace

int main(int argc, char** argv)
{
    const QGuiApplication application(argc, argv);
    RKInitializer::instance()->setup(RKInitializerOption::Test);
    for (const std::string format : {"jpg", "png", "webp", "tif"}) {
        const auto add = [&](const std::string& name, const QSize& wanted) {
            const auto work = [format, wanted](benchmark::State& state) {
                againstPlainQt(state, QByteArray::fromStdString(format), wanted);
            };
            benchmark::RegisterBenchmark((name + format + "AgainstPlainQt").c_str(), work)
                ->Unit(benchmark::kMillisecond)
                ->Iterations(7);
        };
        add("screen/", kScreen);
        add("whole/", {});
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
