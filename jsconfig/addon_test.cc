// What a page loads beyond the modules: the style sheets an application
// adds and the filters for the desktop and for a standalone application on
// its own port, and the add-on packages' descriptions (keys, titles per
// language, and what a package gets wrong or plants).

#include <stdlib.h>
#include <unistd.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <json/json.h>

#include <arx/js_config_parser.h>

#include "testing/log_capture.h"
#include "testing/module_tree.h"
#include "testing/temp_root.h"

namespace {

using arx_testing::LogCapture;
using arx_testing::ModulePath;
using arx_testing::TempRoot;
using arx_testing::WithoutLineNumbers;
using arx_testing::WriteModule;
using VORN::PAD::JSConfigParser;
using Lines = std::vector<std::string>;

constexpr char kAddOns[] = "/usr/vorn/vornman/webman/3rdparty";

// A module of one application: {".url": {"T.NAME": ENTRY}}, texts and a style sheet.
void WriteApp(const TempRoot& root, const std::string& name, const std::string& entry)
{
    WriteModule(root, {name, R"({".url": {"T.)" + name + R"(": )" + entry + "}}", {{"enu", "[a]\nb=c\n"}}, true});
}

// The style sheets' paths, without their stamps.
Lines Paths(const Json::Value& cssFiles)
{
    Lines paths;
    for (const Json::Value& url : cssFiles)
        paths.push_back(url.asString().substr(0, url.asString().rfind("?v=")));
    return paths;
}

Lines Ids(const Json::Value& object)
{
    return object.getMemberNames();
}

TEST(StyleSheetTest, DesktopAndAlternatePortFilters)
{
    TempRoot root;
    const std::string texts = R"("type": "app", "texts": "texts")";
    WriteApp(root, "Utils", "{" + texts + "}");
    WriteApp(root, "Other", "{" + texts + "}");
    WriteApp(root, "Pkg", "{" + texts + R"(, "additionalCSSFiles": ["pkg2.css"]})");
    WriteApp(root, "Plain", "{" + texts + R"(, "white_pkg_list": ["T.Pkg"]})");
    WriteApp(root, "Std", R"({"type": "standalone", "texts": "texts", "loadCssInARX": false,
        "additionalCSSFiles": ["extra.css", "missing.css", "../Other/style.css", 5], "white_pkg_list": ["T.Pkg", "T.Nobody"]})");
    WriteApp(root, "NoList", R"({"type": "standalone", "texts": "texts", "loadCssInARX": "no"})");
    WriteApp(root, "Loaded", R"({"type": "standalone", "loadCssInARX": true, "white_pkg_list": [], "css_file": 5})");
    root.WriteFile(ModulePath("Pkg", "pkg2.css"), "");
    root.WriteFile(ModulePath("Std", "extra.css"), "");
    const std::string m = "webman/modules/";
    const Lines all = {m + "Loaded/style.css", m + "NoList/style.css", m + "Other/style.css",
                       m + "Pkg/pkg2.css",     m + "Pkg/style.css",    m + "Plain/style.css",
                       m + "Std/extra.css",    m + "Std/style.css",    m + "Utils/style.css"};
    Lines desktop = all;
    desktop.erase(desktop.begin() + 7);  // Std asked not to be loaded with the desktop
    const Lines allTexts = {"T.NoList", "T.Other", "T.Pkg", "T.Plain", "T.Std", "T.Utils"};

