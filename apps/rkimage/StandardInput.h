#pragma once

#include <QString>

#include <string>

class Result;

/// One picture or video from standard input, whose name among the arguments is "-". Libraries want
/// files with names, so it is copied before a command begins.
namespace StandardInput {

/// Also what stands for it in names that are made of those of files.
constexpr char kStem[] = "stdin";

bool isMeant(const std::string& argument);

/// An argument has named it, or is not to be read after all.
void expect(bool isExpected);
void expectIfMeant(const std::string& argument);
bool isExpected();

/// Copies it; the failure, or nothing. What can't be a picture isn't read to its end.
QString read();

/// The copy, whose extension says the format of the content.
QString path();

/// Gives the copy, which a command has changed, to standard output. A failure stands in the result.
void giveBack(Result& result);

} // namespace StandardInput
