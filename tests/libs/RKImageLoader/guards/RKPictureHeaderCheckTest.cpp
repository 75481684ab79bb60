#include "RKImageLoader/guards/RKImageLimits_p.h"
#include "RKImageLoader/guards/RKMngLoops_p.h"
#include "RKImageLoader/guards/RKPictureHeaderCheck_p.h"
#include "support/RKQuietTest.h"
#include "support/RKTestTiff.h"

#include <QBuffer>

namespace {

using Check = RKPictureHeaderCheck;

template <typename T>
QByteArray littleEndian(T value)
{
    return RKByteReader::bytesOf(value, QSysInfo::LittleEndian);
}

template <typename T>
QByteArray bigEndian(T value)
{
    return RKByteReader::bytesOf(value);
}

QByteArray padded(const QByteArray& header, qint64 size)
{
    return header + QByteArray(qsizetype(size - header.size()), 'x');
}

QByteArray png(int width, int height, int depth, int colorType)
{
    return QByteArray("\x89PNG\r\n\x1a\n\0\0\0\x0dIHDR", 16) + bigEndian(width) + bigEndian(height)
        + char(depth) + char(colorType) + QByteArray(7, '\0') + bigEndian(INT_MAX) + "IDAT";
}

QByteArray tiff(int width, int height, int bits, int compression, int samples = 3)
{
    const auto number = [](int value) { return QList<quint32>{quint32(value)}; };
    return QByteArray("MM\0*\0\0\0\x8", 8)
        + RKTestTiff::directory(8,
            {{256, RKTestTiff::kLong, number(width)},
                {257, RKTestTiff::kLong, number(height)},
                {258, RKTestTiff::kLong, number(bits)},
                {259, RKTestTiff::kLong, number(compression)},
                {277, RKTestTiff::kLong, number(bits == 1 ? 1 : samples)}},
            0,
            QSysInfo::BigEndian);
}

QByteArray bitmapHeader(int width, int height, int depth, int compression = 0)
{
    return littleEndian(40) + littleEndian(width) + littleEndian(height) + littleEndian(quint16(1))
        + littleEndian(quint16(depth)) + littleEndian(compression);
}

QByteArray bmp(int width, int height, int depth, int compression = 0)
{
    return "BM" + QByteArray(12, '\0') + bitmapHeader(width, height, depth, compression);
}

QByteArray icon(const QByteArray& picture)
{
    return QByteArray("\0\0\1\0\1\0", 6) + QByteArray(12, '\0') + littleEndian(22) + picture;
}

QByteArray jpeg(int frame, int scans = 1, int components = 1)
{
    const QByteArray scan("\xff\xda\0\x08\x01\x01\0\0\x3f\0\x12\xff\0\xff\xd0\x34", 16);
    return QByteArray("\xff\xd8\xff\xe1\0\x08\xff\xda\xff\xda\xff\xda", 12) + "\xff" + char(frame)
        + bigEndian(quint16(8 + 3 * components)) + QByteArray("\x08\0\x08\0\x08", 5)
        + char(components) + QByteArray("\x01\x11\0", 3).repeated(components) + scan.repeated(scans)
        + "\xff\xd9";
}

QByteArray mng(const QByteArray& chunk, int width, int height)
{
    return "\x8aMNG\r\n\x1a\n" + bigEndian(8) + chunk + bigEndian(width) + bigEndian(height)
        + QByteArray(4, '\0');
}

} // namespace

/// Which headers are believed. Every row has the shortest data that justify the size and the
/// longest that don't, by the best ratio of the format's compression.
class RKPictureHeaderCheckTest : public RKQuietTest
{
    Q_OBJECT

private Q_SLOTS:

