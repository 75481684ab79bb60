#pragma once

#include <QByteArray>
#include <QJsonObject>

/// What `rkimage info` shows people of one file, from the object that programs get.
namespace InfoCard {

/// The file's name and a line for each thing that is known, in groups that blank lines separate.
QByteArray of(const QByteArray& name, const QJsonObject& entry);

/// A line for each datum of the metadata, with its key and what its value means.
QByteArray allData(const QJsonObject& entry);

} // namespace InfoCard
