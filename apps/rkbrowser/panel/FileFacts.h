#pragma once

#include "RKImageLoader/loading/RKMediaCard.h"
#include "RKImageLoader/metadata/RKMetaData.h"

/// What the panel shows of a file. Reading it may take a while: not on the window's thread.
struct FileFacts
{
    static FileFacts read(const QString& filePath);

    RKMetaData metaData;
    /// Its metadata may be changed, if the format has a place for them.
    bool isPicture = false;
    QList<RKMediaCard::Group> card;
    /// Why the file can't be shown; empty if it can.
    QString problem;
};
