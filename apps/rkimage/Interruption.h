#pragma once

/// Whether somebody has pressed the keys that interrupt a program. Commands stop after the file
/// that they are at, so that no result is half there; a second time ends the program at once.
namespace Interruption {

/// What shells report for a program that was interrupted.
constexpr int kExitCode = 130;

void install();

/// Thread-safe.
bool isRequested();

} // namespace Interruption
