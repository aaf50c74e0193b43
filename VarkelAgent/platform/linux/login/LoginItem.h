#pragma once

#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace varkel {

/// A property list that cannot be made to start at login. what() says why, for the person who asked.
class LoginItemError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// Whether the text is valid UTF-8 without Unicode's noncharacters (such as U+FDD0 and U+FFFF): all that a
/// unit, or a file that it names, may hold. Any thread.
bool isTextForUnits(const std::string& text);

/// What a property list asks the service manager for. All texts are fit for units (isTextForUnits), without
/// control characters.
struct LoginItem {
    /// Letters, digits, dots (one at least), dashes and underscores; fit for a file name.
    std::string label;
    /// At least one; the first is an absolute path.
    std::vector<std::string> programArguments;
    bool keepAlive = false;
    /// Absolute paths.
    std::optional<std::string> standardOutPath;
    std::optional<std::string> standardErrorPath;
    /// The names are those of shell variables.
    std::map<std::string, std::string> environmentVariables;
};

/// Reads an XML property list. Keys that are not known here are ignored. Throws LoginItemError for everything
/// else that is not as LoginItem describes. Pure: any bytes may come, any thread.
LoginItem parseLoginItem(std::string_view propertyList);

}  // namespace varkel
