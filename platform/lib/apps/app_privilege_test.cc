// The application privilege table: who may open what (deny wins, no entry
// denies, groups count), what cannot be read (never a yes), and changes of
// one name's rule; and the key-value pair reader that add-on descriptions
// are read with.

#include <sys/stat.h>
#include <unistd.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <vorn/app_privilege.h>
#include <vorn/err.h>
#include <vorn/file.h>
#include <vorn/hash.h>

#include "testing/temp_root.h"
#include "testing/users.h"

namespace {

using arx_testing::TempRoot;

constexpr char kTable[] = "/usr/vorn/etc/app_privilege.json";

TEST(AppPrivilegeTest, AllowAndDenyRows)
{
    // alice: users (primary), staff, projects; admin: administrators.
    TempRoot root;
    arx_testing::WriteUserDatabase(root);
    root.WriteFile(kTable, R"({
        "A.User":      {"allow": ["alice"]},
        "A.Group":     {"allow": ["@staff"]},
        "A.Primary":   {"allow": ["@users"]},
        "A.DenyUser":  {"allow": ["@staff"], "deny": ["alice"]},
        "A.DenyGroup": {"allow": ["alice"], "deny": ["@projects"]},
        "A.Others":    {"allow": ["bob", "@administrators", "@nosuchgroup", 5, "@"]},
        "A.DenyOnly":  {"deny": ["bob"]},
        "A.Empty":     {}
    })");
    struct Row {
        const char* user;
        const char* app;
        int answer;
    };
    const Row rows[] = {
        {"alice", "A.User", 1},     {"ALICE", "A.User", 1},      {"alice", "A.Group", 1},  {"alice", "A.Primary", 1},
        {"alice", "A.DenyUser", 0}, {"alice", "A.DenyGroup", 0}, {"alice", "A.Others", 0}, {"admin", "A.Others", 1},
        {"admin", "A.User", 0},     {"alice", "A.DenyOnly", 0},  {"alice", "A.Empty", 0},  {"alice", "A.Missing", 0},
        {"nobody", "A.User", 0},    {"D\\alice", "A.User", 0},   {"", "A.User", -1},       {"alice", "", -1},
    };
    for (const Row& row : rows)
        EXPECT_EQ(VLIBAppPrivUserHas(row.user, row.app, ""), row.answer) << row.user << " " << row.app;
    EXPECT_EQ(VLIBAppPrivUserHas(nullptr, "A.User", nullptr), -1);
}

// Whatever cannot be read is never a yes.
TEST(AppPrivilegeTest, UnreadableTables)
{
    struct Row {
        const char* description;
        std::string table;
        int answer;
    };
    const Row rows[] = {
        {"no table", "-", 0},
        {"not JSON", "{\"A.User\": {\"allow\": [\"alice\"]", -1},
        {"an array", "[]", -1},
        {"an entry that is no object", R"({"A.User": {"allow": ["alice"]}, "B": 1})", -1},
        {"a list that is no array", R"({"A.User": {"allow": "alice"}})", -1},
        {"a link", "link", -1},
        {"a directory", "dir", -1},
    };
    for (const Row& row : rows) {
        TempRoot root;
        arx_testing::WriteUserDatabase(root);
        const std::string path = root.Path(kTable);
        root.MakeDirs("/usr/vorn/etc");
        if (row.table == "link") {
            root.WriteFile("/elsewhere.json", R"({"A.User": {"allow": ["alice"]}})");
            ASSERT_EQ(symlink(root.Path("/elsewhere.json").c_str(), path.c_str()), 0);
        } else if (row.table == "dir") {
            root.MakeDirs(kTable);
        } else if (row.table != "-") {
            root.WriteFile(kTable, row.table);
        }
        EXPECT_EQ(VLIBAppPrivUserHas("alice", "A.User", ""), row.answer) << row.description;
    }
    // A deny list whose group cannot be decided fails closed.
    TempRoot root;
    arx_testing::WriteUserDatabase(root);
    root.WriteFile(kTable, R"({"A.User": {"allow": ["alice"], "deny": ["@staff"]}})");
    ASSERT_EQ(unlink(root.Path("/etc/group").c_str()), 0);
    root.MakeDirs("/etc/group");  // unreadable, for root too
    EXPECT_EQ(VLIBAppPrivUserHas("alice", "A.User", ""), -1);
}

std::vector<std::string> Names(const char* app)
{
    std::vector<std::string> names;
    EXPECT_GE(VLIBAppPrivEnum(
                  app,
                  [](const char* name, int rule, void* context) {
                      static_cast<std::vector<std::string>*>(context)->push_back(
                          (rule == VLIB_APP_PRIV_ALLOW ? "+" : "-") + std::string(name));
                  },
                  &names),
              0);
    return names;
}

