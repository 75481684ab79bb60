#pragma once

#include "RKImageLoader/files/RKByteReader_p.h"

#include <QList>

/// Writes the directories of TIFF structures (TIFF 6.0, section 2).
namespace RKTestTiff {

enum : quint16
{
    kByte = 1,
    kText = 2,
    kShort = 3,
    kLong = 4,
    kRational = 5,
    kUndefined = 7,
    kSignedRational = 10
};

struct Entry
{
    quint16 tag;
    quint16 type;
    QList<quint32> values; ///< both terms of rationals
};

using Directory = QList<Entry>;

/// The directory for that place, followed by the values that are too long for its entries.
inline QByteArray directory(quint32 place,
    const Directory& entries,
    quint32 next = 0,
    QSysInfo::Endian order = QSysInfo::LittleEndian)
{
    const auto number = [order](auto value) { return RKByteReader::bytesOf(value, order); };
    QByteArray fields = number(quint16(entries.size()));
    QByteArray longValues;
    for (const auto& [tag, type, values] : entries) {
        QByteArray bytes;
        for (const quint32 value : values) {
            const bool isByte = type == kByte || type == kText || type == kUndefined;
            bytes += isByte      ? number(quint8(value))
                : type == kShort ? number(quint16(value))
                                 : number(value);
        }
        const bool isRational = type == kRational || type == kSignedRational;
        fields
            += number(tag) + number(type) + number(quint32(values.size() / (isRational ? 2 : 1)));
        if (bytes.size() > 4) {
            longValues += bytes;
            bytes = number(
                quint32(place + 6 + 12 * entries.size() + longValues.size() - bytes.size()));
        }
        fields += bytes.leftJustified(4, '\0');
    }
    return fields + number(next) + longValues;
}

} // namespace RKTestTiff
