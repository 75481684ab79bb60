#pragma once

#include "SheetEntry.h"

#include <QByteArray>
#include <QIODevice>
#include <QImage>

/// Contact sheets of files, in their order. Every function needs a QGuiApplication but html().
namespace ContactSheet {

/// One picture of all of them, each fitted into a square of so many pixels a side.
QImage image(const QList<SheetEntry>& entries, int side);

/// A PDF file of A4 pages. False if the device can't be written to.
bool writePdf(QIODevice* device, const QList<SheetEntry>& entries);

/// A page that needs no other file and no network: thumbnails with names, facts and faces, and
/// filters by name and rating.
QByteArray html(const QList<SheetEntry>& entries, const QString& title);

} // namespace ContactSheet
