// Converting photographs to sRGB, of 24 megapixels through a profile that is known, and of the size
// of a screen through one that is new, against Little CMS.
// RK_BENCHMARK_PHOTO may name a photograph to use instead of a made picture.

#include "Comparison.h"
#include "RKImageLoader/color/RKColorProfileConverter.h"
#include "RKImageLoader/metadata/RKMetaData.h"
#include "support/RKTestProfiles.h"

#include <QFile>
#include <QRandomGenerator>

#include <benchmark/benchmark.h>
#include <lcms2.h>

#include <cmath>
#include <vector>

namespace {

constexpr QSize kPhotoSize(6000, 4000);

QByteArray profile(const char* name)
{
    QFile file(QStringLiteral(":") + QString::fromLatin1(name));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QByteArray adobeRgb()
{
    return profile("compatibleWithAdobeRGB1998.icc");
}

/// Soft shapes with the grain of a sensor: about a million colours.
const QImage& photo()
{
    static const QImage image = [] {
        const QString path = qEnvironmentVariable("RK_BENCHMARK_PHOTO");
        if (!path.isEmpty())
            return QImage(path)
                .scaled(kPhotoSize, Qt::IgnoreAspectRatio, Qt::SmoothTransformation)
                .convertToFormat(QImage::Format_RGB32);
        QImage made(kPhotoSize, QImage::Format_RGB32);
        QRandomGenerator random(7);
        for (int y = 0; y < made.height(); ++y) {
            auto* row = reinterpret_cast<QRgb*>(made.scanLine(y));
            for (int x = 0; x < made.width(); ++x) {
                const double light = 110 + 80 * std::sin(x / 700.0) * std::cos(y / 900.0);
                const double hue = 35 * std::sin((x + 2 * y) / 1100.0);
                const quint32 grain = random.generate();
                row[x] = qRgb(int(light + hue + (grain & 15)),
                    int(light + (grain >> 8 & 15)),
                    int(light - hue + (grain >> 16 & 15)));
            }
        }
        return made;
    }();
    return image;
}

double distinctColors(const QImage& image)
{
    std::vector<bool> seen(0x1000000);
    double count = 0;
    for (int y = 0; y < image.height(); ++y) {
        const auto* row = reinterpret_cast<const QRgb*>(image.constScanLine(y));
        for (int x = 0; x < image.width(); ++x) {
            if (!seen[row[x] & 0xffffff])
                ++count;
            seen[row[x] & 0xffffff] = true;
        }
    }
    return count;
}

/// Little CMS with its own way for 8 bits, as a plain user writes it.
class Reference
{
public:
    explicit Reference(const QByteArray& from)
    {
        const QByteArray to = profile("sRGB_Color_Space_Profile.icc");
        cmsHPROFILE source = cmsOpenProfileFromMem(from.constData(), cmsUInt32Number(from.size()));
        cmsHPROFILE target = cmsOpenProfileFromMem(to.constData(), cmsUInt32Number(to.size()));
        m_transform
            = cmsCreateTransform(source, TYPE_BGRA_8, target, TYPE_BGRA_8, INTENT_PERCEPTUAL, 0);
        cmsCloseProfile(source);
        cmsCloseProfile(target);
    }

    ~Reference()
    {
        cmsDeleteTransform(m_transform);
    }

    Reference(const Reference&) = delete;
    Reference& operator=(const Reference&) = delete;

    /// Into memory that is there already.
    QRgb operator()(const QImage& image, QImage& target) const
    {
        cmsDoTransform(m_transform,
            image.constBits(),
            target.bits(),
            cmsUInt32Number(image.width() * image.height()));
        return target.pixel(0, 0);
    }

private:
    cmsHTRANSFORM m_transform = nullptr;
};

QByteArray profileOf(const benchmark::State& state)
{
    return state.range(0) == 0 ? adobeRgb() : RKTestProfiles::rgbTable();
}

RKMetaData metaDataWith(const QByteArray& profile)
{
    RKMetaData metaData;
    metaData.setIccData(profile);
    return metaData;
}

void describe(benchmark::State& state, const QImage& image)
{
    const double megapixels = image.width() * image.height() / 1e6;
    state.counters["MPix/s"] = megapixels * 1e3 / state.counters["ours_ms"].value;
    state.counters["colors"] = distinctColors(image);
}

/// A picture that others share: the result is a new one.
void knownProfile(benchmark::State& state)
{
    const QByteArray icc = profileOf(state);
    const RKMetaData metaData = metaDataWith(icc);
    RKColorProfileConverter converter;
    const Reference reference(icc);
    QImage target = photo().copy();
    converter.convert(photo(), metaData);
    compare(
        state,
        [&] { return reference(photo(), target); },
        [&] { return converter.convert(photo(), metaData).pixel(0, 0); });
    describe(state, photo());
}

/// A picture that nobody shares, as the loader has it. Its colours wander from round to round.
void knownProfileInPlace(benchmark::State& state)
{
    const QByteArray icc = profileOf(state);
    const RKMetaData metaData = metaDataWith(icc);
    RKColorProfileConverter converter;
    const Reference reference(icc);
    QImage target = photo().copy();
    QImage image = photo().copy();
    converter.convert(photo(), metaData);
    compare(
        state,
        [&] { return reference(photo(), target); },
        [&] {
            image = converter.convert(std::move(image), metaData);
            return image.pixel(0, 0);
        });
    describe(state, photo());
}

/// The first picture of a profile, at the size of a screen; both sides set everything up.
void newProfile(benchmark::State& state)
{
    const QByteArray icc = profileOf(state);
    const RKMetaData metaData = metaDataWith(icc);
    const QImage image = photo().scaled(800, 600, Qt::IgnoreAspectRatio, Qt::FastTransformation);
    QImage target = image.copy();
    compare(
        state,
        [&] { return Reference(icc)(image, target); },
        [&] { return RKColorProfileConverter().convert(image, metaData).pixel(0, 0); });
    describe(state, image);
}

} // namespace

// 0: three curves and a matrix; 1: a table.
BENCHMARK(knownProfile)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->Iterations(7);
BENCHMARK(knownProfileInPlace)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->Iterations(7);
BENCHMARK(newProfile)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->Iterations(15);
