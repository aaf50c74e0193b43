#pragma once

#include <boost/json/object.hpp>
#include <string>
#include <string_view>

namespace varkel {

/// The longest property list that is read, in bytes, and the deepest nesting.
inline constexpr std::size_t longestPropertyList = 65'536;
inline constexpr int deepestPropertyList = 16;

/// The XML property list with this dictionary. Its values are texts, booleans, arrays and dictionaries.
/// Throws std::invalid_argument for any other value, and for a text that XML cannot carry as it is: not valid
/// UTF-8, or with control characters in it. Any thread.
std::string serializePropertyList(const boost::json::object& dictionary);

/// The dictionary that an XML property list holds. Values that JSON has no kind for (dates, data) are null.
/// Texts are valid UTF-8. Throws std::invalid_argument when the bytes are no such list or too many. Any bytes
/// may come; any thread.
boost::json::object parsePropertyList(std::string_view xml);

}  // namespace varkel
