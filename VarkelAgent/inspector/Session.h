#pragma once

#include <mutex>
#include <string>
#include <string_view>

namespace varkel::inspector {

/// So many random bytes as lower-case hexadecimal digits. Throws std::runtime_error. Any thread.
std::string randomHex(std::size_t bytes);

/// What lets a browser in: a key that is good once, and the cookie that it is exchanged for. Both are made at
/// random for one run of the program. Any thread.
class Session {
  public:
    Session();

    /// The path below which everything is served, with a slash at both ends. Browsers send a cookie to every
    /// port of a host, so the cookie holds for this path alone, which no other server is asked for.
    const std::string& path() const { return path_; }

    /// The key that lets the next browser in.
    std::string key() const;

    /// Whether this is the key. It is used up then, and there is another one.
    bool takeKey(std::string_view key);

    /// The value of the Set-Cookie header for a browser that has been let in.
    std::string setCookie() const;

    /// Whether the value of a Cookie header holds the cookie. Takes as long for every value of its length.
    bool holdsCookie(std::string_view header) const;

  private:
    const std::string path_;
    const std::string cookie_;
    mutable std::mutex mutex_;
    std::string key_;
};

}  // namespace varkel::inspector
