#pragma once

#include <QString>

class MessageCollector;

/// Prints the faces of a picture as JSON. All commands return the exit code.
int runFacesListCommand(const QString& file, MessageCollector& messages);

/// Merges the faces of a JSON file into the picture's regions: a list of objects with "rect"
/// (normalised x, y, width and height), "name" and "clusterId".
int runFacesSetCommand(const QString& file, const QString& facesFile, MessageCollector& messages);

int runFacesRemoveCommand(const QString& file, MessageCollector& messages);

/// Saves the upright picture with its faces framed.
int runFacesDrawCommand(const QString& file, const QString& target, MessageCollector& messages);
