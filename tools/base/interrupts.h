// Ctrl-C and SIGTERM, which end a run in order.
#pragma once

// From now on the first such signal is only noted. A second one ends the process as ever, for an
// FMU that hangs.
void catchInterrupts();

// Whether a signal has come.
bool interrupted();
