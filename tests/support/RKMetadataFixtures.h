#pragma once

#include "RKImageLoader/metadata/exiv2/RKExiv2Compat_p.h"
#include "RKImageLoader/metadata/exiv2/RKExiv2Library_p.h"
#include "support/RKTestPictures.h"
#include "support/RKTestTiff.h"

#include <QBuffer>
#include <QByteArray>

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
    using namespace RKTestTiff;
    QByteArray file("II*\0\x14\0\0\0", 8);
    for (int page = 1; page <= pages; ++page) {
        const auto pixels = quint32(file.size());
        const quint32 place = pixels + 12;
        file += QByteArray(12, char(page));
        Directory entries{{256, kShort, {4}},
            {257, kShort, {3}},
            {258, kShort, {8}},
            {259, kShort, {1}},
            {262, kShort, {1}},
            {273, kLong, {pixels}},
            {277, kShort, {1}},
            {278, kShort, {3}},
            {279, kLong, {12}}};
        const auto size = quint32(directory(place, entries).size());
        file += directory(place, entries, page < pages ? place + size + 12 : 0);
    }
    return file;
}

/// A small file with everything that savers are known to lose, made by tests/tools/edited_files.py,
/// by its name there.
inline QByteArray richFile(const char* name)
{
    // After the bytes that choose a fuzzer's edits.
    return RKTestPictures::read(QLatin1String(RK_CORPORA "/Save/") + QLatin1String(name)).mid(2);
}

} // namespace RKMetadataFixtures
