#include <gmock/gmock.h>

#include <boost/json/parse.hpp>

#include "platform/PropertyList.h"
#include "platform/linux/apps/DesktopEntry.h"
#include "platform/linux/login/LoginFiles.h"

namespace varkel {
namespace {

namespace json = boost::json;

const LoginPlaces places{"/home/j/a \"b\" $c 100%.plist", "/usr/lib/x\\y/launchctl", "/home/j/.config",
                         LoginMoment::graphicalSession};

json::object item() {
    return {
        {"Label", "io.example.agent"},
        {"ProgramArguments", {"/opt/a b/%h$X/agent", "--port", "1", "", "a \"b\" \\ $HOME %n ; 'c'"}},
        {"RunAtLoad", true},
        {"KeepAlive", true},
        {"StandardOutPath", "/tmp/a %b.log"},
        {"EnvironmentVariables", {{"TOKEN", " \"q\" $x `y` \\ 'z' %h"}, {"EMPTY", ""}}},
    };
}

LoginFiles translate(const json::object& list, const LoginPlaces& at = places) {
    return translateLoginItem(serializePropertyList(list), at);
}

TEST(LoginFiles, WritesAUnitThatSaysWhatTheListSays) {
    const LoginFiles files = translate(item());
    EXPECT_EQ(files.unitName, "io.example.agent.service");
    EXPECT_EQ(files.unit.path, "/home/j/.config/systemd/user/io.example.agent.service");
    EXPECT_EQ(files.unit.text, std::string(loginFileMarker) +
                                   R"(
[Unit]
Description=io.example.agent
StartLimitIntervalSec=0
After=graphical-session.target
PartOf=graphical-session.target

[Service]
Type=exec
ExecStart=":/opt/a b/%%h$X/agent" "--port" "1" "" "a \"b\" \\ $HOME %%n ; 'c'"
EnvironmentFile=/home/j/.config/varkel-agent/io.example.agent.env
StandardOutput=append:/tmp/a %%b.log
Restart=always
RestartSec=5

[Install]
WantedBy=graphical-session.target
)");
    EXPECT_EQ(files.environment.path, "/home/j/.config/varkel-agent/io.example.agent.env");
    EXPECT_EQ(files.environment.text,
              std::string(loginFileMarker) + "\nEMPTY=\"\"\nTOKEN=\" \\\"q\\\" \\$x \\`y\\` \\\\ 'z' %h\"\n");
    for (const std::string& text : {files.unit.text, files.autostart.text})
        EXPECT_THAT(text, testing::Not(testing::HasSubstr("`y`")));
}

TEST(LoginFiles, StartsAProgramWhosePathTheManagerRefusesThroughAShell) {
    const std::string shell = R"(":/bin/sh" "-c" "exec \"$0\" \"$@\"" )";
    const std::pair<const char*, std::string> cases[] = {
        {"/home/o'neil/$X %h/agent", shell + R"("/home/o'neil/$X %%h/agent")"},
        {R"(/a"b/agent)", shell + R"("/a\"b/agent")"},
        {R"(/a\b/agent)", shell + R"("/a\\b/agent")"},
        {"/a b;`c`/[*]/agent", R"(":/a b;`c`/[*]/agent")"}};
    for (const auto& [program, words] : cases) {
        json::object list = item();
        list["ProgramArguments"] = {program, "--port", "it's"};
        EXPECT_THAT(translate(list).unit.text,
                    testing::HasSubstr("\nExecStart=" + words + " \"--port\" \"it's\"\n"));
    }
}

TEST(LoginFiles, WritesAnAutostartEntryWhoseWordsReadBack) {
    const LoginFiles files = translate(item());
    EXPECT_EQ(files.autostart.path, "/home/j/.config/autostart/io.example.agent.desktop");
    const auto entry = parseDesktopEntry(files.autostart.text);
    ASSERT_TRUE(entry);
    EXPECT_THAT(expandFieldCodes(*entry), testing::ElementsAre(places.launchctl, "run", places.propertyList));
}

TEST(LoginFiles, RefusesListsThatItCannotWriteDown) {
    std::string longList = "[\"/bin/true\"";
    std::string manyVariables = "{\"A\":\"\"";
    for (int i = 0; i < 256; ++i) {
        longList += ",\"x\"";
        manyVariables += ",\"V" + std::to_string(i) + "\":\"\"";
    }
    // In JSON; empty for a list without the key.
    const std::pair<const char*, std::vector<std::string>> cases[] = {
        {"Label",
         {"", R"("")", R"(true)", R"("../../evil")", R"("a/b.c")", R"(".hidden")", R"("-r.f")", R"("a b.c")",
          R"("a.%h")", R"("template.x@y")", R"("a.b\nExecStart=/bin/sh")",
          '"' + std::string(127, 'a') + ".b\"",
          // A unit of that name would stand in for the system's.
          R"("dbus")", R"("dbus.")", R"("a..b")"}},
        {"ProgramArguments",
         {"", R"("/bin/true")", R"([])", R"(["relative"])", R"([""])", R"(["/bin/true", true])",
          R"(["/bin/true", "a\nExecStart=/bin/sh"])", R"(["/bin/true", "a\u007F"])", longList + "]"}},
        {"RunAtLoad", {R"("yes")"}},
        {"KeepAlive", {R"({"SuccessfulExit": false})"}},
        {"StandardOutPath",
         {R"(true)", R"("relative.log")", R"("/tmp/x\\")", R"("/tmp/x ")", R"("/tmp/\uFDD0")"}},
        {"StandardErrorPath", {R"("/tmp/x\nUser=root")"}},
        {"EnvironmentVariables",
         {R"("A=b")", R"({"A": true})", R"({"": "b"})", R"({"1A": "b"})", R"({"A=B": "b"})",
          R"({"A": "b\nLD_PRELOAD=/x"})", R"({"A": "\uD83F\uDFFF"})", manyVariables + "}"}}};
    for (const auto& [key, values] : cases) {
        for (const std::string& value : values) {
            json::object list = item();
            list.erase(key);
            if (!value.empty()) list.emplace(key, json::parse(value));
            EXPECT_THROW(translate(list), LoginItemError) << key << " " << value;
        }
    }
    json::object never = item();
    never["RunAtLoad"] = false;
    never["KeepAlive"] = false;
    EXPECT_THROW(translate(never), LoginItemError);
    LoginPlaces broken = places;
    broken.configuration = "/home/j\n[Service]";
    EXPECT_THROW(translate(item(), broken), LoginItemError);
}

TEST(LoginFiles, NamesTheEnvironmentSoThatNoPartOfItIsAWildcard) {
    const auto line = [](const std::string& configuration) {
        LoginPlaces at = places;
        at.configuration = configuration;
        const std::string text = translate(item(), at).unit.text;
        const auto start = text.find("EnvironmentFile=");
        return text.substr(start, text.find('\n', start) - start);
    };
    const std::string rest = "/varkel-agent/io.example.agent.env";
    EXPECT_EQ(line(R"(/h/[!a]*?\b)"), R"(EnvironmentFile=/h/\[!a]\*\?\\b)" + rest);
    EXPECT_EQ(line(R"(/h/a b's "{c,d}" ~$HOME 100%)"),
              R"(EnvironmentFile=/h/a b's "{c,d}" ~$HOME 100%%)" + rest);

    // The manager drops a longer path, and starts the program without the token.
    const std::string stars(127, '*');
    EXPECT_NO_THROW(line("/h/" + stars + "a"));
    EXPECT_THROW(line("/h/" + stars + "ab"), LoginItemError);
    std::string folder = "/" + std::string(4095 - 1 - rest.size(), 'a');
    for (std::size_t at = 0; at < folder.size(); at += 200) folder[at] = '/';
    EXPECT_NO_THROW(line(folder));
    EXPECT_THROW(line(folder + "a"), LoginItemError);
}

TEST(LoginFiles, RefusesBytesThatAreNoPropertyList) {
    const std::string good = serializePropertyList(item());
    const auto with = [&](const std::string& more) {
        std::string text = good;
        return text.insert(text.rfind("</dict>"), more);
    };
    // What a newer tool might write is no hindrance.
    EXPECT_NO_THROW(translateLoginItem(with("<key>x</key><array><data>AAAA</data></array>"), places));
    for (const std::string& bytes :
         {std::string(), std::string("bplist00\xD1\x01\x02"), std::string("<plist/>"),
          with("<string>x</string>"), with("<key>x</key><string>&unknown;</string>"),
          with("<key>x</key><string>\xFF</string>"), with("<key>x</key><unknown/>"), with("</array>"),
          with(std::string(longestPropertyList, ' '))}) {
        EXPECT_THROW(translateLoginItem(bytes, places), LoginItemError) << bytes.substr(0, 100);
    }
    // Wherever it was cut off, half a list says nothing.
    for (std::size_t size = 0; size + 1 < good.size(); ++size)
        EXPECT_THROW(translateLoginItem(good.substr(0, size), places), LoginItemError) << size;
}

}  // namespace
}  // namespace varkel
