// Converting photographs of 24 megapixels to sRGB, against Little CMS.
// RK_BENCHMARK_PHOTO may name a photograph to use instead of a made picture.

#include "Comparison.h"
#include "RKImageLoader/color/RKColorProfileConverter.h"
#include "RKImageLoader/metadata/RKMetaData.h"

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

/// Little CMS with its own way for 8 bits, into memory that is there already.
class Reference
{
public:
    Reference()
        : m_target(kPhotoSize, QImage::Format_RGB32)
    {
        m_target.fill(0);
        const QByteArray from = adobeRgb();
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

    QRgb operator()()
    {
        cmsDoTransform(m_transform,
            photo().constBits(),
            m_target.bits(),
            cmsUInt32Number(kPhotoSize.width() * kPhotoSize.height()));
        return m_target.pixel(0, 0);
    }

private:
    QImage m_target;
    cmsHTRANSFORM m_transform = nullptr;
};

void describe(benchmark::State& state)
{
    const double megapixels = kPhotoSize.width() * kPhotoSize.height() / 1e6;
    state.counters["MPix/s"] = megapixels * 1e3 / state.counters["ours_ms"].value;
    state.counters["colors"] = distinctColors(photo());
}

void knownProfileAgainstLittleCms(benchmark::State& state)
{
    RKMetaData metaData;
    metaData.setIccData(adobeRgb());
    RKColorProfileConverter converter;
    Reference reference;
    converter.convert(photo(), metaData);
    compare(
        state,
        [&] { return reference(); },
        [&] { return converter.convert(photo(), metaData).pixel(0, 0); });
    describe(state);
}

void newProfileAgainstLittleCms(benchmark::State& state)
{
    RKMetaData metaData;
    metaData.setIccData(adobeRgb());
    Reference reference;
    photo();
    compare(
        state,
        [&] { return reference(); },
        [&] { return RKColorProfileConverter().convert(photo(), metaData).pixel(0, 0); });
    describe(state);
}

} // namespace

BENCHMARK(knownProfileAgainstLittleCms)->Unit(benchmark::kMillisecond)->Iterations(7);
BENCHMARK(newProfileAgainstLittleCms)->Unit(benchmark::kMillisecond)->Iterations(7);
