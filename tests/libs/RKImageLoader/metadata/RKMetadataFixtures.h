#pragma once

#include "RKImageLoader/metadata/RKExiv2Compat.h"
#include "RKImageLoader/metadata/RKExiv2Library.h"

#include <QBuffer>
#include <QByteArray>
#include <QImage>
#include <QtEndian>

/// Image files made in memory, with metadata written by exiv2 itself. For one thread.
namespace RKMetadataFixtures {

/// A picture whose pixels all differ from their neighbours.
inline QImage picture(const QSize& size)
{
    QImage image(size, QImage::Format_RGB32);
    for (int y = 0; y < size.height(); ++y) {
        for (int x = 0; x < size.width(); ++x)
            image.setPixel(x, y, qRgb(x * 5 % 256, y * 7 % 256, (x + y) * 3 % 256));
    }
    return image;
}

inline QByteArray imageFile(const char* format, const QSize& size = {48, 32})
{
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    picture(size).save(&buffer, format);
    return bytes;
}

/// An opened image with its metadata read. The bytes have to outlive it.
inline RKExiv2ImagePtr open(const QByteArray& bytes)
{
    RKExiv2Library::initialize();
    RKExiv2ImagePtr image = RKExiv2Compat::openMemory(bytes);
    image->readMetadata();
    return image;
}

/// The bytes of an image after its metadata were written.
inline QByteArray write(Exiv2::Image& image)
{
    image.writeMetadata();
    Exiv2::BasicIo& io = image.io();
    io.open();
    io.seek(0, Exiv2::BasicIo::beg);
    return RKExiv2Compat::toByteArray(io.read(io.size()));
}

/// The file with other metadata: the function gets the opened image and sets them.
template <typename Function>
QByteArray withMetadata(const QByteArray& file, Function setMetadata)
{
    // exiv2 changes the bytes of TIFF files in place.
    const QByteArray copy(file.constData(), file.size());
    const RKExiv2ImagePtr image = open(copy);
    setMetadata(*image);
    return write(*image);
}

/// A grey TIFF of several pages, little-endian, 4x3 pixels each; every page has its own shade.
inline QByteArray tiffOfPages(int pages)
{
    constexpr quint16 kShort = 3;
    constexpr quint16 kLong = 4;
    QByteArray file("II*\0\0\0\0\0", 8);
    const auto append16 = [&file](quint16 value) {
        value = qToLittleEndian(value);
        file.append(reinterpret_cast<const char*>(&value), sizeof value);
    };
    const auto append32 = [&file](quint32 value) {
        value = qToLittleEndian(value);
        file.append(reinterpret_cast<const char*>(&value), sizeof value);
    };
    qsizetype placeOfNext = 4;
    for (int page = 0; page < pages; ++page) {
        const auto pixels = static_cast<quint32>(file.size());
        file.append(QByteArray(12, static_cast<char>(page + 1)));
        qToLittleEndian(static_cast<quint32>(file.size()), file.data() + placeOfNext);

        struct Entry
        {
            quint16 tag;
            quint16 type;
            quint32 value;
        };

        const QList<Entry> entries{{256, kShort, 4},
            {257, kShort, 3},
            {258, kShort, 8},
            {259, kShort, 1},
            {262, kShort, 1},
            {273, kLong, pixels},
            {277, kShort, 1},
            {278, kShort, 3},
            {279, kLong, 12}};
        append16(static_cast<quint16>(entries.size()));
        for (const Entry& entry : entries) {
            append16(entry.tag);
            append16(entry.type);
            append32(1);
            append32(entry.value);
        }
        placeOfNext = file.size();
        append32(0);
    }
    return file;
}

} // namespace RKMetadataFixtures
