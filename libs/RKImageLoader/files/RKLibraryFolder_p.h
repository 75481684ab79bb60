#pragma once

#include <QString>

/// The folder that this library was loaded from. Its module and its plug-ins are installed relative
/// to it, wherever that is. Thread-safe.
namespace RKLibraryFolder {

/// Absolute; empty if the system does not say.
QString path();

} // namespace RKLibraryFolder
