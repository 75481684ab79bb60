#pragma once

#include <QString>

#include <optional>

/// The values that the library takes from an XML file.
namespace Configuration {

/// Has the library read the file, or what is built in where its name is empty; the quality of JPEG
/// files counts more than that of the file. Returns the failure, or nothing: a file that isn't as
/// it should be is not used at all.
QString install(const QString& file, const std::optional<int>& jpegQuality);

} // namespace Configuration
