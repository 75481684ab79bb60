#pragma once

#include "support/RKTestPictures.h"
#include "support/RKTestTiff.h"

#include <QImage>

#include <array>

/// Writes raw files in Adobe's DNG 1.4, uncompressed, of a camera that sees what sRGB shows.
struct RKTestDng
{
    static constexpr quint32 kPixels = 4096;

    /// What the sensor sees, in the order of the sensor's rows.
    QImage scene;
    int orientation = 1;
    /// May be null.
    QImage preview = {};
    /// Marked as Adobe RGB (1998).
    bool isAdobeRgb = false;
    /// An ICC profile; may be empty.
    QByteArray profile = {};
    /// Rows and columns at every edge of the sensor that are no part of the picture.
    int margin = 0;
    /// Where the preview is said to begin, if not where it does.
    quint32 previewPlace = kPixels;

    QByteArray bytes() const
    {
        // The preview is in the first directory, the sensor's picture in one of its own. Every
        // directory's values lie behind it.
        const QByteArray jpeg
            = preview.isNull() ? QByteArray() : RKTestPictures::encoded(preview, "jpg", 95);
        const auto jpegSize = quint32(jpeg.size());
        const Values preview3x8{8, 8, 8};
        using namespace RKTestTiff;
        Directory first{{0x00fe, kLong, {1}},
            {0x0100, kLong, {quint32(preview.width())}},
            {0x0101, kLong, {quint32(preview.height())}},
            {0x0102, kShort, preview3x8},
            {0x0103, kShort, {7}},
            {0x0106, kShort, {6}},
            {0x010f, kText, {'C', 'a', 'm', 0}},
            {0x0110, kText, {'C', 'a', 'm', 0}},
            {0x0111, kLong, {previewPlace}},
            {0x0112, kShort, {quint32(orientation)}},
            {0x0115, kShort, {3}},
            {0x0117, kLong, {jpegSize}},
            {0x014a, kLong, {kRaw}},
            {0x8769, kLong, {kExif}},
            {0x8773, kByte, Values(profile.begin(), profile.end())},
            {0xc612, kByte, {1, 4, 0, 0}},
            // From XYZ to linear sRGB (IEC 61966-2-1), in ten thousandths.
            {0xc621,
                kSignedRational,
                rationals({32406, -15372, -4986, -9689, 18758, 415, 557, -2040, 10570})},
            {0xc628, kRational, {1, 1, 1, 1, 1, 1}}};
        first.removeIf([](const Entry& entry) { return entry.values.isEmpty(); });
        const auto width = quint32(scene.width());
        const auto height = quint32(scene.height());
        const Directory raw{{0x00fe, kLong, {0}},
            {0x0100, kLong, {width}},
            {0x0101, kLong, {height}},
            {0x0102, kShort, {16}},
            {0x0103, kShort, {1}},
            {0x0106, kShort, {32803}},
            {0x0111, kLong, {kPixels + jpegSize}},
            {0x0115, kShort, {1}},
            {0x0116, kLong, {height}},
            {0x0117, kLong, {width * height * 2}},
            {0x828d, kShort, {2, 2}},
            {0x828e, kByte, {0, 1, 1, 2}},
            {0xc61d, kLong, {65535}},
            {0xc68d,
                kLong,
                {quint32(margin),
                    quint32(margin),
                    height - quint32(margin),
                    width - quint32(margin)}}};
        QByteArray file = QByteArray("II\x2a\0\x08\0\0\0", 8) + QByteArray(kPixels - 8, 0);
        write(file, 8, first);
        write(file, kRaw, raw);
        write(file, kExif, {{0xa005, kLong, {kInterop}}});
        if (isAdobeRgb)
            write(file, kInterop, {{0x0001, kText, {'R', '0', '3', 0}}});
        return file + jpeg + sensorRows();
    }

private:
    using Values = QList<quint32>;

    static constexpr quint32 kRaw = 2048;
    static constexpr quint32 kExif = 3072;
    static constexpr quint32 kInterop = 3584;

    static Values rationals(std::initializer_list<int> numerators)
    {
        Values values;
        for (const int numerator : numerators)
            values << quint32(numerator) << 10000;
        return values;
    }

    // Every sample is one colour of the scene, red and green in even rows, green and blue in odd.
    QByteArray sensorRows() const
    {
        QByteArray rows;
        rows.reserve(qsizetype(scene.width()) * scene.height() * 2);
        for (int y = 0; y < scene.height(); ++y) {
            const auto* const row = reinterpret_cast<const QRgb*>(scene.constScanLine(y));
            for (int x = 0; x < scene.width(); ++x) {
                const std::array<int, 3> colors{qRed(row[x]), qGreen(row[x]), qBlue(row[x])};
                rows += RKByteReader::bytesOf(
                    quint16(colors[size_t(x % 2 + y % 2)] * 257), QSysInfo::LittleEndian);
            }
        }
        return rows;
    }

    static void write(QByteArray& file, qsizetype place, const RKTestTiff::Directory& directory)
    {
        const QByteArray bytes = RKTestTiff::directory(quint32(place), directory);
        file.replace(place, bytes.size(), bytes);
    }
};
