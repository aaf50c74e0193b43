#include "platform/linux/login/LoginService.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <system_error>
#include <vector>

#include "base/AtomicFile.h"
#include "base/Environment.h"
#include "base/FileDescriptor.h"
#include "base/ReadFile.h"
#include "platform/Platform.h"
#include "platform/PropertyList.h"
#include "platform/linux/login/LoginFiles.h"
#include "platform/linux/login/UserManager.h"

namespace varkel {

namespace {

constexpr mode_t readableForAll = 0644;
constexpr mode_t ownerOnly = 0600;

/// Larger than any file that this tool writes.
constexpr std::size_t longestLoginFile = 1'048'576;

std::string readPropertyList(const std::string& path) {
    std::string text;
    if (const auto error = readFile(path, longestPropertyList, FileKind::regular, text)) {
        throw std::system_error(error, "cannot read " + path);
    }
    return text;
}

std::string configurationFolder() {
    const auto own = environment().find("XDG_CONFIG_HOME");
    if (own != environment().end() && own->second.starts_with('/')) return own->second;
    return homeDirectory(environment()) + "/.config";
}

LoginFiles filesFor(const std::string& path, LoginMoment moment) {
    LoginPlaces places;
    places.propertyList = std::filesystem::absolute(path).string();
    places.launchctl = executablePath().value_or("");
    places.configuration = configurationFolder();
    places.moment = moment;
    return translateLoginItem(readPropertyList(path), places);
}

/// Whether a file of this name was written by this tool.
bool isOurs(const LoginFile& file) {
    const auto text = readRegularFile(file.path, longestLoginFile);
    return text && text->starts_with(loginFileMarker);
}

void write(const LoginFile& file, mode_t mode) {
    std::error_code absent;
    if (std::filesystem::exists(std::filesystem::symlink_status(file.path, absent)) && !isOurs(file)) {
        throw LoginItemError(file.path + " is there already, and not written by this tool");
    }
    std::filesystem::create_directories(std::filesystem::path(file.path).parent_path());
    writeFileAtomically(file.path, file.text, mode);
}

bool remove(const LoginFile& file) {
    return isOurs(file) && ::unlink(file.path.c_str()) == 0;
}

/// The links by which a unit is enabled, for when no manager is there to remove them.
void removeLinks(const LoginFiles& files) {
    const auto folder = std::filesystem::path(files.unit.path).parent_path();
    for (const char* wants : {"default.target.wants", "graphical-session.target.wants"}) {
        const auto link = folder / wants / files.unitName;
        std::error_code ignored;
        if (std::filesystem::is_symlink(link, ignored)) std::filesystem::remove(link, ignored);
    }
}

/// What the manager says does not matter: it may never have heard of the unit.
void tryToStopUnit(const LoginFiles& files) {
    try {
        controlUserManager({"disable", "--now", files.unitName});
    } catch (const LoginItemError&) {
        // The files go all the same.
    }
}

/// Stops the unit and removes it and its environment. Throws LoginItemError when the manager does not reload;
/// the files are gone then, above all the one with the token.
bool removeUnit(const LoginFiles& files) {
    const bool there = isOurs(files.unit);
    const bool managed = there && userManagerAnswers();
    if (managed) tryToStopUnit(files);
    if (there) {
        removeLinks(files);
        remove(files.unit);
    }
    remove(files.environment);
    if (managed) controlUserManager({"daemon-reload"});
    return there;
}

/// On the way out of a failure, whose reason is the one to tell.
void removeUnitOfFailedLoad(const LoginFiles& files) {
    try {
        removeUnit(files);
    } catch (const LoginItemError&) {
        // Only the reload is missing.
    }
}

void startUnit(const LoginFiles& files, LoginMoment moment) {
    write(files.environment, ownerOnly);
    write(files.unit, readableForAll);
    controlUserManager({"daemon-reload"});
    controlUserManager({"enable", files.unit.path});
    if (moment == LoginMoment::graphicalSession) {
        controlUserManager({"restart", files.unitName});
    } else {
        // It may have to wait for a display.
        controlUserManager({"--no-block", "restart", files.unitName});
    }
}

std::string loadUnit(const std::string& path) {
    const LoginMoment moment =
        hasGraphicalSession() ? LoginMoment::graphicalSession : LoginMoment::firstLogin;
    const LoginFiles files = filesFor(path, moment);
    remove(files.autostart);
    try {
        startUnit(files, moment);
    } catch (...) {
        removeUnitOfFailedLoad(files);
        throw;
    }
    const std::string when = moment == LoginMoment::graphicalSession
                                 ? " runs now and at every login"
                                 : " runs at every login once there is a display";
    return files.label + when + ", as the systemd user unit " + files.unit.path;
}

std::string loadAutostart(const std::string& path) {
    const LoginFiles files = filesFor(path, LoginMoment::graphicalSession);
    removeUnit(files);
    write(files.autostart, readableForAll);
    return "No systemd user manager answers: " + files.label +
           " starts with the desktop from the next login on, by " + files.autostart.path;
}

/// A log is only ever appended to, and only when it is this user's own file: its folder may be open to all.
void sendTo(const std::optional<std::string>& path, int descriptor) {
    if (!path) return;
    const FileDescriptor log(::open(
        path->c_str(), O_WRONLY | O_APPEND | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, ownerOnly));
    struct stat info {};
    if (!log || ::fstat(log.get(), &info) != 0 || !S_ISREG(info.st_mode) || info.st_uid != ::geteuid())
        return;
    ::dup2(log.get(), descriptor);
}

}  // namespace

std::string loadLoginItem(const std::string& propertyListPath) {
    return userManagerAnswers() ? loadUnit(propertyListPath) : loadAutostart(propertyListPath);
}

std::string unloadLoginItem(const std::string& propertyListPath) {
    const LoginFiles files = filesFor(propertyListPath, LoginMoment::graphicalSession);
    // First, since the manager may fail the rest.
    const bool hadEntry = remove(files.autostart);
    std::string done;
    if (removeUnit(files)) done = "Removed the systemd user unit " + files.unit.path;
    if (hadEntry) {
        if (!done.empty()) done += '\n';
        done += "Removed the autostart entry " + files.autostart.path;
    }
    return done;
}

void runLoginItem(const std::string& propertyListPath) {
    LoginItem item = parseLoginItem(readPropertyList(propertyListPath));
    for (const auto& [name, value] : item.environmentVariables) ::setenv(name.c_str(), value.c_str(), 1);
    sendTo(item.standardOutPath, STDOUT_FILENO);
    sendTo(item.standardErrorPath, STDERR_FILENO);
    std::vector<char*> words;
    for (std::string& word : item.programArguments) words.push_back(word.data());
    words.push_back(nullptr);
    ::execv(words.front(), words.data());
    throw std::system_error(errno, std::generic_category(), "cannot start " + item.programArguments.front());
}

}  // namespace varkel
