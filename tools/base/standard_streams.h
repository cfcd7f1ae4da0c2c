// stdin, stdout and stderr as a command finds and leaves them.
#pragma once

// Opens those that are closed in a way that reading and writing fail: a file that a command opens
// must not become its stdout.
void occupyClosedStreams();

// Sees to it that all that was printed has been written. Throws Failure when it was not.
void flushStandardOutput();
