#pragma once

#include <boost/describe.hpp>
#include <boost/json/value.hpp>
#include <concepts>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

namespace varkel {

/// Writes compact JSON text as records are walked, with no document in between. Numbers come out as people
/// read them (120, 120.5, 0.8). What JSON cannot represent (a non-finite number, invalid UTF-8) makes ok()
/// false for good; the text is then of no use. Not for use from several threads at once.
class JSONEncoder {
  public:
    bool ok() const { return ok_; }
    std::string take() && { return std::move(out_); }

    void write(bool value) { out_ += value ? "true" : "false"; }
    void write(double value);
    void write(float value);
    void write(std::string_view value);
    void write(const std::string& value) { write(std::string_view(value)); }
    void write(const char* value) { write(std::string_view(value)); }
    void write(const boost::json::value& value);
    void write(const boost::json::object& value);

    template <std::integral T>
    void write(T value) {
        if constexpr (std::is_signed_v<T>) {
            writeInteger(static_cast<std::int64_t>(value));
        } else {
            writeInteger(static_cast<std::uint64_t>(value));
        }
    }

    template <class T>
    void write(const std::vector<T>& values) {
        out_ += '[';
        for (bool first = true; const T& value : values) {
            if (!first) out_ += ',';
            first = false;
            write(value);
        }
        out_ += ']';
    }

    template <class T>
    void write(const std::map<std::string, T>& values) {
        out_ += '{';
        bool first = true;
        for (const auto& [key, value] : values) member(first, key, value);
        out_ += '}';
    }

    /// A described record: its fields under their own names, absent optional fields left out.
    template <class T>
    requires boost::describe::has_describe_members<T>::value void write(const T& record) {
        out_ += '{';
        bool first = true;
        using Members = boost::describe::describe_members<T, boost::describe::mod_public>;
        boost::mp11::mp_for_each<Members>(
            [&](auto descriptor) { member(first, descriptor.name, record.*descriptor.pointer); });
        out_ += '}';
    }

  private:
    template <class T>
    void member(bool& first, std::string_view key, const std::optional<T>& value) {
        if (value) member(first, key, *value);
    }

    template <class T>
    void member(bool& first, std::string_view key, const T& value) {
        if (!first) out_ += ',';
        first = false;
        write(key);
        out_ += ':';
        write(value);
    }

    void writeInteger(std::int64_t value);
    void writeInteger(std::uint64_t value);

    std::string out_;
    bool ok_ = true;
};

/// The JSON text of a value, or nothing when JSON cannot represent it. Any thread.
template <class T>
std::optional<std::string> encodeJSON(const T& value) {
    JSONEncoder encoder;
    encoder.write(value);
    if (!encoder.ok()) return std::nullopt;
    return std::move(encoder).take();
}

}  // namespace varkel
