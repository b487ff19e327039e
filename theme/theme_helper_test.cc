// Themes in a scratch root: links made on the first application and
// replaced by the next, what a mapping gets wrong (logged, the next one
// tried), and theme files that are not root's own.

#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <arx/theme_helper.h>

#include "testing/log_capture.h"
#include "testing/temp_root.h"

namespace {

using arx_testing::LogCapture;
using arx_testing::TempRoot;
using arx_testing::WithoutLineNumbers;
using VORN::PAD::ThemeHelper;
using Lines = std::vector<std::string>;

constexpr char kThemeFile[] = "/usr/vorn/theme/theme.json";
const std::string kTargets = "/usr/vorn/vornman/theme";

std::string Mapping(const std::string& source, const std::string& target)
{
    return R"({"source": ")" + source + R"(", "target": ")" + target + R"("})";
}

// An action of two mappings, from the theme's files to the targets.
std::string Apply(const std::string& theme)
{
    return R"({"apply": {"mappings": [)" +
           Mapping("/usr/vorn/theme/" + theme + "/desktop.css", kTargets + "/desktop.css") + ", " +
           Mapping("/usr/vorn/theme/" + theme + "/wallpaper.svg", kTargets + "/wallpaper.svg") + "]}}";
}

class ThemeTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        if (geteuid() != 0)
            GTEST_SKIP() << "the theme file must be root's";
        for (const std::string theme : {"dark", "light"}) {
            root_.WriteFile("/usr/vorn/theme/" + theme + "/desktop.css", theme);
            root_.WriteFile("/usr/vorn/theme/" + theme + "/wallpaper.svg", theme);
        }
        root_.MakeDirs(kTargets);
        const std::string dark = "/usr/vorn/theme/dark/desktop.css";
        root_.WriteFile(kThemeFile, R"({"dark": )" + Apply("dark") + R"(, "light": )" + Apply("light") +
                                        R"(, "broken": {"object": {"mappings": {"source": "/a", "target": "/b"}},
            "missing": {"mappings": [)" +
                                        Mapping("/usr/vorn/theme/gone.css", kTargets + "/desktop.css") +
                                        R"(, {"source": "/a"}]},
            "directory": {"mappings": [)" +
                                        Mapping(dark, kTargets) + R"(]},
            "relative": {"mappings": [)" +
                                        Mapping("dark/desktop.css", kTargets + "/desktop.css") + R"(]}, "none": {}}})");
        ASSERT_TRUE(themes_.Parse());
    }

    // Where the target's link points ("" when it is no link).
    std::string Target(const char* name) const
    {
        char text[PATH_MAX];
        const ssize_t length = readlink(root_.Path(kTargets + "/" + name).c_str(), text, sizeof text);
        return length > 0 ? std::string(text, static_cast<size_t>(length)) : "";
    }
    std::string Source(const char* theme, const char* name) const
    {
        return root_.Path(std::string("/usr/vorn/theme/") + theme + "/" + name);
    }

    TempRoot root_;
    ThemeHelper themes_;
};

TEST_F(ThemeTest, FirstApplicationThenAnotherTheme)
{
    LogCapture log;
    themes_.Action("dark", "apply");
    const std::string targets = root_.Path(kTargets + "/");
    EXPECT_EQ(WithoutLineNumbers(log.texts()), (Lines {"ThemeHelper:# unlink failed: " + targets + "desktop.css",
                                                       "ThemeHelper:# unlink failed: " + targets + "wallpaper.svg"}));
    EXPECT_EQ(Target("wallpaper.svg"), Source("dark", "wallpaper.svg"));

    LogCapture second;
    themes_.Action("light", "apply");
    EXPECT_EQ(second.texts(), Lines {});
    EXPECT_EQ(root_.ReadFile(kTargets + "/desktop.css"), "light");
    EXPECT_EQ(Target("wallpaper.svg"), Source("light", "wallpaper.svg"));
}

TEST_F(ThemeTest, WhatAMappingGetsWrong)
{
    const std::string dark = Source("dark", "desktop.css");
    struct Row {
        const char *theme, *action;
        Lines logged;
        std::string desktopCss;
    };
    const Row rows[] = {
        {"nosuchtheme", "apply", {}, dark},
        {"dark", "nosuchaction", {}, dark},
        {"broken", "none", {}, dark},
        {"broken", "object", {"ThemeHelper:# can not get mappings info"}, dark},
        {"broken", "relative", {"ThemeHelper:# a mapping of broken/relative names no absolute paths: skipped"}, dark},
        {"broken", "directory", {"ThemeHelper:# " + root_.Path(kTargets) + " is a directory: not replaced"}, dark},
        // The target is removed all the same, and no link is left.
        {"broken",
         "missing",
         {"ThemeHelper:# link source " + root_.Path("/usr/vorn/theme/gone.css") + " does not exist."},
         ""},
    };
    for (const Row& row : rows) {
        themes_.Action("dark", "apply");
        LogCapture log;
        themes_.Action(row.theme, row.action);
        EXPECT_EQ(WithoutLineNumbers(log.texts()), row.logged) << row.theme << "/" << row.action;
        EXPECT_EQ(Target("desktop.css"), row.desktopCss) << row.theme << "/" << row.action;
    }
}

TEST(ThemeFileTest, OnlyRootsOwnFile)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "files of another owner need root";
    struct Row {
        mode_t mode;
        uid_t owner;
        const char* content;
        const char* log;
    };
    const Row rows[] = {
        {0644, 0, "{}", nullptr},
        {0646, 0, "{}", "not root's own (owner 0, mode 0646): not a theme file"},
        {0664, 0, "{}", "not root's own (owner 0, mode 0664): not a theme file"},
        {0644, 1000, "{}", "not root's own (owner 1000, mode 0644): not a theme file"},
        {0644, 0, "{\"a\": ", "* Line 1, Column 7"},
        {0, 0, nullptr, "cannot read"},
    };
    for (const Row& row : rows) {
        TempRoot root;
        if (row.content != nullptr) {
            root.WriteFile(kThemeFile, row.content);
            ASSERT_EQ(
                chmod(root.Path(kThemeFile).c_str(), row.mode) | chown(root.Path(kThemeFile).c_str(), row.owner, 0), 0);
        }
        LogCapture log;
        EXPECT_EQ(ThemeHelper().Parse(), row.log == nullptr) << row.log;
        EXPECT_TRUE(row.log == nullptr ||
                    (log.texts().size() == 1 && log.texts()[0].find(row.log) != std::string::npos))
            << row.log;
    }
}

}  // namespace
