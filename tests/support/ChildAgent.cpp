#include "support/ChildAgent.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <stdexcept>
#include <system_error>

#include "support/Deadline.h"

namespace varkel::test {

namespace {

std::vector<char*> pointers(std::vector<std::string>& texts) {
    std::vector<char*> out;
    out.reserve(texts.size() + 1);
    for (std::string& text : texts) out.push_back(text.data());
    out.push_back(nullptr);
    return out;
}

}  // namespace

ChildAgent::ChildAgent(const std::vector<std::string>& arguments, std::vector<std::string> environment) {
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) throw std::system_error(errno, std::generic_category(), "pipe");
    output_.reset(ends[0]);
    const FileDescriptor childEnd(ends[1]);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, childEnd.get(), STDOUT_FILENO);
    std::vector<std::string> words{VARKEL_AGENT_BINARY};
    words.insert(words.end(), arguments.begin(), arguments.end());
    const int error = ::posix_spawn(&pid_, VARKEL_AGENT_BINARY, &actions, nullptr, pointers(words).data(),
                                    pointers(environment).data());
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0) throw std::system_error(error, std::generic_category(), "spawn");
}

ChildAgent::~ChildAgent() {
    if (pid_ <= 0) return;
    ::kill(pid_, SIGKILL);
    ::waitpid(pid_, nullptr, 0);
}

bool ChildAgent::fill() {
    pollfd poll{output_.get(), POLLIN, 0};
    const auto limit = std::chrono::milliseconds(patience);
    if (::poll(&poll, 1, static_cast<int>(limit.count())) == 0) throw std::runtime_error("no output in time");
    std::array<char, 4'096> piece;
    const ssize_t count = ::read(output_.get(), piece.data(), piece.size());
    if (count <= 0) return false;
    received_.append(piece.data(), static_cast<std::size_t>(count));
    return true;
}

std::optional<std::string> ChildAgent::readLine() {
    std::size_t end = 0;
    while ((end = received_.find('\n')) == std::string::npos) {
        if (!fill()) return std::nullopt;
    }
    std::string line = received_.substr(0, end);
    received_.erase(0, end + 1);
    return line;
}

std::string ChildAgent::readAll() {
    while (fill()) {
    }
    return std::move(received_);
}

int ChildAgent::wait() {
    int status = 0;
    ::waitpid(pid_, &status, 0);
    pid_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

bool ChildAgent::isRunning() {
    return ::waitpid(pid_, nullptr, WNOHANG) == 0;
}

void ChildAgent::limitDescriptors(unsigned count) {
    const rlimit limit{count, count};
    if (::prlimit(pid_, RLIMIT_NOFILE, &limit, nullptr) != 0) {
        throw std::system_error(errno, std::generic_category(), "prlimit");
    }
}

}  // namespace varkel::test
