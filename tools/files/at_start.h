// What a command finds at its start and foreign code may change or use: the directory, stdin,
// stdout and stderr.
#pragma once

#include <filesystem>

// Users mean their paths by the directory that the process was started in. To be called before any
// foreign code runs.
void rememberStartDirectory();

// The path as an absolute one; the empty one stays empty.
std::filesystem::path fromStart(const std::filesystem::path& path);

// Opens those streams that are closed in a way that reading and writing fail: a file that a command
// opens must not become its stdout.
void occupyClosedStreams();

// For a command whose result goes to stdout: all that this process prints from now on, foreign code
// too, goes to stderr.
void keepStandardOutputForResult();
// A new descriptor of what stdout was when keepStandardOutputForResult() was called; -1 when there
// is none (errno).
int standardOutputForResult();

// For a command that reads its rows from stdin: a model that reads it, too, finds it empty and
// takes none of them.
void keepStandardInputForRuns();
// A new descriptor of what stdin was then; -1 when there is none (errno).
int standardInputForRuns();

// Sees to it that all that was printed has been written. Throws Failure when it was not; but
// what goes to stderr need not reach anybody.
void flushStandardOutput();
