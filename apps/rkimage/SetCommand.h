#pragma once

#include "RKImageLoader/media/RKImageOrientation.h"

#include "RKGeoLocation/RKGeoPosition.h"

#include <QDateTime>
#include <QString>
#include <QStringList>

#include <optional>

class MessageCollector;

/// What `rkimage set` changes; what holds no value stays as it is.
struct MetaDataChanges
{
    enum class Mode
    {
        Write,
        DryRun
    };

    std::optional<int> rating;
    std::optional<RKImageOrientation> orientation;
    std::optional<bool> rotateClockwise;
    std::optional<QDateTime> taken;
    std::optional<RKGeoPosition> position;
    std::optional<QString> title;
    /// All keywords; those to remove and to add come after.
    std::optional<QStringList> keywords;
    QStringList removedKeywords;
    QStringList addedKeywords;
    std::optional<QString> author;
    std::optional<QString> copyright;
    std::optional<QString> comment;
    /// The path of an ICC profile.
    std::optional<QString> profile;
    /// The path of a picture, "auto" for one of the file's own, or "none".
    std::optional<QString> thumbnail;
    Mode mode = Mode::Write;
};

/// Changes the metadata of each file; the pixels stay as they are. Returns the exit code.
int runSetCommand(
    const QStringList& files, const MetaDataChanges& changes, MessageCollector& messages);
