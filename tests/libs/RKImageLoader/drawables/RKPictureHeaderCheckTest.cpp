#include "RKImageLoader/drawables/RKPictureHeaderCheck_p.h"

#include <QTest>
#include <QtEndian>

namespace {

using Check = RKPictureHeaderCheck;

template <typename T>
QByteArray littleEndian(T value)
{
    QByteArray bytes(sizeof(T), '\0');
    qToLittleEndian(value, bytes.data());
    return bytes;
}

template <typename T>
QByteArray bigEndian(T value)
{
    QByteArray bytes(sizeof(T), '\0');
    qToBigEndian(value, bytes.data());
    return bytes;
}

QByteArray padded(const QByteArray& header, qint64 size)
{
    return header + QByteArray(qsizetype(size - header.size()), 'x');
}

QByteArray png(int width, int height, int depth, int colorType)
{
    return QByteArray("\x89PNG\r\n\x1a\n\0\0\0\x0dIHDR", 16) + bigEndian(width) + bigEndian(height)
        + char(depth) + char(colorType) + QByteArray(3, '\0');
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

QByteArray jpeg(int frame, int scans = 1)
{
    const QByteArray scan("\xff\xda\0\x04\0\0\x12\xff\0\xff\xd0\x34", 12);
    return QByteArray("\xff\xd8\xff\xe1\0\x08\xff\xda\xff\xda\xff\xda", 12) + "\xff" + char(frame)
        + QByteArray("\0\x04\0\0", 4) + scan.repeated(scans) + "\xff\xd9";
}

QByteArray mng(const QByteArray& chunk, int width, int height)
{
    return "\x8aMNG\r\n\x1a\n" + bigEndian(8) + chunk + bigEndian(width) + bigEndian(height)
        + QByteArray(4, '\0');
}

} // namespace

/// Which headers are believed. Every row has the shortest data that justify the size and the
/// longest that don't, by the best ratio of the format's compression.
class RKPictureHeaderCheckTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void sizeNeedsItsBytes_data();
    void sizeNeedsItsBytes();
    void smallPicturesAndUnknownSizesPass();
    void onePixelTooManyIsRefused();
    void jpegScansAreLimitedForLargePictures();
    void cutHeadersAreNoCrash();
};

