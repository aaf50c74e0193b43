#include "platform/linux/login/LoginFiles.h"

#include <algorithm>
#include <climits>
#include <filesystem>

namespace varkel {

namespace {

constexpr const char* secondsBetweenStarts = "5";

/// Each occurrence of one of `special` gets `prefix` put before it.
std::string escaped(std::string_view text, std::string_view special, char prefix) {
    std::string out;
    for (const char c : text) {
        if (special.find(c) != std::string_view::npos) out += prefix;
        out += c;
    }
    return out;
}

/// In units and in desktop entries alike, a percent sign begins a code and two of them are one.
std::string withoutCodes(std::string_view text) {
    return escaped(text, "%", '%');
}

/// Between quotation marks, with a backslash before each of `special`.
std::string quoted(std::string_view text, std::string_view special) {
    std::string out(1, '"');
    out += escaped(text, special, '\\');
    out += '"';
    return out;
}

std::string unitWord(std::string_view text) {
    return quoted(withoutCodes(text), "\"\\");
}

/// The program and its arguments, for a manager that refuses some paths of programs however they are quoted.
std::vector<std::string> unitCommand(const LoginItem& item) {
    std::vector<std::string> words = item.programArguments;
    if (words.front().find_first_of("'\"\\") != std::string::npos)
        words.insert(words.begin(), {"/bin/sh", "-c", R"(exec "$0" "$@")"});
    return words;
}

/// The colon keeps variables from being filled in.
std::string execStart(const LoginItem& item) {
    const std::vector<std::string> words = unitCommand(item);
    std::string line = "ExecStart=" + unitWord(":" + words.front());
    for (std::size_t i = 1; i < words.size(); ++i) {
        line += ' ';
        line += unitWord(words[i]);
    }
    return line + "\n";
}

std::string output(const char* key, const std::optional<std::string>& path) {
    return path ? std::string(key) + "=append:" + withoutCodes(*path) + "\n" : "";
}

bool isTooLongForAPath(const std::string& text) {
    const std::filesystem::path path(text);
    return text.size() >= PATH_MAX || std::any_of(path.begin(), path.end(), [](const auto& component) {
               return component.native().size() > NAME_MAX;
           });
}

/// The manager reads the value as a wildcard. One that is too long, backslashes included, it would ignore,
/// and start the program without its environment.
std::string environmentFile(const std::string& path) {
    const std::string pattern = escaped(path, "*?[\\", '\\');
    if (isTooLongForAPath(pattern)) throw LoginItemError("too long for a unit to name: " + path);
    return "EnvironmentFile=" + withoutCodes(pattern) + "\n";
}

const char* target(LoginMoment moment) {
    return moment == LoginMoment::graphicalSession ? "graphical-session.target" : "default.target";
}

/// Where the manager is there before the desktop, a start waits until it has been told of the display.
std::string waitForDisplay(const LoginItem& item, LoginMoment moment) {
    if (moment != LoginMoment::firstLogin || !item.keepAlive) return "";
    return "# Without a display each try ends here, and the next one follows.\n"
           "ExecStartPre=/bin/sh -c 'test -n \"$$DISPLAY\"'\n";
}

std::string unitText(const LoginItem& item, const LoginPlaces& places, const std::string& environment) {
    std::string text =
        std::string(loginFileMarker) + "\n[Unit]\nDescription=" + item.label + "\nStartLimitIntervalSec=0\n";
    if (places.moment == LoginMoment::graphicalSession) {
        text += "After=graphical-session.target\nPartOf=graphical-session.target\n";
    }
    text += "\n[Service]\nType=exec\n" + waitForDisplay(item, places.moment) + execStart(item);
    text += environmentFile(environment);
    text += output("StandardOutput", item.standardOutPath) + output("StandardError", item.standardErrorPath);
    if (item.keepAlive) text += std::string("Restart=always\nRestartSec=") + secondsBetweenStarts + "\n";
    return text + "\n[Install]\nWantedBy=" + target(places.moment) + "\n";
}

std::string environmentText(const LoginItem& item) {
    std::string text = std::string(loginFileMarker) + "\n";
    for (const auto& [name, value] : item.environmentVariables) {
        text += name + "=" + quoted(value, "\"\\`$") + "\n";
    }
    return text;
}

/// Quoted as a word of a command, and then as the value of a key.
std::string entryWord(std::string_view text) {
    return escaped(quoted(withoutCodes(text), "\"\\`$"), "\\", '\\');
}

std::string autostartText(const LoginItem& item, const LoginPlaces& places) {
    return std::string(loginFileMarker) + "\n[Desktop Entry]\nType=Application\nName=" + item.label +
           "\nExec=" + entryWord(places.launchctl) + " run " + entryWord(places.propertyList) +
           "\nNoDisplay=true\n";
}

void check(const std::string& place) {
    const bool hasControls = std::any_of(place.begin(), place.end(), [](char c) {
        return static_cast<unsigned char>(c) < 0x20 || c == '\x7F';
    });
    if (!place.starts_with('/') || hasControls) throw LoginItemError("no full path: " + place);
    if (!isTextForUnits(place))
        throw LoginItemError("no unit can hold a path that is not UTF-8, or has noncharacters: " + place);
}

}  // namespace

LoginFiles translateLoginItem(std::string_view propertyList, const LoginPlaces& places) {
    for (const std::string* place : {&places.propertyList, &places.launchctl, &places.configuration})
        check(*place);
    const LoginItem item = parseLoginItem(propertyList);
    LoginFiles files;
    files.label = item.label;
    files.unitName = item.label + ".service";
    files.unit.path = places.configuration + "/systemd/user/" + files.unitName;
    files.environment.path = places.configuration + "/varkel-agent/" + item.label + ".env";
    files.autostart.path = places.configuration + "/autostart/" + item.label + ".desktop";
    files.unit.text = unitText(item, places, files.environment.path);
    files.environment.text = environmentText(item);
    files.autostart.text = autostartText(item, places);
    return files;
}

}  // namespace varkel
