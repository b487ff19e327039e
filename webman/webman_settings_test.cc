// The login user's and the administrators' settings, and modules' data, as
// root with real sessions: where each file lands, whose it is, and what
// never leaves the preference directories.

#include <sys/stat.h>
#include <unistd.h>

#include <functional>
#include <string>

#include <gtest/gtest.h>
#include <json/json.h>

#include <arx/webman.h>

#include "testing/as_root.h"
#include "testing/child_process.h"
#include "testing/json_text.h"
#include "testing/sessions.h"
#include "testing/temp_root.h"
#include "testing/users.h"

namespace {

using arx_testing::JsonOf;
using arx_testing::kAdmin;
using arx_testing::kAlice;

constexpr char kAliceDir[] = "/usr/vorn/etc/preference/alice";
constexpr char kAdminsDir[] = "/usr/vorn/etc/preference/@administrators";

// "uid:gid mode" of a file, or "missing".
std::string Owner(const std::string& path)
{
    struct stat st;
    if (lstat(path.c_str(), &st) != 0)
        return "missing";
    char text[64];
    snprintf(text, sizeof text, "%u:%u %o", static_cast<unsigned>(st.st_uid), static_cast<unsigned>(st.st_gid),
             static_cast<unsigned>(st.st_mode & 07777));
    return text;
}

class SettingsTest : public arx_testing::AsRootTest {
protected:
    void SetUp() override
    {
        AsRootTest::SetUp();
        if (IsSkipped())
            return;
        arx_testing::WriteUserDatabase(root_);
        alice_ = arx_testing::LoginSession("alice", kAlice.password);
        admin_ = arx_testing::LoginSession("admin", kAdmin.password);
        ASSERT_FALSE(alice_.empty());
        ASSERT_FALSE(admin_.empty());
    }

    // Runs body in a request of the session sid ("" for none), switched to
    // its user when asked; what body prints comes back.
    std::string Request(const std::string& sid, bool switchToUser, const std::function<void(WebMan&)>& body)
    {
        const auto run = arx_testing::RunInChild(
            [&] {
                WebMan web(false);
                web.CheckAuthorized(VORN_AUTH_USER, CGI_POSITION_DESKTOP, false);
                if (switchToUser && web.setEUGID() != 0)
                    printf("no switch ");
                body(web);
            },
            arx_testing::WithEnvironment({{"REMOTE_ADDR", "127.0.0.1"}, {"HTTP_COOKIE", "id=" + sid}}));
        return run.output;
    }