TEST(AppPrivilegeTest, SettingRulesAndTheStamp)
{
    TempRoot root;
    arx_testing::WriteUserDatabase(root);
    root.MakeDirs("/usr/vorn/etc");
    char before[128];
    ASSERT_GT(VLIBAppPrivStampGet(before, sizeof before), 0);
    struct Row {
        const char* name;
        int rule;
        std::vector<std::string> names;
    };
    const Row rows[] = {
        {"alice", VLIB_APP_PRIV_ALLOW, {"+alice"}},           {"@staff", VLIB_APP_PRIV_ALLOW, {"+alice", "+@staff"}},
        {"alice", VLIB_APP_PRIV_DENY, {"+@staff", "-alice"}}, {"alice", VLIB_APP_PRIV_DENY, {"+@staff", "-alice"}},
        {"@staff", VLIB_APP_PRIV_NONE, {"-alice"}},           {"alice", VLIB_APP_PRIV_NONE, {}},
    };
    for (const Row& row : rows) {
        ASSERT_EQ(VLIBAppPrivSet("A.App", row.name, row.rule), 0) << row.name;
        EXPECT_EQ(Names("A.App"), row.names) << row.name << " " << row.rule;
    }
    EXPECT_EQ(root.ReadFile(kTable), "{}\n") << "an application without rules leaves the table";
    char after[128];
    ASSERT_GT(VLIBAppPrivStampGet(after, sizeof after), 0);
    EXPECT_STRNE(before, after);
    EXPECT_EQ(VLIBAppPrivStampGet(after, 3), -1);

    for (const char* bad : {"", "@", "a\nb", "a\x7f"})
        EXPECT_EQ(VLIBAppPrivSet("A.App", bad, VLIB_APP_PRIV_ALLOW), -1) << bad;
    EXPECT_EQ(VLIBAppPrivSet(std::string(256, 'a').c_str(), "alice", VLIB_APP_PRIV_ALLOW), -1);
    EXPECT_EQ(VLIBAppPrivSet("A.App", "alice", 3), -1);
    // A damaged table is left as it is.
    root.WriteFile(kTable, "{damaged");
    EXPECT_EQ(VLIBAppPrivSet("A.App", "alice", VLIB_APP_PRIV_ALLOW), -1);
    EXPECT_EQ(root.ReadFile(kTable), "{damaged");
}

TEST(PairFileTest, ReadsTextAndRefusesTheRest)
{
    struct Row {
        const char* description;
        std::string content;
        int result;
        const char* key;
        const char* value;
    };
    const Row rows[] = {
        {"quoted and plain values, comments, CRLF", "# c\r\ntext=\"Notes\"\r\nicon = a.png\r\n", 2, "text", "Notes"},
        {"a later line wins", "text=a\ntext=b\n", 2, "text", "b"},
        {"a byte-order mark", "\xEF\xBB\xBFtext=x\n", 1, "text", "x"},
        {"lines without = and empty keys", "junk\n=v\ntext=y", 1, "text", "y"},
        {"the longest line", "text=" + std::string(VLIB_PAIR_LONGEST_LINE - 5, 'x'), 1, "text", nullptr},
        {"a longer line", "text=" + std::string(VLIB_PAIR_LONGEST_LINE - 4, 'x'), -1, "text", nullptr},
        {"binary", std::string("text=a\0b\n", 9), -1, "text", nullptr},
        {"an escape character", "text=\x1b[31m\n", -1, "text", nullptr},
        {"too large", std::string(VLIB_PAIR_LARGEST_FILE, '\n') + "text=z\n", -1, "text", nullptr},
        {"no file", "-", -1, "text", nullptr},
    };
    for (const Row& row : rows) {
        TempRoot root;
        if (row.content != "-")
            root.WriteFile("/pkg/desktop.cfg", row.content);
        VLIBSZHASH* hash = VLIBCSzHashAlloc(16);
        EXPECT_EQ(VLIBCFileGetPair(root.Path("/pkg/desktop.cfg").c_str(), hash), row.result) << row.description;
        if (row.result < 0) {
            EXPECT_EQ(VLIBCSzHashCount(hash), 0) << row.description;
        }
        if (row.value != nullptr) {
            EXPECT_STREQ(VLIBCSzHashGetValue(hash, row.key), row.value) << row.description;
        }
        VLIBCHashRemoveAll(hash);
        EXPECT_EQ(VLIBCSzHashGetValue(hash, row.key), nullptr);
        VLIBCSzHashFree(hash);
    }
}

}  // namespace
