#include "platform/linux/applescript/EndWithParent.h"

#include <sys/prctl.h>
#include <unistd.h>

#include <csignal>

namespace varkel {

namespace {

extern "C" void stopGroup(int signal) {
    std::signal(signal, SIG_DFL);
    // The signal that this sends to the process itself comes through when the handler returns.
    kill(getpgrp() == getpid() ? 0 : getpid(), signal);
}

}  // namespace

void endWithParent() {
    prctl(PR_SET_PDEATHSIG, SIGTERM);
}

void stopGroupAlong() {
    std::signal(SIGTERM, stopGroup);
}

}  // namespace varkel
