// The stop signals of a command-line run.
#include "StopSignals.h"

#include <csignal>
#include <fcntl.h>
#include <unistd.h>

namespace orel::cli {

namespace {

int signalPipe[2] = { -1, -1 };
int firstSignal = 0;
const int kStopSignals[] = { SIGINT, SIGTERM, SIGHUP };

void onStopSignal(int sig)
{
    const char byte = char(sig);
    [[maybe_unused]] const ssize_t n = ::write(signalPipe[1], &byte, 1);
    std::signal(sig, SIG_DFL);
}

} // namespace

void armStopSignals()
{
    if (signalPipe[0] >= 0 || ::pipe2(signalPipe, O_CLOEXEC | O_NONBLOCK) != 0)
        return;
    for (const int sig : kStopSignals)
        std::signal(sig, onStopSignal);
}

int stopSignalFd()
{
    return signalPipe[0];
}

int takeStopSignal()
{
    char buf[16];
    ssize_t n = 0;
    while (signalPipe[0] >= 0 && (n = ::read(signalPipe[0], buf, sizeof buf)) > 0) {
        if (firstSignal == 0)
            firstSignal = buf[0];
    }
    return firstSignal;
}

} // namespace orel::cli
