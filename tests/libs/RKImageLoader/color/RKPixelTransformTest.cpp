#include "RKImageLoader/color/RKPixelTransform_p.h"
#include "support/RKQuietTest.h"
#include "support/RKTestPictures.h"
#include "support/RKTestProfiles.h"

#include <array>
#include <vector>

using Source = RKPixelTransform::Source;

namespace {

QRgb converted(
    const std::optional<RKPixelTransform>& transform, const std::array<quint16, 4>& samples)
{
    QRgb pixel = 0;
    transform.value().convertRow(samples.data(), &pixel, 1);
    return pixel;
}

bool isNear(QRgb actual, QRgb expected)
{
    QImage images[]{QImage(1, 1, QImage::Format_ARGB32), QImage(1, 1, QImage::Format_ARGB32)};
    images[0].setPixel(0, 0, actual);
    images[1].setPixel(0, 0, expected);
    return RKTestPictures::difference(images[0], images[1]) <= 1;
}

} // namespace

class RKPixelTransformTest : public RKQuietTest
{
    Q_OBJECT

private Q_SLOTS:

    void pixelsComeOutInSrgb()
    {
        // Adobe RGB to sRGB by the published matrices and curves; pure green lies outside.
        const auto rgb
            = RKPixelTransform::fromProfile(RKTestProfiles::rgb(563 / 256.), Source::Rgb);
        QVERIFY(isNear(converted(rgb, {200 * 257, 100 * 257, 50 * 257}), 0xffe3642a));
        QVERIFY(isNear(converted(rgb, {0, 65535, 0}), 0xff00ff00));

        const auto linear = RKPixelTransform::fromProfile(RKTestProfiles::rgb(1.0), Source::Rgb);
        QVERIFY(isNear(converted(linear, {65, 65, 65}), 0xff030303));

        const auto cmyk = RKPixelTransform::fromProfile(RKTestProfiles::cmyk(), Source::Cmyk);
        QVERIFY(isNear(converted(cmyk, {0, 0, 0, 0}), 0xffffffff));
        QVERIFY(isNear(converted(cmyk, {0, 0, 0, 32768}), 0xff777777));

        const auto grey = RKPixelTransform::fromProfile(RKTestProfiles::grey(1.0), Source::Gray);
        QVERIFY(isNear(converted(grey, {32768}), 0xffbcbcbc));
        QVERIFY(isNear(converted(grey, {65}), 0xff030303));
    }

    void rowsOfAnyLengthAndDepthAgree()
    {
        const auto transform = RKPixelTransform::fromProfile(RKTestProfiles::rgb(1.8), Source::Rgb);
        // Longer than a block; the last sample alone has 16 bits.
        std::vector<quint16> samples(3 * 1001);
        for (size_t i = 0; i < samples.size(); ++i)
            samples[i] = quint16((70 + i % 120) * 257);
        samples.back() = quint16(samples.back() + 1);
        std::vector<QRgb> row(1002, 42);
        transform.value().convertRow(samples.data(), row.data(), 1001);
        for (size_t i = 0; i < 1001; ++i) {
            QRgb alone = 0;
            transform.value().convertRow(&samples[3 * i], &alone, 1);
            QVERIFY(isNear(row[i], alone));
        }
        QCOMPARE(row[1001], QRgb(42));
    }

    void unusableProfilesGiveNothing()
    {
        const QByteArray rgb = RKTestProfiles::rgb(2.2);
        QVERIFY(!RKPixelTransform::fromProfile(QByteArray(), Source::Rgb));
        QVERIFY(!RKPixelTransform::fromProfile(rgb.chopped(1), Source::Rgb));
        QVERIFY(!RKPixelTransform::fromProfile(rgb, Source::Cmyk));
    }
};

QTEST_GUILESS_MAIN(RKPixelTransformTest)
#include "RKPixelTransformTest.moc"
