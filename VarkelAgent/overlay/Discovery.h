#pragma once

#include <cstdint>
#include <string>

namespace varkel::overlay {

/// A secret that cannot be guessed: 64 hexadecimal digits. Throws std::runtime_error when the system has no
/// random numbers.
std::string freshSecret();

/// The file in which the agent looks for the service's port and secret. It is there as long as this is.
class Discovery {
  public:
    /// Writes the file, readable for its owner alone. Throws std::system_error.
    Discovery(const std::string& home, std::uint16_t port, const std::string& secret);
    Discovery(const Discovery&) = delete;
    Discovery& operator=(const Discovery&) = delete;
    ~Discovery() { remove(); }

    /// Removes the file, unless another service has put its own there meanwhile. Safe to repeat.
    void remove() const;

    /// Whether the file in this home is that of a service that runs. Blocks for 2 seconds at the most.
    static bool isServed(const std::string& home);

  private:
    std::string path_;
    std::string content_;
};

}  // namespace varkel::overlay
