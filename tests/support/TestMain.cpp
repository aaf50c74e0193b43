#include <gmock/gmock.h>

#include <csignal>

#ifdef __linux__
#include "support/ScriptedBus.h"
#endif

int main(int argc, char** argv) {
    // As in the agent: a peer that has gone away is an error of the write.
    std::signal(SIGPIPE, SIG_IGN);
#ifdef __linux__
    // The environment is read once in a process, and no unit test may reach the desktop of the one who runs
    // it.
    varkel::ScriptedBus::enterEnvironment();
#endif
    testing::InitGoogleMock(&argc, argv);
    return RUN_ALL_TESTS();
}