    // The page's application, REWRITE_APP, the style sheets and texts kept.
    struct Row {
        const char* app;
        const char* rewrite;
        Lines css;
        Lines texts;
    };
    const Row rows[] = {
        {nullptr, nullptr, desktop, allTexts},
        {"", nullptr, desktop, allTexts},
        // Its own style.css, the packages' style sheets, the fixed ones; not
        // its own additional ones.
        {"T.Std",
         nullptr,
         {m + "Pkg/pkg2.css", m + "Pkg/style.css", m + "Std/style.css", m + "Utils/style.css"},
         {"T.Pkg", "T.Std"}},
        {nullptr,
         "T.Std",
         {m + "Pkg/pkg2.css", m + "Pkg/style.css", m + "Std/style.css", m + "Utils/style.css"},
         {"T.Pkg", "T.Std"}},
        {"T.Loaded", nullptr, {m + "Loaded/style.css", m + "Utils/style.css"}, {}},
        {"T.NoList", nullptr, all, allTexts},
        {"T.Plain", nullptr, desktop, {"T.Pkg", "T.Plain"}},
        {"T.Nobody", nullptr, desktop, allTexts},
    };
    for (const Row& row : rows) {
        const std::string label = row.app ? row.app : row.rewrite ? row.rewrite : "(desktop)";
        if (row.rewrite != nullptr)
            setenv("REWRITE_APP", row.rewrite, 1);
        JSConfigParser parser("enu", false);
        parser.ParsePathFromVornman(row.app);
        unsetenv("REWRITE_APP");
        EXPECT_EQ(Paths(parser.GetCSSFiles()), row.css) << label;
        EXPECT_EQ(Ids(parser.GetTexts()), row.texts) << label;
        if (row.app != nullptr && std::string(row.app) == "T.Nobody") {
            EXPECT_TRUE(parser.GetAppConfig().isMember("T.Nobody") && parser.GetAppConfig()["T.Nobody"].isNull());
        }
    }
    JSConfigParser parser("enu", false);
    parser.Parse(nullptr);
    const Json::Value std = parser.GetAppConfig()["T.Std"];
    EXPECT_EQ(Ids(std["css_file"]), (Lines {"modules/Std/extra.css", "modules/Std/style.css"}));
    EXPECT_EQ(Ids(std["standalone_css_file"]), Lines {"modules/Std/style.css"});
}

// An add-on package's description file.
struct AddOn {
    std::string name, desktopCfg, applicationCfg, config;
};

void WriteAddOn(const TempRoot& root, const AddOn& addOn)
{
    const std::string dir = std::string(kAddOns) + "/" + addOn.name;
    root.MakeDirs(dir);
    if (!addOn.desktopCfg.empty())
        root.WriteFile(dir + "/desktop.cfg", addOn.desktopCfg);
    if (!addOn.applicationCfg.empty())
        root.WriteFile(dir + "/application.cfg", addOn.applicationCfg);
    if (!addOn.config.empty())
        root.WriteFile(dir + "/config", addOn.config);
}

