// Pictures of 24 megapixels through the library, for the screen and whole: against what Qt's reader
// needs for the same file, and against the bare codec for its bytes.

#include "Comparison.h"
#include "Photograph.h"
#include "RKImageLoader/loading/RKImageLoader.h"
#include "suite/BareCodec.h"

#include "RKCore/RKInitializer.h"

#include <QGuiApplication>
#include <QImageReader>
#include <QImageWriter>

#include <string>

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
void againstBareJpeg(benchmark::State& state, const QSize& wanted)
{
    const QString path = photoFile("jpg");
    const std::string nativePath = QFile::encodeName(path).toStdString();
    // None stands for the whole picture.
    const QSize sides = wanted.expandedTo({0, 0});
    compare(
        state,
        [&] { return BareCodec::jpeg(nativePath, sides.width(), sides.height()).width; },
        [&] { return decodeOurs(path, wanted); });
}

void jpegForScreenAgainstCodec(benchmark::State& state)
{
    againstBareJpeg(state, kScreen);
}

void wholeJpegAgainstCodec(benchmark::State& state)
{
    againstBareJpeg(state, {});
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
