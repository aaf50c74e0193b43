#include "inspector/Session.h"

#include <openssl/rand.h>

#include <stdexcept>
#include <vector>

#include "base/ConstantTime.h"
#include "base/UnicodeText.h"

namespace varkel::inspector {

namespace {

constexpr std::string_view cookieName = "varkel-inspector=";
constexpr std::size_t secretBytes = 32;
constexpr std::size_t pathBytes = 8;

}  // namespace

std::string randomHex(std::size_t bytes) {
    std::vector<unsigned char> random(bytes);
    if (RAND_bytes(random.data(), static_cast<int>(bytes)) != 1) {
        throw std::runtime_error("the system gives no random numbers");
    }
    constexpr std::string_view digits = "0123456789abcdef";
    std::string text;
    for (const unsigned char byte : random) {
        text += digits[byte >> 4U];
        text += digits[byte & 15U];
    }
    return text;
}

Session::Session()
    : path_('/' + randomHex(pathBytes) + '/'),
      cookie_(randomHex(secretBytes)),
      key_(randomHex(secretBytes)) {}

std::string Session::key() const {
    const std::lock_guard lock(mutex_);
    return key_;
}

bool Session::takeKey(std::string_view key) {
    const std::lock_guard lock(mutex_);
    if (!equalsInConstantTime(key, key_)) return false;
    key_ = randomHex(secretBytes);
    return true;
}

std::string Session::setCookie() const {
    return std::string(cookieName) + cookie_ + "; Path=" + path_ + "; HttpOnly; SameSite=Strict";
}

bool Session::holdsCookie(std::string_view header) const {
    while (!header.empty()) {
        const std::size_t end = header.find(';');
        const std::string_view cookie = trimmedOfBlanks(header.substr(0, end));
        header.remove_prefix(end == std::string_view::npos ? header.size() : end + 1);
        if (!cookie.starts_with(cookieName)) continue;
        if (equalsInConstantTime(cookie.substr(cookieName.size()), cookie_)) return true;
    }
    return false;
}

}  // namespace varkel::inspector