TEST(AddOnTest, DescriptionsBecomeEntries)
{
    TempRoot root;
    WriteAddOn(root, {"Both", "text=Desk\nicon=d.png\nadminonly=FALSE\nprotocol=https\nport=8443\npath=/both\n",
                      "text_ger=Anwendung\ntext=Application\ndescription=Does\nicon_16=s.png\nicon_32=l.png\n"
                      "type=Embedded\nadminonly=no\nversion=2.1\naddress=10.0.0.5\n",
                      ""});
    WriteAddOn(root, {"Module", "text=Ignored\n", "", R"({".url": {"M.App": {"type": "url"}}})"});
    WriteAddOn(root, {"Untitled", "description_ger=Beschreibung\n", "", ""});
    WriteAddOn(root, {"Empty", "", "", ""});
    setenv("HTTP_HOST", "nas.local:5000", 1);
    unsetenv("HTTPS");
    LogCapture log;
    JSConfigParser german("ger", false);
    german.ParsePathFromVornman(nullptr);
    unsetenv("HTTP_HOST");
    const Json::Value apps = german.GetAppConfig();
    const std::string p = "VORN.PAD._ThirdParty.";
    EXPECT_EQ(Ids(apps), (Lines {"M.App", p + "App.Both", p + "Desktop.Both", p + "Desktop.Untitled"}));

    struct Row {
        std::string id, key;
        Json::Value value;
    };
    const Row rows[] = {
        {p + "Desktop.Both", "allUsers", true},
        {p + "Desktop.Both", "title", "Desk"},
        {p + "Desktop.Both", "desc", ""},
        {p + "Desktop.Both", "icon", "d.png"},
        {p + "Desktop.Both", "type", "url"},
        {p + "Desktop.Both", "url", "https://nas.local:8443/both"},
        {p + "Desktop.Both", "jsBaseURL", "webman/3rdparty/Both"},
        {p + "App.Both", "allUsers", false},
        {p + "App.Both", "title", "Anwendung"},
        {p + "App.Both", "desc", "Does"},
        {p + "App.Both", "icon_32", "l.png"},
        {p + "App.Both", "type", "legacy"},
        {p + "App.Both", "version", "2.1"},
        {p + "App.Both", "url", "http://10.0.0.5:5000"},
        {p + "App.Both", "icon", Json::Value()},
        {p + "Desktop.Untitled", "title", "ThirdParty"},
        {p + "Desktop.Untitled", "desc", "Beschreibung"},
        {p + "Desktop.Untitled", "allUsers", false},
    };
    for (const Row& row : rows)
        EXPECT_EQ(apps[row.id][row.key], row.value) << row.id << " " << row.key;
    EXPECT_EQ(german.GetJSConfigs()["webman/3rdparty/Both/.url"][p + "App.Both"]["jsID"], p + "App.Both");
    EXPECT_EQ(Paths(german.GetCSSFiles()), Lines {}) << "add-ons add no style sheets";
    EXPECT_EQ(WithoutLineNumbers(log.texts()),
              Lines {"JSConfigParser:# webman/3rdparty/Untitled/desktop.cfg: There is no text for the third party "
                     "application."});

    // Without a Host there is no URL.
    JSConfigParser english("enu", false);
    english.Parse(nullptr);
    EXPECT_EQ(english.GetAppConfig()[p + "App.Both"]["title"], "Application");
    EXPECT_EQ(english.GetAppConfig()[p + "App.Both"]["url"], "");
    EXPECT_EQ(english.GetAppConfig()[p + "Desktop.Both"]["jsBaseURL"], "3rdparty/Both");
}

TEST(AddOnTest, HostilePackagesAreLoggedAndSkipped)
{
    const std::string d = "webman/3rdparty/Bad";
    struct Row {
        const char* description;
        std::string content;
        std::string log;
        const char* link = nullptr;
    };
    const Row rows[] = {
        {"a very long line", "text=" + std::string(5000, 'x') + "\n", "Failed to parse " + d + "/desktop.cfg"},
        {"binary content",
         std::string("\x7f"
                     "ELF\x02\x01\x01\0\0",
                     9),
         "Failed to parse " + d + "/desktop.cfg"},
        {"a huge file", std::string(70000, '#'), "Failed to parse " + d + "/desktop.cfg"},
        {"the package linked out of the web root", "", "Skip " + d + ": a link out of the web root.", "/outside"},
        {"the description linked out", "", "Skip " + d + "/desktop.cfg: a link out of the web root.",
         "/outside/desktop.cfg"},
    };
    for (const Row& row : rows) {
        TempRoot root;
        WriteAddOn(root, {"Good", "text=Good\n", "", ""});
        root.WriteFile("/outside/desktop.cfg", "text=Secret\nadminonly=false\n");
        const std::string bad = root.Path(std::string(kAddOns) + "/Bad");
        if (row.link == nullptr) {
            root.WriteFile(std::string(kAddOns) + "/Bad/desktop.cfg", row.content);
        } else {
            const std::string link = std::string(row.link) == "/outside" ? bad : bad + "/desktop.cfg";
            root.MakeDirs(std::string(kAddOns) + "/Bad");
            arx_testing::RemoveTree(link);
            ASSERT_EQ(symlink(root.Path(row.link).c_str(), link.c_str()), 0);
        }
        LogCapture log;
        JSConfigParser parser("enu", false);
        parser.ParsePathFromVornman(nullptr);
        EXPECT_EQ(Ids(parser.GetAppConfig()), Lines {"VORN.PAD._ThirdParty.Desktop.Good"}) << row.description;
        EXPECT_EQ(WithoutLineNumbers(log.texts()), Lines {"JSConfigParser:# " + row.log}) << row.description;
    }
}

}  // namespace
