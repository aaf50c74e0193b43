#include "platform/linux/wayland/UnreadEvents.h"

#include <linux/netlink.h>
#include <linux/sock_diag.h>
#include <linux/unix_diag.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>
#include <filesystem>
#include <string_view>
#include <system_error>
#include <vector>

namespace varkel {

namespace {

/// Programs with more sockets are not looked through to the end.
constexpr std::size_t maxSockets = 512;

struct Question {
    nlmsghdr head{};
    unix_diag_req body{};
};

/// What the kernel tells of a local socket.
struct Answer {
    std::uint32_t peer = 0;
    std::string name;
    std::optional<std::size_t> unread;
};

template <class T>
T readAs(const char* at) {
    T value{};
    std::memcpy(&value, at, sizeof(value));
    return value;
}

Answer parse(std::string_view attributes) {
    Answer answer;
    while (attributes.size() >= sizeof(nlattr)) {
        const auto head = readAs<nlattr>(attributes.data());
        if (head.nla_len < sizeof(nlattr) || head.nla_len > attributes.size()) break;
        const std::string_view value = attributes.substr(sizeof(nlattr), head.nla_len - sizeof(nlattr));
        if (head.nla_type == UNIX_DIAG_NAME) answer.name = value.substr(0, value.find('\0'));
        if (head.nla_type == UNIX_DIAG_PEER && value.size() >= sizeof(std::uint32_t))
            answer.peer = readAs<std::uint32_t>(value.data());
        if (head.nla_type == UNIX_DIAG_RQLEN && value.size() >= sizeof(unix_diag_rqlen))
            answer.unread = readAs<unix_diag_rqlen>(value.data()).udiag_rqueue;
        attributes.remove_prefix(std::min<std::size_t>(NLMSG_ALIGN(head.nla_len), attributes.size()));
    }
    return answer;
}

/// The kernel answers before the question has been sent to the end, so nothing is waited for.
std::optional<Answer> ask(int netlink, std::uint32_t socket, std::uint32_t what) {
    Question question;
    question.head.nlmsg_len = sizeof(question);
    question.head.nlmsg_type = SOCK_DIAG_BY_FAMILY;
    question.head.nlmsg_flags = NLM_F_REQUEST;
    question.body.sdiag_family = AF_UNIX;
    question.body.udiag_states = ~0U;
    question.body.udiag_ino = socket;
    question.body.udiag_show = what;
    question.body.udiag_cookie[0] = question.body.udiag_cookie[1] = ~0U;
    if (send(netlink, &question, sizeof(question), MSG_DONTWAIT) < 0) return std::nullopt;
    std::array<char, 4096> bytes{};
    const auto count = recv(netlink, bytes.data(), bytes.size(), MSG_DONTWAIT);
    constexpr std::size_t start = NLMSG_HDRLEN + NLMSG_ALIGN(sizeof(unix_diag_msg));
    if (count < static_cast<ssize_t>(start)) return std::nullopt;
    const auto head = readAs<nlmsghdr>(bytes.data());
    if (head.nlmsg_type != SOCK_DIAG_BY_FAMILY || head.nlmsg_len < start ||
        head.nlmsg_len > static_cast<std::size_t>(count))
        return std::nullopt;
    return parse({bytes.data() + start, head.nlmsg_len - start});
}

/// The numbers of the sockets that a process has open.
std::vector<std::uint32_t> socketsOf(pid_t process) {
    constexpr std::string_view prefix = "socket:[";
    std::vector<std::uint32_t> sockets;
    std::error_code error;
    std::filesystem::directory_iterator each("/proc/" + std::to_string(process) + "/fd", error);
    for (; !error && each != std::filesystem::directory_iterator() && sockets.size() < maxSockets;
         each.increment(error)) {
        std::error_code gone;
        const std::string target = std::filesystem::read_symlink(*each, gone).string();
        std::uint32_t number = 0;
        if (gone || !target.starts_with(prefix)) continue;
        const char* end = target.data() + target.size();
        if (std::from_chars(target.data() + prefix.size(), end, number).ec == std::errc())
            sockets.push_back(number);
    }
    return sockets;
}

}  // namespace

UnreadEvents::UnreadEvents(pid_t process, const std::string& path)
    : netlink_(socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_SOCK_DIAG)) {
    if (!netlink_) return;
    for (const std::uint32_t each : socketsOf(process)) {
        const auto own = ask(netlink_.get(), each, UDIAG_SHOW_PEER);
        const auto other =
            own && own->peer != 0 ? ask(netlink_.get(), own->peer, UDIAG_SHOW_NAME) : std::nullopt;
        if (other && other->name == path) socket_ = each;
    }
}

std::optional<std::size_t> UnreadEvents::bytes() const {
    if (!socket_) return std::nullopt;
    const auto answer = ask(netlink_.get(), *socket_, UDIAG_SHOW_RQLEN);
    return answer ? answer->unread : std::nullopt;
}

}  // namespace varkel
