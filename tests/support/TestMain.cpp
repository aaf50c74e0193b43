#include <gmock/gmock.h>

#include <csignal>

int main(int argc, char** argv) {
    // As in the agent: a peer that has gone away is an error of the write.
    std::signal(SIGPIPE, SIG_IGN);
    testing::InitGoogleMock(&argc, argv);
    return RUN_ALL_TESTS();
}