    void sizeNeedsItsBytes()
    {
        // 100 megapixels: plain ones compress so well that no more can be asked for.
        constexpr int kSide = 10'000;
        const QSize large(kSide, kSide);
        const qint64 count = qint64(kSide) * kSide;
        const QSize small(100, 50);
        const QByteArray core = "BM" + QByteArray(12, '\0') + littleEndian(12)
            + littleEndian(quint16(100)) + littleEndian(quint16(50)) + littleEndian(quint16(1))
            + littleEndian(quint16(8));
        const QByteArray copy = bigEndian(0) + "CLON" + QByteArray(4, '\0');
        const QByteArray threefold = bigEndian(17) + "MAGN" + QByteArray(5, '\0')
            + bigEndian(quint16(1)).repeated(4) + bigEndian(quint16(3)) + bigEndian(quint16(1))
            + QByteArray(4, '\0');
        const std::tuple<QByteArray, QSize, qint64> cases[] = {
            {png(kSide, kSide, 8, 2), large, (3 * count + kSide) / 1032},
            {png(kSide, kSide, 16, 6), large, (8 * count + kSide) / 1032},
            {jpeg(0xc0), large, count / 512},
            {jpeg(0xc9), large, count / 65536}, // arithmetic coding
            {QByteArray("GIF89a\x08\0\x08\0", 10), large, count / 2730},
            {"RIFF", large, count / 16384},
            {"other", large, count / 65536},
            {tiff(5000, 5000, 8, 1), {5000, 5000}, 75'000'000},
            {tiff(kSide, kSide, 8, 5), large, 3 * count / 2730},
            {tiff(kSide, kSide, 8, 8), large, 3 * count / 1032},
            {tiff(kSide, kSide, 16, 32773), large, 6 * count / 64},
            {tiff(kSide, kSide * 10, 1, 4), {kSide, kSide * 10}, kSide * 10 / 8},
            {bmp(100, -50, 24), small, 300 * 49},
            {bmp(33, 500, 1), {33, 500}, 8 * 499},
            {core, small, 100 * 49},
            {bmp(kSide, kSide, 8, 1), large, count / 16256}, // run lengths
            {icon(bitmapHeader(100, 200, 32)), {100, 100}, 22 + 400 * 99},
            {icon(png(1000, 1000, 8, 6)), {256, 256}, 22 + 4'001'000 / 1032},
            {"P1\n", small, 5000},
            {"P2\n", small, 10000},
            {"P3\n", small, 30000},
            {"P4\n", small, 13 * 50},
            {"/* XPM */", small, 5000},
            {"#define", small, 2500},
            {mng("MHDR", kSide, kSide), {}, count / 1032},
            {mng("JHDR", 5000, 5000) + copy.repeated(3), {}, count / 1032},
            {mng("IHDR", 2500, 4000) + threefold, {}, count / 1032},
        };
        for (const auto& [header, size, bytes] : cases) {
            const QByteArray name = header.toPercentEncoding();
            QVERIFY2(Check::canHold(padded(header, bytes), size), name);
            QVERIFY2(!Check::canHold(padded(header, bytes - 1), size), name);
        }
    }

    void sizesHaveLimits()
    {
        const QByteArray scans = jpeg(0xc2, int(RKImageLimits::kMaxScans) + 1);
        const QByteArray screen = littleEndian(quint16(9000)) + littleEndian(quint16(9000));
        // Which sizes are accepted and refused.
        const std::tuple<QByteArray, QSize, QSize> cases[] = {
            // Small ones pass whatever their bytes.
            {jpeg(0xc0), {8192, 8192}, {8192, 8193}},
            {"GIF89a", {4096, 4096}, {4096, 4097}},
            {QByteArray(1 << 20, 'x'), {1 << 15, 1 << 15}, {1 << 15, (1 << 15) + 1}},
            {"II*", {}, {INT_MAX, INT_MAX}},
            // Large ones have few scans.
            {scans, {1024, 1024}, {8192, 8192}},
            {jpeg(0xc2, int(RKImageLimits::kMaxScans)), {8192, 8192}, {INT_MAX, 1}},
        };
        for (const auto& [data, accepted, refused] : cases) {
            QVERIFY2(Check::canHold(data, accepted), data.left(6).toHex());
            QVERIFY2(!Check::canHold(data, refused), data.left(6).toHex());
        }
        QVERIFY(!Check::canHold(jpeg(0xc2, 2000), QSize(1024, 1024)));
        // What the header says counts where it is larger than what was measured.
        for (const QByteArray& header :
            {QByteArray("GIF89a" + screen), png(-1, -1, 16, 6), bmp(INT_MAX, INT_MIN, 0)})
            QVERIFY(!Check::canHold(padded(header, 1000), QSize(8, 8)));
    }

