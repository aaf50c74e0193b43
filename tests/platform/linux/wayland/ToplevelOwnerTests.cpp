// Whose a window is that a compositor lists by its title and its application's identifier.

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "platform/linux/wayland/ToplevelOwner.h"

namespace varkel {
namespace {

struct Case {
    const char* what;
    const char* title;
    const char* applicationId;
    bool activated;
    std::vector<OwnedWindow> windows;
    std::optional<pid_t> owner;
};

TEST(ToplevelOwner, IsTheProcessThatFitsBestAndNoneWhereSeveralDo) {
    const ProgramNames gedit{"gedit", ""};
    const ProgramNames form{"python3", "form.py"};
    const std::optional<pid_t> none;
    const std::vector<Case> cases{
        {"its title", "Notes", "x", false, {{1, form, "Notes", false}, {2, gedit, "Other", true}}, 1},
        {"its program",
         "Notes",
         "org.gnome.Gedit",
         false,
         {{1, form, "", false}, {2, gedit, "Other", false}},
         2},
        {"its script", "Notes", "form.py", true, {{1, form, "form", true}, {2, gedit, "Other", true}}, 1},
        {"a title counts more than a name",
         "A",
         "gedit",
         true,
         {{1, form, "A", false}, {2, gedit, "B", true}},
         1},
        {"a name decides between titles",
         "A",
         "gedit",
         true,
         {{1, form, "A", true}, {2, gedit, "A", false}},
         2},
        {"the active one of two", "A", "gedit", true, {{1, gedit, "A", false}, {2, gedit, "A", true}}, 2},
        {"which of two is not told",
         "A",
         "gedit",
         false,
         {{1, gedit, "A", false}, {2, gedit, "A", true}},
         none},
        {"two windows of one process",
         "A",
         "gedit",
         false,
         {{3, gedit, "A", false}, {3, gedit, "A", true}},
         3},
        {"no title is no match", "", "x", true, {{1, form, "", true}}, none},
        {"part of a name is no match", "", "edit", true, {{1, gedit, "", true}}, none},
        {"bytes that are no text", "", "\xff", true, {{1, {"\xff", ""}, "", true}}, none},
        {"nothing", "A", "gedit", true, {}, none},
    };
    for (const Case& each : cases)
        EXPECT_EQ(ownerOf(each.title, each.applicationId, each.activated, each.windows), each.owner)
            << each.what;
}

}  // namespace
}  // namespace varkel
