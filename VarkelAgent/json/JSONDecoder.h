#pragma once

#include <boost/describe.hpp>
#include <cstdint>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "json/JSONText.h"

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
[[noreturn]] void failType(const Place& place, std::string_view wanted, const JSONText& found);

JSONText parse(std::string_view text);
JSONItems object(const JSONText& value, const Place& place);
JSONItems array(const JSONText& value, const Place& place);

/// The values of a record's fields, by their names.
using Fields = std::map<std::string_view, std::optional<JSONText>>;

/// Looks for the fields among an object's members. Of several with one key the last counts.
void findFields(Fields& fields, const JSONText& value, const Place& place);

void read(std::string& out, const JSONText& value, const Place& place);
void read(bool& out, const JSONText& value, const Place& place);
void read(double& out, const JSONText& value, const Place& place);
void read(std::int64_t& out, const JSONText& value, const Place& place);
void read(std::uint64_t& out, const JSONText& value, const Place& place);

template <class T>
void read(std::optional<T>& out, const JSONText& value, const Place& place) {
    if (value.kind() == JSONText::Kind::null) {
        out.reset();
        return;
    }
    read(out.emplace(), value, place);
}

template <class T>
void read(std::vector<T>& out, const JSONText& value, const Place& place) {
    JSONItems elements = array(value, place);
    while (const auto element = elements.nextElement()) read(out.emplace_back(), *element, place);
}

template <class T>
void read(std::map<std::string, T>& out, const JSONText& value, const Place& place) {
    std::map<std::string, JSONText> last;
    JSONItems members = object(value, place);
    while (const auto member = members.nextMember())
        last.insert_or_assign(member->key.string(), member->value);
    for (const auto& [key, found] : last) read(out[key], found, Place{&place, key});
}

template <class T>
inline constexpr bool isOptional = false;
template <class T>
inline constexpr bool isOptional<std::optional<T>> = true;

template <class T>
requires boost::describe::has_describe_members<T>::value void read(T& out, const JSONText& value,
                                                                   const Place& place) {
    using Members = boost::describe::describe_members<T, boost::describe::mod_public>;
    Fields fields;
    boost::mp11::mp_for_each<Members>([&](auto descriptor) { fields[descriptor.name]; });
    findFields(fields, value, place);
    boost::mp11::mp_for_each<Members>([&](auto descriptor) {
        auto& field = out.*descriptor.pointer;
        const Place here{&place, descriptor.name};
        if (const auto& found = fields[descriptor.name]) {
            read(field, *found, here);
        } else if constexpr (!isOptional<std::remove_reference_t<decltype(field)>>) {
            failMissing(here);
        }
    });
}

}  // namespace decoding

/// Reads a described record, a map or a list from JSON text. Exact keys; unknown keys are ignored; a
/// std::optional field may be absent or null, every other field is required. 3.0 is an integer, 3.5 is not;
/// of duplicate keys the last counts; a real is the double nearest to its text. Throws DecodingError. Any
/// thread.
template <class T>
T decodeJSON(std::string_view text) {
    T out{};
    decoding::read(out, decoding::parse(text), decoding::Place{});
    return out;
}

}  // namespace varkel
