#pragma once

#include "RKImageLoader/RKImageLoaderExport.h"

#include <QList>
#include <QString>
#include <QStringList>

/// A third-party library that this one uses.
struct RKThirdParty
{
    /// As its makers write it.
    QString name;
    /// The version that runs, as the library itself writes it; empty if it can't be asked.
    QString version;
    /// An SPDX expression, or the library's own words where the licence depends on how it was
    /// built.
    QString license;
    /// The web address of its makers.
    QString homepage;
};

/// What the host's about box says about this library. Reentrant.
class RKIMAGELOADER_EXPORT RKImageLoaderInfo
{
public:
    /// The copyright lines of the libraries in use, translated.
    QStringList copyrights() const;

    /// The libraries that this build uses, its plug-ins for Qt included. Loads FFmpeg to ask for
    /// its version, and leaves it out, with a warning, if it can't be loaded.
    QList<RKThirdParty> thirdParties() const;
};
