#pragma once

#include "RKImageLoader/faces/RKFacePositions.h"

#include <QByteArray>

#include <optional>

/// The list of faces that `rkimage faces set` takes. docs/json.md describes it.
namespace FaceList {

/// The faces of a JSON text; nullopt if it is no list, or one of them is no face. Thread-safe.
std::optional<RKFacePositions> fromJson(const QByteArray& json);

} // namespace FaceList
