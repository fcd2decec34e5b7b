// SIGINT, SIGTERM and SIGHUP of a command-line run, caught from the start of the run to its end
// so that a CI job's time-out at any moment still gets the outputs; the handler only writes the
// signal's number to a pipe, which the event loop reads (main thread).
#pragma once

namespace orel::cli {

// Makes the pipe and installs the handlers; later calls do nothing. A second signal of the same
// kind ends the program at once.
void armStopSignals();
// The pipe's read end for a notifier; -1 when there is none.
int stopSignalFd();
// The first signal received so far, 0 when none; reads what waits in the pipe.
int takeStopSignal();

} // namespace orel::cli
