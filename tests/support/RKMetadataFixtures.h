#pragma once

#include "RKImageLoader/metadata/exiv2/RKExiv2Compat_p.h"
#include "RKImageLoader/metadata/exiv2/RKExiv2Library_p.h"
#include "support/RKTestPictures.h"

#include <QBuffer>
#include <QByteArray>
#include <QDataStream>
#include <QtEndian>

/// Image files made in memory, with metadata written by exiv2 itself. For one thread.
namespace RKMetadataFixtures {

/// A picture in a file; empty where Qt cannot write the format.
inline QByteArray imageFile(const char* format, const QSize& size = {48, 32})
{
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    RKTestPictures::quadrants(size).save(&buffer, format);
    return buffer.data();
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

/// The text of the datum with the key; null without one.
inline QString textOf(const Exiv2::ExifData& data, const char* key)
{
    const auto datum = data.findKey(Exiv2::ExifKey(key));
    return datum == data.end() ? QString() : QString::fromStdString(datum->toString());
}

/// A grey TIFF of several pages, little-endian, 4x3 pixels each; every page has its own shade.
inline QByteArray tiffOfPages(int pages)
{
    QByteArray file("II*\0\0\0\0\0", 8);
    QDataStream stream(&file, QIODevice::WriteOnly | QIODevice::Append);
    stream.setByteOrder(QDataStream::LittleEndian);
    qsizetype placeOfNext = 4;
    for (int page = 0; page < pages; ++page) {
        const auto pixels = static_cast<quint32>(file.size());
        stream.writeRawData(QByteArray(12, static_cast<char>(page + 1)).constData(), 12);
        qToLittleEndian(static_cast<quint32>(file.size()), file.data() + placeOfNext);
        // Of a single number each: the strip's place and the page's size are long ones.
        const std::pair<quint16, quint32> tags[] = {{256, 4},
            {257, 3},
            {258, 8},
            {259, 1},
            {262, 1},
            {273, pixels},
            {277, 1},
            {278, 3},
            {279, 12}};
        stream << quint16(std::size(tags));
        for (const auto& [tag, value] : tags)
            stream << tag << quint16(tag == 273 || tag == 279 ? 4 : 3) << quint32(1) << value;
        placeOfNext = file.size();
        stream << quint32(0);
    }
    return file;
}

} // namespace RKMetadataFixtures