void RKPictureHeaderCheckTest::sizeNeedsItsBytes_data()
{
    QTest::addColumn<QByteArray>("header");
    QTest::addColumn<QSize>("size");
    QTest::addColumn<qint64>("bytes");

    // 100 megapixels: plain ones compress so well that no more can be asked for.
    const QSize large(10'000, 10'000);
    const qint64 count = 100'000'000;

    QTest::newRow("PNG, 24 bits") << png(10'000, 10'000, 8, 2) << large
                                  << (3 * count + 10'000) / 1032;
    QTest::newRow("PNG, 1 bit") << png(10'000, 10'000, 1, 3) << large
                                << (count / 8 + 10'000) / 1032;
    QTest::newRow("PNG, 64 bits") << png(10'000, 10'000, 16, 6) << large
                                  << (8 * count + 10'000) / 1032;
    QTest::newRow("JPEG") << jpeg(0xc0) << large << count / 512;
    QTest::newRow("progressive JPEG") << jpeg(0xc2, 10) << large << count / 512;
    QTest::newRow("arithmetic JPEG") << jpeg(0xc9) << large << count / 65536;
    QTest::newRow("GIF") << QByteArray("GIF89a\x08\0\x08\0", 10) << large << count / 2730;
    QTest::newRow("WebP") << QByteArray("RIFF") << large << count / 16384;
    QTest::newRow("TIFF") << QByteArray("II*") << large << count / 65536;
    QTest::newRow("HEIC") << QByteArray("\0\0\0\x18"
                                        "ftypheic",
        12) << large << count / 65536;
    QTest::newRow("BMP, 24 bits") << bmp(100, -50, 24) << QSize(100, 50) << qint64(300 * 49);
    QTest::newRow("BMP, 1 bit") << bmp(33, 500, 1) << QSize(33, 500) << qint64(8 * 499);
    QTest::newRow("BMP, core header")
        << "BM" + QByteArray(12, '\0') + littleEndian(12) + littleEndian(quint16(100))
            + littleEndian(quint16(50)) + littleEndian(quint16(1)) + littleEndian(quint16(8))
        << QSize(100, 50) << qint64(100 * 49);
    QTest::newRow("BMP, run lengths") << bmp(10'000, 10'000, 8, 1) << large << count / 16256;
    QTest::newRow("icon with bitmap")
        << icon(bitmapHeader(100, 200, 32)) << QSize(100, 100) << qint64(22 + 400 * 99);
    QTest::newRow("icon with PNG")
        << icon(png(1000, 1000, 8, 6)) << QSize(256, 256) << qint64(22 + 4'001'000 / 1032);
    QTest::newRow("binary PGM") << QByteArray("P5\n") << QSize(100, 50) << qint64(5000);
    QTest::newRow("text PPM") << QByteArray("P3\n") << QSize(100, 50) << qint64(30000);
    QTest::newRow("binary PBM") << QByteArray("P4\n") << QSize(100, 50) << qint64(13 * 50);
    QTest::newRow("XPM") << QByteArray("/* XPM */") << QSize(100, 50) << qint64(5000);
    QTest::newRow("XBM") << QByteArray("#define") << QSize(100, 50) << qint64(2500);
    QTest::newRow("MNG") << mng("MHDR", 10'000, 10'000) << QSize(-1, -1) << count / 1032;
    QTest::newRow("MNG, object") << mng("IHDR", 10'000, 10'000) << QSize(-1, -1) << count / 1032;
    const QByteArray copy = bigEndian(0) + "CLON" + QByteArray(4, '\0');
    QTest::newRow("MNG, copies") << mng("IHDR", 5000, 5000) + copy.repeated(3) << QSize(-1, -1)
                                 << count / 1032;
    const QByteArray factor = bigEndian(17) + "MAGN" + QByteArray(5, '\0')
        + bigEndian(quint16(1)).repeated(4) + bigEndian(quint16(3)) + bigEndian(quint16(1))
        + QByteArray(4, '\0');
    QTest::newRow("MNG, magnified")
        << mng("IHDR", 2500, 4000) + factor << QSize(-1, -1) << count / 1032;
}

void RKPictureHeaderCheckTest::sizeNeedsItsBytes()
{
    QFETCH(QByteArray, header);
    QFETCH(QSize, size);
    QFETCH(qint64, bytes);

    QVERIFY(Check::canHold(padded(header, bytes), size));
    QVERIFY(!Check::canHold(padded(header, bytes - 1), size));
}

void RKPictureHeaderCheckTest::smallPicturesAndUnknownSizesPass()
{
    const QSize camera(8192, 8192);
    QVERIFY(Check::canHold(jpeg(0xc0), camera));
    QVERIFY(!Check::canHold(jpeg(0xc0), camera + QSize(0, 1)));
    const QSize graphic(4096, 4096);
    QVERIFY(Check::canHold("GIF89a", graphic));
    QVERIFY(!Check::canHold("GIF89a", graphic + QSize(0, 1)));
    // The canvas counts where it is larger than the frames.
    QVERIFY(!Check::canHold(
        "GIF89a" + littleEndian(quint16(9000)) + littleEndian(quint16(9000)), QSize(1, 1)));

    QVERIFY(Check::canHold("II*", QSize()));
    QVERIFY(Check::canHold({}, QSize()));
}

void RKPictureHeaderCheckTest::onePixelTooManyIsRefused()
{
    const QByteArray data(1 << 20, 'x');
    QVERIFY(Check::canHold(data, QSize(1 << 15, 1 << 15)));
    QVERIFY(!Check::canHold(data, QSize(1 << 15, (1 << 15) + 1)));
    QVERIFY(!Check::canHold(data, QSize(INT_MAX, INT_MAX)));
    QVERIFY(!Check::canHold(padded(png(-1, -1, 16, 6), 1000), QSize(8, 8)));
    QVERIFY(!Check::canHold(padded(bmp(INT_MAX, INT_MIN, 0), 1000), QSize(8, 8)));
}

void RKPictureHeaderCheckTest::jpegScansAreLimitedForLargePictures()
{
    const QSize large(4096, 4096);
    QVERIFY(Check::canHold(jpeg(0xc2, Check::kMaxJpegScans), large));
    QVERIFY(!Check::canHold(jpeg(0xc2, Check::kMaxJpegScans + 1), large));
    QVERIFY(Check::canHold(jpeg(0xc2, Check::kMaxJpegScans + 1), large / 4));
    QVERIFY(!Check::canHold(jpeg(0xc2, 2000), large / 4));
}

void RKPictureHeaderCheckTest::cutHeadersAreNoCrash()
{
    const QList<QByteArray> files{png(8, 8, 8, 2),
        bmp(8, 8, 24),
        icon(bitmapHeader(8, 16, 32)),
        icon(png(8, 8, 8, 2)),
        jpeg(0xc2, 3),
        mng("MHDR", 8, 8),
        QByteArray("GIF89a\x08\0\x08\0", 10),
        "P5\n8 8"};
    for (const QByteArray& file : files) {
        for (qsizetype length = 0; length <= file.size(); ++length) {
            // A copy of its own, so that reading past the end is noticed.
            const QByteArray cut(file.constData(), length);
            Check::canHold(cut, QSize(8, 8));
            Check::canHold(cut, QSize());
        }
        QVERIFY2(Check::canHold(file + QByteArray(1000, 'x'), QSize(8, 8)), file.constData());
    }
}

QTEST_GUILESS_MAIN(RKPictureHeaderCheckTest)
#include "RKPictureHeaderCheckTest.moc"
