#pragma once

#include <QStringList>

/// The names of what `rkimage info` knows of files, after the schema of docs/json.md.
namespace FieldNames {

/// Those of values inside of an object come after its own with a point: "camera.lens".
QStringList known();

} // namespace FieldNames
