#pragma once

#include <QStringList>

class MessageCollector;

/// Tells what is known of each file. Returns the exit code.
int runInfoCommand(const QStringList& files, bool json, MessageCollector& messages);
