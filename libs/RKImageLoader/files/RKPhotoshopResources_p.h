#pragma once

#include <QByteArray>
#include <QByteArrayList>
#include <QByteArrayView>
#include <QList>

/// Photoshop's image resources: numbered blocks that occur in its own files, in APP13 segments of
/// JPEG, in tag 0x8649 of TIFF and in texts of PNG ("Photoshop File Formats", "Image Resource
/// Blocks"). Refers to the bytes, which have to outlive it.
class RKPhotoshopResources
{
public:
    // "Image Resource IDs".
    static constexpr quint16 kIptc = 0x0404;
    static constexpr quint16 kThumbnailBgr = 0x0409;
    static constexpr quint16 kThumbnail = 0x040c;
    static constexpr quint16 kIccProfile = 0x040f;
    static constexpr quint16 kVersionInfo = 0x0421;
    static constexpr quint16 kExif = 0x0422;
    static constexpr quint16 kXmp = 0x0424;

    struct Resource
    {
        quint16 number = 0;
        /// The signature is one of those whose numbers have Photoshop's meanings.
        bool isPhotoshops = false;
        QByteArrayView data;
        /// Includes the header, but not the byte that makes the number of bytes even.
        QByteArrayView bytes;
        /// That byte; empty if the number is even, and at the end of a section that lacks it.
        QByteArrayView padding;
    };

    /// Reads up to the first block that is damaged.
    explicit RKPhotoshopResources(QByteArrayView section);

    const QList<Resource>& all() const;
    /// What follows the last resource: empty in an undamaged section.
    QByteArrayView rest() const;

    /// The data of each resource with that number.
    QByteArrayList data(quint16 number) const;

    /// The section with other data for each of these resources; what data() has stays as it is.
    /// Empty data removes a resource; more data than resources is added after the last one.
    QByteArray with(quint16 number, const QByteArrayList& data) const;

    /// Without that byte, too.
    static QByteArray resource(quint16 number, const QByteArray& data);

    /// For messages.
    static QByteArray nameOf(const Resource& resource);

private:
    QByteArrayView m_section;
    QList<Resource> m_resources;
    QByteArrayView m_rest;
};
