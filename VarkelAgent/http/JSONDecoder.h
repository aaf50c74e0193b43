#pragma once

#include <boost/describe.hpp>
#include <boost/json/value.hpp>
#include <cstdint>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace varkel {

/// Why a request body is not the record asked for. what() names the key.
class DecodingError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

namespace decoding {

/// Where in a body the decoder is, for the error text. A linked list on the stack.
struct Place {
    const Place* parent = nullptr;
    std::string_view key;
};

[[noreturn]] void failMissing(const Place& place);
[[noreturn]] void failType(const Place& place, std::string_view wanted, const boost::json::value& found);

boost::json::value parse(std::string_view text);
const boost::json::object& object(const boost::json::value& value, const Place& place);
const boost::json::array& array(const boost::json::value& value, const Place& place);

void read(std::string& out, const boost::json::value& value, const Place& place);
void read(bool& out, const boost::json::value& value, const Place& place);
void read(double& out, const boost::json::value& value, const Place& place);
void read(std::int64_t& out, const boost::json::value& value, const Place& place);
void read(std::uint64_t& out, const boost::json::value& value, const Place& place);

template <class T>
void read(std::optional<T>& out, const boost::json::value& value, const Place& place) {
    if (value.is_null()) {
        out.reset();
        return;
    }
    read(out.emplace(), value, place);
}

template <class T>
void read(std::vector<T>& out, const boost::json::value& value, const Place& place) {
    for (const auto& entry : array(value, place)) read(out.emplace_back(), entry, place);
}

template <class T>
void read(std::map<std::string, T>& out, const boost::json::value& value, const Place& place) {
    for (const auto& entry : object(value, place)) {
        read(out[std::string(entry.key())], entry.value(), Place{&place, entry.key()});
    }
}

template <class T>
inline constexpr bool isOptional = false;
template <class T>
inline constexpr bool isOptional<std::optional<T>> = true;

template <class T>
requires boost::describe::has_describe_members<T>::value void read(T& out, const boost::json::value& value,
                                                                   const Place& place) {
    const boost::json::object& fields = object(value, place);
    using Members = boost::describe::describe_members<T, boost::describe::mod_public>;
    boost::mp11::mp_for_each<Members>([&](auto descriptor) {
        auto& field = out.*descriptor.pointer;
        const Place here{&place, descriptor.name};
        if (const boost::json::value* found = fields.if_contains(descriptor.name)) {
            read(field, *found, here);
        } else if constexpr (!isOptional<std::remove_reference_t<decltype(field)>>) {
            failMissing(here);
        }
    });
}

}  // namespace decoding

/// Reads a described record, a map or a list from JSON text. Exact keys; unknown keys are ignored; a
/// std::optional field may be absent or null, every other field is required. 3.0 is an integer, 3.5 is not;
/// of duplicate keys the last counts; depth is limited. Raises DecodingError. Any thread.
template <class T>
T decodeJSON(std::string_view text) {
    T out{};
    decoding::read(out, decoding::parse(text), decoding::Place{});
    return out;
}

}  // namespace varkel
