#pragma once

#include <boost/json/object.hpp>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace varkel::mcp {

/// What a tool's argument may be.
struct Argument {
    enum class Type { text, integer, number, flag, texts };
    enum class Presence { optional, required };

    const char* name;
    Type type;
    Presence presence = Presence::optional;
    /// Empty when the name says it all.
    const char* description = "";
    /// The smallest number.
    std::int64_t least = 0;
    /// The only texts that there are, or none.
    std::span<const char* const> choices = {};
};

/// The arguments of a call, checked against what its tool takes. Names that the tool does not take must not
/// be asked for.
class Arguments {
  public:
    /// Throws ToolError with a sentence about the first faulty one. null is the same as leaving an argument
    /// out.
    Arguments(std::span<const Argument> known, const boost::json::object& given);

    bool has(std::string_view name) const { return given_.contains(name); }
    std::optional<std::string> text(std::string_view name) const;
    std::optional<std::int64_t> integer(std::string_view name) const;
    bool flag(std::string_view name) const;

    /// The arguments with these names, as they were given: fields of the agent's own bodies.
    boost::json::object pick(std::span<const std::string_view> names) const;

  private:
    boost::json::object given_;
};

/// A JSON schema of an object with these arguments and no others.
boost::json::object inputSchema(std::span<const Argument> arguments);

}  // namespace varkel::mcp