    void wantedSmallerPicturesHaveLimits()
    {
        const QSize large(16384, 16384);
        const QSize medium(7000, 7000);
        const std::tuple<QByteArray, QSize, qint64, bool> cases[] = {
            // True colours are read and reduced row by row; beyond a second's work, large files
            // are.
            {png(16384, 16384, 8, 2), large, 1 << 20, true},
            {png(32768, 32768, 8, 2), {32768, 32768}, 4 << 20, false},
            {png(32768, 32768, 8, 2), {32768, 32768}, 50 << 20, true},
            {png(7000, 7000, 8, 0), medium, 1 << 18, true},
            {png(16384, 16384, 8, 0), large, 1 << 18, false},
            {png(16384, 16384, 8, 0), large, 1 << 21, true},
            {png(16384, 16384, 16, 6), large, 100 << 20, false},
            {png(16384, 16384, 1, 3), large, 1 << 16, true},
            {jpeg(0xc0), large, 1 << 20, true},
            {jpeg(0xc2), large, 1 << 20, false},
            {jpeg(0xc0, 1, 3), large, 1 << 20, false},
            {tiff(7000, 7000, 8, 8), medium, 1 << 18, false},
            {tiff(7000, 7000, 8, 8), medium, 1 << 21, true},
            {tiff(16384, 16384, 1, 4), large, 1 << 16, true},
            {"RIFF", {5000, 5000}, 1 << 16, true},
            {"RIFF", large, 100 << 20, false},
            {bmp(16384, 16384, 8, 1), large, 1 << 16, false},
        };
        for (const auto& [header, size, bytes, isAccepted] : cases) {
            const bool isReducible = Check::canBeReduced(padded(header, bytes), size);
            QVERIFY2(isReducible == isAccepted, header.toPercentEncoding());
        }
        for (const auto& [header, held] : {std::pair(png(99, 10, 1, 3), 130),
                 {png(99, 10, 8, 0), 990},
                 {png(99, 10, 16, 6), 7920},
                 {jpeg(0xc1, 1, 3), 5940},
                 {bmp(99, 10, 8), 990}})
            QCOMPARE(Check::wholeBytes(header, {99, 10}), qint64(held));
    }

    // libmng clears the canvas for each layer, and repeats what never shows a picture.
    void layersOnHugeCanvasesAndLoopsAreLeftOut()
    {
        for (const char* type :
            {"IHDR", "JHDR", "DHDR", "BASI", "FRAM", "SHOW", "CLON", "PAST", "LOOP", "TERM"})
        {
            const QByteArray file = mng("MHDR", 1 << 20, 1 << 20) + bigEndian(0) + type + "crc!";
            QVERIFY2(!RKMngLoops::removed(file).contains(type), type);
        }
    }

    void cutHeadersAreNoCrash()
    {
        for (const QByteArray& file : {png(8, 8, 8, 2),
                 bmp(8, 8, 24),
                 icon(bitmapHeader(8, 16, 32)),
                 icon(png(8, 8, 8, 2)),
                 jpeg(0xc2, 3),
                 mng("MHDR", 8, 8),
                 tiff(8, 8, 8, 1),
                 QByteArray("GIF89a\x08\0\x08\0", 10)})
        {
            for (qsizetype length = 0; length <= file.size(); ++length) {
                // A copy of its own, so that reading past the end is noticed.
                const QByteArray cut(file.constData(), length);
                Check::canHold(cut, QSize(8, 8));
                Check::canHold(cut, QSize());
                Check::canBeReduced(cut, QSize(8, 8));
            }
            QVERIFY(Check::canHold(file + QByteArray(1000, 'x'), QSize(8, 8)));
        }
    }

    // Decoders took a minute to measure a picture after 200 000 segments of 16 bytes.
    void segmentsBeforeThePictureHaveALimit()
    {
        for (const int excess : {0, 1}) {
            QByteArray jpeg = "\xff\xd8"
                + QByteArray("\xff\xe2\0\x02", 4).repeated(RKImageLimits::kMaxSegments + excess)
                + QByteArray("\xff\xda\0\x08", 4);
            QBuffer device(&jpeg);
            if (excess > 0)
                QTest::ignoreMessage(QtWarningMsg, "Picture refused: it has too many segments");
            QCOMPARE(Check::hasFewSegments(device), excess == 0);
        }
    }
};

QTEST_GUILESS_MAIN(RKPictureHeaderCheckTest)
#include "RKPictureHeaderCheckTest.moc"
