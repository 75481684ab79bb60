#pragma once

#include "InputFiles.h"
#include "RKImageLoader/media/RKMediaError.h"

#include <QByteArray>
#include <QDateTime>
#include <QList>
#include <QRectF>
#include <QSize>
#include <QString>

/// What a contact sheet shows of one file.
struct SheetEntry
{
    struct Face
    {
        /// In parts of the upright picture's sides.
        QRectF rect;
        QString name;
    };

    /// Reads all of it; never fails, since the entry of a broken file says why it is broken.
    static SheetEntry of(const InputFile& file, int side);

    /// Its path as it was given; what isn't in the system's encoding is replaced.
    QString name;
    /// Why there is no picture, or not all of it.
    RKMediaError error;
    /// A JPEG file of the picture over white, its longest side as long as wanted.
    QByteArray picture;
    QSize pictureSize;
    /// That of the whole picture, upright.
    QSize size;
    /// When it was taken, as far as the file says.
    QDateTime date;
    /// 0 to 5, -1 for rejected ones.
    int rating = 0;
    /// That of videos in milliseconds; otherwise -1.
    int durationMs = -1;
    QList<Face> faces;

    /// Size, date and length as one line for people.
    QString facts() const;
};
