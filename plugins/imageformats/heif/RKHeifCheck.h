#pragma once

#include "imageformats/heif/RKHeifTiles.h"

#include <QByteArray>
#include <QByteArrayView>
#include <QHash>
#include <QList>
#include <QSet>
#include <QSize>

#include <optional>

/// Looks through the boxes of a HEIF file before libheif does, and finds files that would cost it
/// or its decoder more memory and time than their picture is worth, or that would break it.
///
/// What is needed to decode the primary image, its transparency and its thumbnails is followed:
/// items, where their data lies, how they are made of one another, and the sizes in the streams.
/// Files that no camera and no program writes are refused (ISO/IEC 23008-12, ISO/IEC 14496-12).
class RKHeifCheck
{
public:
    /// The bytes must outlive the check.
    explicit RKHeifCheck(QByteArrayView file);

    bool isAcceptable() const
    {
        return m_isAcceptable;
    }

    /// How the pixels of the primary image are coded: the type of its item, or of the first one
    /// that it is made of. Empty if the boxes are damaged, or there is no such item.
    QByteArray coding() const;

    /// The primary image's size is stated as after its turning, not before it, as libheif 1.15 and
    /// older wrote it.
    bool isSizeTransposed() const;

    /// The thumbnails of the primary image that are turned and mirrored as it is.
    const QList<quint32>& thumbnails() const
    {
        return m_thumbnails;
    }

    /// The tiles of an image that is acceptable; none where it is cropped or made up in another
    /// way.
    std::optional<RKHeifTiles> tiles(quint32 id) const;

    quint32 primary() const
    {
        return m_primary;
    }

private:
    struct Property
    {
        QByteArray type;
        QByteArrayView content;
    };

    struct Item
    {
        QByteArray type;
        QList<QByteArrayView> extents;
        QList<Property> properties;
        QList<quint32> sources; ///< What it is derived from.
        QList<quint32> masters; ///< What it is auxiliary to or a thumbnail of.
        bool isThumbnail = false;
    };

    /// What has to be done to decode an image.
    struct Work
    {
        qint64 pixels = 0;
        qint64 effort = 0; ///< With something for every image, also in pixels.
        QSet<quint32> checked; ///< Coded items that are acceptable.
    };

    bool readFile(QByteArrayView file);
    bool readMeta(QByteArrayView box, QByteArrayView file);
    bool readItems(QByteArrayView box);
    bool readItem(QByteArrayView box);
    bool readLocations(QByteArrayView box, QByteArrayView file, QByteArrayView itemData);
    bool readProperties(QByteArrayView box);
    bool readAssociations(QByteArrayView box, const QList<Property>& properties);
    bool readReferences(QByteArrayView box);

    bool isAcyclic(quint32 id, QHash<quint32, int>& states, int depth) const;
    bool isImageAcceptable(quint32 id, int depth, Work& work) const;
    bool isCodedAcceptable(const Item& item) const;
    bool isGridAcceptable(const Item& item) const;
    bool isOverlayAcceptable(const Item& item) const;
    bool areDependentsAcceptable();

    const Property* property(const Item& item, QByteArrayView type) const;
    QSize statedSize(const Item& item) const;
    QList<RKHeifTiles::Turning> turning(const Item& item) const;
    QByteArrayView codedColors(const Item& item) const;

    bool m_isAcceptable = false;
    quint32 m_primary = 0;
    QHash<quint32, Item> m_items;
    QList<quint32> m_thumbnails;
};
