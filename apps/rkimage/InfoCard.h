#pragma once

#include "RKImageLoader/loading/RKMediaCard.h"

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QString>

/// What `rkimage info` shows people of one file.
namespace InfoCard {

/// The file's name and the lines of its card; blank lines separate the groups.
QByteArray of(const QByteArray& name, const QList<RKMediaCard::Group>& groups);

/// A line for each datum of the metadata, with its key and its text.
QByteArray allData(const QHash<QString, QString>& data);

} // namespace InfoCard
