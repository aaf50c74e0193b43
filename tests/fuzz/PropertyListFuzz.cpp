// Property lists: what is made to start at login, and the files that say so, which another program reads line
// by line.

#include <boost/json/object.hpp>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "base/UnicodeText.h"
#include "fuzz/Property.h"
#include "platform/PropertyList.h"
#include "platform/linux/login/LoginFiles.h"

namespace varkel::fuzzing {
namespace {

std::optional<boost::json::object> parsed(std::string_view bytes) {
    try {
        return parsePropertyList(bytes);
    } catch (const std::invalid_argument&) {
        return std::nullopt;
    }
}

std::optional<std::string> serialized(const boost::json::object& list) {
    try {
        return serializePropertyList(list);
    } catch (const std::invalid_argument&) {
        return std::nullopt;
    }
}

/// The deepest lists and the longest may grow when they are written again, and be refused then.
void checkList(const boost::json::object& list) {
    const auto text = serialized(list);
    if (!text || text->size() > longestPropertyList) return;
    const auto again = parsed(*text);
    require(again.has_value(), "what was written can be read");
    require(*again == list, "a list survives being written and read");
}

std::size_t countOf(std::string_view text, std::string_view part) {
    std::size_t count = 0;
    for (std::size_t at = text.find(part); at != std::string_view::npos; at = text.find(part, at + 1))
        ++count;
    return count;
}

void checkText(const LoginFile& file) {
    require(isValidUTF8(file.text), "the files are UTF-8");
    require(file.text.starts_with(loginFileMarker) && file.text.ends_with('\n'),
            "a file is marked and whole");
    for (const char c : file.text) {
        require(c == '\n' || (static_cast<unsigned char>(c) >= 0x20 && c != '\x7F'),
                "a file has no controls");
    }
    require(file.path.find("/../") == std::string::npos, "a file stays in its folder");
}

void checkFiles(const LoginFiles& files, const LoginItem& item) {
    checkText(files.unit);
    checkText(files.environment);
    checkText(files.autostart);
    // Nothing that a list holds begins a line of its own.
    require(countOf(files.unit.text, "\nExecStart=") == 1, "a unit starts one program");
    require(countOf(files.unit.text, "\n[") == 3, "a unit has its three sections");
    require(countOf(files.autostart.text, "\nExec=") == 1, "an entry starts one program");
    require(countOf(files.environment.text, "\n") == 1 + item.environmentVariables.size(),
            "a variable has one line");
}

}  // namespace

void check(std::string_view bytes) {
    if (bytes.empty()) return;
    if (const auto list = parsed(bytes)) checkList(*list);
    LoginPlaces places{"/home/x/list %u.plist", "/usr/bin/launchctl", "/home/x/.config"};
    for (const LoginMoment moment : {LoginMoment::graphicalSession, LoginMoment::firstLogin}) {
        places.moment = moment;
        try {
            checkFiles(translateLoginItem(bytes, places), parseLoginItem(bytes));
        } catch (const LoginItemError&) {
            continue;
        }
    }
}

}  // namespace varkel::fuzzing
