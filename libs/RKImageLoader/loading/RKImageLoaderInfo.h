#pragma once

#include "RKImageLoader/RKImageLoaderExport.h"

#include <QList>
#include <QString>
#include <QStringList>

/// A library of others that this one uses.
struct RKThirdParty
{
    /// As its makers write it.
    QString name;
    /// The one that runs, as the library itself writes it; empty where it can't be asked.
    QString version;
    /// An SPDX expression, or the library's own words where the licence depends on how it was
    /// built.
    QString license;
    /// Where its makers are found.
    QString homepage;
};

/// What the host's about box says about this library. Reentrant.
class RKIMAGELOADER_EXPORT RKImageLoaderInfo
{
public:
    /// The copyright lines of the libraries in use, translated.
    QStringList copyrights() const;

    /// The libraries that this build uses, its plug-ins for Qt included. Loads FFmpeg to ask it,
    /// and leaves it out, with a warning, if that can't be loaded.
    QList<RKThirdParty> thirdParties() const;
};
