#pragma once

#include "folder/FolderEntry.h"

#include <QList>

/// What of a folder is shown, and in which order.
struct FolderOrder
{
    enum class Key
    {
        Name,
        Date,
        Rating,
        Kind
    };
    enum class Kind
    {
        All,
        Pictures,
        Raw,
        Drawings,
        Videos
    };

    Key key = Key::Name;
    Qt::SortOrder direction = Qt::AscendingOrder;
    /// A part of the name.
    QString text = {};
    int minRating = 0;
    Kind kind = Kind::All;
    /// One of them has to be in the picture; empty for all pictures.
    QStringList people = {};

    bool operator==(const FolderOrder& other) const = default;
};

/// The entries that an order lets through.
struct FolderRows
{
    /// Their places in the list of entries.
    QList<qsizetype> places;
    /// Everybody who is in one of all entries, sorted.
    QStringList people;

    bool operator==(const FolderRows& other) const = default;
};

/// Sorts and filters; equal ones by their names, numbers in these by their value. For background
/// threads: 100 000 entries take a while.
FolderRows arranged(const QList<FolderEntry>& entries, const FolderOrder& order);
