#pragma once

#include "RKImageLoader/media/RKMediaError.h"

#include <QString>

#include <string>

class Result;

/// One picture or video from standard input, whose name among the arguments is "-". Libraries want
/// files with names, so it is copied before a command begins.
namespace StandardInput {

/// Takes the place of its name in names that are made from those of files.
constexpr char kStem[] = "stdin";

bool isMeant(const std::string& argument);

/// Notes that an argument has named it, or that it is not to be read after all.
void expect(bool isExpected);
void expectIfMeant(const std::string& argument);
bool isExpected();

/// Copies it; what can't be a picture isn't read to its end.
RKMediaError read();

/// The copy, whose extension says the format of the content.
QString path();

/// Writes the copy, which a command has changed, to standard output. Failures are in the result.
void giveBack(Result& result);

} // namespace StandardInput