    arx_testing::TempRoot root_;
    std::string alice_, admin_;
};

TEST_F(SettingsTest, UserSettingsAndBackgroundTasksLandInThePreferenceDirectory)
{
    EXPECT_EQ(Request(alice_, true,
                      [](WebMan& web) {
                          Json::Value settings = JsonOf(R"({"theme": "dark", "BackgroundTask": {"job": 1}})");
                          const bool saved = web.saveUserJsonSettings(settings);
                          printf("%d %s", saved, arx_testing::CompactJson(settings).c_str());
                      }),
              R"(1 {"theme":"dark"})")
        << "the caller's object loses its tasks";
    EXPECT_EQ(root_.ReadFile(std::string(kAliceDir) + "/usersettings"), "{\"theme\":\"dark\"}\n");
    EXPECT_EQ(root_.ReadFile(std::string(kAliceDir) + "/bkgtask"), "{\"job\":1}\n");
    EXPECT_EQ(Owner(root_.Path(kAliceDir) + "/usersettings"), "2002:2100 644") << "root wrote it for alice";
    EXPECT_EQ(Owner(root_.Path(kAliceDir) + "/bkgtask"), "2002:2100 644");

    struct Row {
        const char* description;
        std::string usersettings;  // written first; "-": as it is
        bool dropTasks;            // bkgtask removed first
        std::string saved;         // then saved; "": nothing saved
        std::string loaded;        // what a load gives, with its result
    };
    const Row rows[] = {
        {"the settings and the tasks", "-", false, "", R"(1 {"BackgroundTask":{"job":1},"theme":"dark"})"},
        {"a save without tasks leaves bkgtask", "-", false, R"({"theme":"light"})",
         R"(1 {"BackgroundTask":{"job":1},"theme":"light"})"},
        {"tasks in the settings file are never used", R"({"BackgroundTask":{"old":1},"a":1})", false, "",
         R"(1 {"BackgroundTask":{"job":1},"a":1})"},
        {"a file that is no object", "[1,2]", false, "", R"(0 {"BackgroundTask":{"job":1}})"},
        {"no bkgtask: an empty object", R"({"a":1})", true, "", R"(1 {"BackgroundTask":{},"a":1})"},
    };
    for (const Row& row : rows) {
        if (row.usersettings != "-")
            root_.WriteFile(std::string(kAliceDir) + "/usersettings", row.usersettings);
        if (row.dropTasks)
            unlink(root_.Path(std::string(kAliceDir) + "/bkgtask").c_str());
        EXPECT_EQ(Request(alice_, true,
                          [&row](WebMan& web) {
                              Json::Value settings = JsonOf(row.saved);
                              if (!row.saved.empty())
                                  web.saveUserJsonSettings(settings);
                              Json::Value loaded;
                              const bool ok = web.loadUserJsonSettings(loaded);
                              printf("%d %s", ok, arx_testing::CompactJson(loaded).c_str());
                          }),
                  row.loaded)
            << row.description;
    }

    // Without a session there is no user and no directory: the settings of
    // nobody are neither read from nor written to "/tmp".
    struct stat before, after;
    const int existed = stat("/tmp/usersettings", &before);
    EXPECT_EQ(Request("", false,
                      [](WebMan& web) {
                          Json::Value settings = JsonOf(R"({"a": 1})");
                          const bool saved = web.saveUserJsonSettings(settings);
                          printf("%d%d %s", saved, web.loadUserJsonSettings(settings), web.GetPreferenceDir().c_str());
                      }),
              "00 /tmp");
    EXPECT_EQ(stat("/tmp/usersettings", &after), existed);
    EXPECT_TRUE(existed != 0 || before.st_mtime == after.st_mtime);
}

TEST_F(SettingsTest, GroupSettingsAreTheAdministrators)
{
    const std::string file = std::string(kAdminsDir) + "/groupsettings";
    const auto saveAndLoad = [](WebMan& web) {
        Json::Value settings = JsonOf(R"({"banner": "maintenance"})");
        Json::Value loaded;
        unsigned long long mtime = 0;
        const bool timed = web.getGrpJsonSettingMtime("administrators", mtime);
        const bool saved = web.saveGroupJsonSettings(settings);
        const bool read = web.loadGroupJsonSettings(loaded) && loaded == settings;
        const bool timedAfter = web.getGrpJsonSettingMtime("administrators", mtime) && mtime + 60 > static_cast<unsigned long long>(time(nullptr));
        printf("%d%d%d%d", saved, read, timed, timedAfter);
    };
    EXPECT_EQ(Request(alice_, true, saveAndLoad), "0000") << "an ordinary user touches no file";
    EXPECT_EQ(Owner(root_.Path(file)), "missing");
    EXPECT_EQ(Request(admin_, true, saveAndLoad), "1101");
    EXPECT_EQ(root_.ReadFile(file), "{\"banner\":\"maintenance\"}\n");
    EXPECT_EQ(Owner(root_.Path(file)), "0:101 644");
}

TEST_F(SettingsTest, ModuleDataRoundTripsAndIsRemoved)
{
    const std::string record = root_.Path(std::string(kAliceDir) + "/tasks/Calendar.json");
    const auto roundTrip = [](const char* module) {
        return [module](WebMan& web) {
            Json::Value data = JsonOf(R"({"view": "month", "days": [1, 2]})");
            Json::Value read;
            const bool written = web.WriteModuleData(module, data);
            const bool exists = web.IsModuleDataExist(module);
            const bool readBack = web.ReadModuleData(module, read) && read == data;
            printf("%d%d%d", written, exists, readBack);
        };
    };
    for (const bool asUser : {true, false}) {
        EXPECT_EQ(Request(alice_, asUser, roundTrip("Calendar")), "111") << "as user: " << asUser;
        EXPECT_EQ(Owner(record), "2002:2100 600") << "as user: " << asUser;
        EXPECT_EQ(Owner(root_.Path(std::string(kAliceDir) + "/tasks")), "2002:2100 700");
        EXPECT_EQ(Request(alice_, asUser,
                          [](WebMan& web) {
                              web.RemoveModuleData("Calendar");
                              Json::Value read;
                              printf("%d%d", web.IsModuleDataExist("Calendar"), web.ReadModuleData("Calendar", read));
                          }),
                  "00");
        EXPECT_EQ(Owner(record), "missing");
    }

    // Names that would lead elsewhere never reach a path; a planted link
    // in place of the tasks directory is not followed.
    for (const std::string& module :
         {std::string("../evil"), std::string("a/b"), std::string(""), std::string(".hidden"), std::string(129, 'm')})
        EXPECT_EQ(Request(alice_, false, roundTrip(module.c_str())), "000") << module;
    EXPECT_EQ(Owner(root_.Path(std::string(kAliceDir) + "/evil.json")), "missing");
    root_.MakeDirs("/elsewhere");
    rmdir(root_.Path(std::string(kAliceDir) + "/tasks").c_str());
    symlink(root_.Path("/elsewhere").c_str(), root_.Path(std::string(kAliceDir) + "/tasks").c_str());
    EXPECT_EQ(Request(alice_, false, roundTrip("Calendar")), "000");
    EXPECT_EQ(Owner(root_.Path("/elsewhere/Calendar.json")), "missing");
}

}  // namespace
