#pragma once

#include <QRectF>
#include <QSizeF>
#include <QString>

class MessageCollector;

/// The part of a picture and what it is printed as.
struct ClipOptions
{
    enum class Upscaling
    {
        No,
        Allowed
    };

    /// In pixels of the upright picture.
    QRectF rect;
    /// In tenths of a millimetre.
    QSizeF production;
    int dpi = 0;
    Upscaling upscaling = Upscaling::No;
};

/// Clips a picture for a print and saves the clip. Returns the exit code.
int runClipCommand(const QString& source,
    const QString& target,
    const ClipOptions& options,
    MessageCollector& messages);
