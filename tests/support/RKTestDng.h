#pragma once

#include <QByteArray>
#include <QImage>
#include <QList>
#include <QtEndian>

#include <array>

/// Writes raw files in Adobe's DNG 1.4, uncompressed, of a camera that sees what sRGB shows.
struct RKTestDng
{
    /// What the sensor sees, in the order of the sensor's rows.
    QImage scene;
    int orientation = 1;
    /// A JPEG file; may be empty.
    QByteArray preview = {};
    QSize previewSize{1, 1};
    /// Marked as Adobe RGB (1998).
    bool isAdobeRgb = false;

    QByteArray bytes() const
    {
        // The previews are in the first directory, the sensor's picture in one of its own. Every
        // directory's values lie behind it.
        QByteArray file("II\x2a\0\x08\0\0\0", 8);
        const qsizetype places = 2 * 4096;
        file.resize(places, 0);
        const quint32 previewOffset = append(file, preview);
        const quint32 rawOffset = append(file, sensorRows());
        const Directory exif{{0xa005, 4, 1, longs({kInterop})}};
        Directory first{{0x00fe, 4, 1, longs({1})},
            {0x0100, 4, 1, longs({quint32(previewSize.width())})},
            {0x0101, 4, 1, longs({quint32(previewSize.height())})},
            {0x0102, 3, 3, shorts({8, 8, 8})},
            {0x0103, 3, 1, shorts({7})},
            {0x0106, 3, 1, shorts({6})},
            {0x010f, 2, 4, "Cam"},
            {0x0110, 2, 4, "Cam"},
            {0x0111, 4, 1, longs({previewOffset})},
            {0x0112, 3, 1, shorts({quint16(orientation)})},
            {0x0115, 3, 1, shorts({3})},
            {0x0117, 4, 1, longs({quint32(preview.size())})},
            {0x014a, 4, 1, longs({kRaw})},
            {0xc612, 1, 4, QByteArray("\1\4\0\0", 4)},
            {0xc614, 2, 4, "Cam"},
            {0xc621, 10, 9, matrix()},
            {0xc628, 5, 3, longs({1, 1, 1, 1, 1, 1})}};
        if (isAdobeRgb)
            first.insert(13, {0x8769, 4, 1, longs({kExif})});
        const Directory raw{{0x00fe, 4, 1, longs({0})},
            {0x0100, 4, 1, longs({quint32(scene.width())})},
            {0x0101, 4, 1, longs({quint32(scene.height())})},
            {0x0102, 3, 1, shorts({16})},
            {0x0103, 3, 1, shorts({1})},
            {0x0106, 3, 1, shorts({32803})},
            {0x0111, 4, 1, longs({rawOffset})},
            {0x0115, 3, 1, shorts({1})},
            {0x0116, 4, 1, longs({quint32(scene.height())})},
            {0x0117, 4, 1, longs({quint32(scene.width() * scene.height() * 2)})},
            {0x828d, 3, 2, shorts({2, 2})},
            {0x828e, 1, 4, QByteArray("\0\1\1\2", 4)},
            {0xc61d, 4, 1, longs({65535})}};
        write(file, 8, first);
        write(file, kRaw, raw);
        write(file, kExif, exif);
        write(file, kInterop, {{0x0001, 2, 4, "R03"}});
        return file;
    }

private:
    struct Entry
    {
        quint16 tag;
        quint16 type;
        quint32 count;
        QByteArray value;
    };

    using Directory = QList<Entry>;

    static constexpr quint32 kRaw = 2048;
    static constexpr quint32 kExif = 4096;
    static constexpr quint32 kInterop = 6144;

    static QByteArray shorts(std::initializer_list<quint16> values)
    {
        QByteArray bytes;
        for (const quint16 value : values)
            bytes += number(value);
        return bytes;
    }

    static QByteArray longs(std::initializer_list<quint32> values)
    {
        QByteArray bytes;
        for (const quint32 value : values)
            bytes += number(value);
        return bytes;
    }

    template <typename Number>
    static QByteArray number(Number value)
    {
        const Number swapped = qToLittleEndian(value);
        return QByteArray(reinterpret_cast<const char*>(&swapped), sizeof(Number));
    }

    // From XYZ to linear sRGB (IEC 61966-2-1).
    static QByteArray matrix()
    {
        QByteArray bytes;
        for (const int value : {32406, -15372, -4986, -9689, 18758, 415, 557, -2040, 10570})
            bytes += number(qint32(value)) + number(qint32(10000));
        return bytes;
    }

    static quint32 append(QByteArray& file, const QByteArray& bytes)
    {
        const auto offset = quint32(file.size());
        file += bytes + QByteArray(bytes.size() % 2, 0);
        return offset;
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
                rows += number(quint16(colors[size_t(x % 2 + y % 2)] * 257));
            }
        }
        return rows;
    }

    static void write(QByteArray& file, qsizetype place, const Directory& directory)
    {
        QByteArray entries = number(quint16(directory.size()));
        qsizetype valuePlace = place + 2 + 12 * directory.size() + 4;
        for (const Entry& entry : directory) {
            entries += number(entry.tag) + number(entry.type) + number(entry.count);
            if (entry.value.size() <= 4) {
                entries += entry.value.leftJustified(4, '\0');
                continue;
            }
            entries += number(quint32(valuePlace));
            file.replace(valuePlace, entry.value.size(), entry.value);
            valuePlace += entry.value.size() + entry.value.size() % 2;
        }
        entries += QByteArray(4, 0); // no further directory
        file.replace(place, entries.size(), entries);
    }
};
