#pragma once

#include "MetaDataJson.h"

#include <QStringList>

class MessageCollector;

enum class InfoStyle
{
    Text,
    Json
};

/// Tells what is known of each file. Returns the exit code.
int runInfoCommand(const QStringList& files,
    InfoStyle style,
    MetaDataJson::Extent extent,
    MessageCollector& messages);
