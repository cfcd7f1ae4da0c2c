// stdin, stdout and stderr as a command finds and leaves them.
#pragma once

// Opens those that are closed in a way that reading and writing fail: a file that a command opens
// must not become its stdout.
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
