#include "RKImageLoader/color/RKColorProfileConverterImpl_p.h"
#include "RKImageLoader/color/RKEightBits_p.h"
#include "RKImageLoader/color/RKMatrixTransform_p.h"
#include "support/RKQuietTest.h"
#include "support/RKTestProfiles.h"
#include "support/RKTimeLimit.h"

#include <QColorSpace>

#include <IccCmm.h>

#include <vector>

namespace {

/// The engine for a profile, and the same without it.
struct Ways
{
    explicit Ways(const QByteArray& profile)
    {
        const RKColorProfileConverterImpl converter;
        auto source = converter.readProfileFromByteArray(profile);
        const CIccProfile copy = *source;
        if (converter.initCmm(&engine, std::move(source)))
            matrix = RKMatrixTransform::make(copy, *converter.sRGBProfile(), engine);
    }

    /// Whether they agree about every step-th colour that there is, and the plain way does.
    bool agree(quint32 step) const
    {
        constexpr quint32 kColors = 0x1000000;
        std::vector<QRgb> colors(kBatch);
        std::vector<QRgb> expected(kBatch);
        std::vector<QRgb> plain(kBatch);
        std::vector<float> channels(kBatch * 3);
        for (quint32 next = 0; next < kColors;) {
            for (quint32 i = 0; i < kBatch; ++i, next += step) {
                colors[i] = next % kColors;
                channels[i * 3] = float(colors[i] >> 16) / 255.0F;
                channels[i * 3 + 1] = float(colors[i] >> 8 & 255) / 255.0F;
                channels[i * 3 + 2] = float(colors[i] & 255) / 255.0F;
            }
            engine.Apply(channels.data(), channels.data(), kBatch);
            for (quint32 i = 0; i < kBatch; ++i)
                expected[i] = RKEightBits::rounded(&channels[i * 3]);
            matrix->convertPlainly(colors.data(), plain.data(), kBatch);
            matrix->convert(colors.data(), colors.data(), kBatch);
            if (colors != expected || plain != expected)
                return false;
        }
        return true;
    }

    static constexpr quint32 kBatch = 4096;
    CIccCmm engine{icSigUnknownData, icSigUnknownData, true};
    std::unique_ptr<const RKMatrixTransform> matrix;
};

} // namespace

class RKMatrixTransformTest : public RKQuietTest
{
    Q_OBJECT

private Q_SLOTS:

    void everyColorIsTheEngines()
    {
        // All of them for the first, but fewer with sanitizers.
        constexpr quint32 kAll = RKTimeLimit::kSanitizerFactor == 1 ? 1 : 61;
        const std::tuple<const char*, QByteArray, quint32> rows[] = {
            {"gamma", RKTestProfiles::rgb(563 / 256.), kAll},
            {"red and green exchanged", RKTestProfiles::rgb(1.8, true), 61},
            {"parametric", QColorSpace(QColorSpace::SRgb).iccProfile(), 61},
            {"linear", QColorSpace(QColorSpace::SRgbLinear).iccProfile(), 61},
            {"wide", QColorSpace(QColorSpace::ProPhotoRgb).iccProfile(), 61},
        };
        for (const auto& [name, profile, step] : rows) {
            const Ways ways(profile);
            QVERIFY2(ways.matrix, name);
            QVERIFY2(ways.agree(step), name);
        }
        QVERIFY(!Ways(RKTestProfiles::cmyk()).matrix);
    }

    void alphaStays()
    {
        QRgb pixels[] = {0x00123456, 0x80ffffff, 0xff000000};
        Ways(RKTestProfiles::rgb(2.2)).matrix->convert(pixels, pixels, 3);
        QCOMPARE(qAlpha(pixels[0]), 0);
        QCOMPARE(pixels[1], 0x80ffffff);
        QCOMPARE(pixels[2], 0xff000000);
    }

    void anotherTransformIsNotTakenForTheEngine()
    {
        const Ways ways(RKTestProfiles::rgb(2.2));
        const RKColorProfileConverterImpl converter;
        const auto other = converter.readProfileFromByteArray(RKTestProfiles::rgb(2.21));
        QVERIFY(!RKMatrixTransform::make(*other, *converter.sRGBProfile(), ways.engine));
    }
};

QTEST_GUILESS_MAIN(RKMatrixTransformTest)
#include "RKMatrixTransformTest.moc"
