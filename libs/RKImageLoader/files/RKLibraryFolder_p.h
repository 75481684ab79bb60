#pragma once

#include <QString>

/// The folder that this library was loaded from; that of the program where it is a part of that,
/// for which there has to be an application object. Its module and its plug-ins are installed
/// relative to it, wherever that is. Thread-safe.
namespace RKLibraryFolder {

/// Absolute; empty if the system does not say.
QString path();

} // namespace RKLibraryFolder
