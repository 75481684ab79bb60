#pragma once

/// Whether somebody has pressed the keys that interrupt a program, or the system has asked it to
/// end. Commands stop after the file that they are at, so that no result is half there; a second
/// time ends the program at once.
namespace Interruption {

/// Handles these signals, and has writing to a closed pipe fail instead of ending the program.
void install();

/// Has the commands stop for a reason of the program's own. Thread-safe.
void stop();

/// No other file is to be begun. Thread-safe.
bool isRequested();

/// What shells report for a program that a signal has ended, 130 for an interruption; 0 if there
/// was none.
int exitCode();

} // namespace Interruption
