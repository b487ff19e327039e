// Which hashes a password check spends its time on.

#include "lib/users/password_kinds.h"

#include <algorithm>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <vorn/user.h>

#include "testing/temp_root.h"
#include "testing/users.h"

namespace {

// The cheapest cost of each method, so that the tests stay quick
// (passwords "dave-pass" and "erin-pass").
constexpr char kDaveHash[] =
    "$y$j75$88Bt/nEmQkbZYxAnlkpJ/vpemLgG32u9kbcB.vpAF7C$GE4WS7E9sNXbKsd1puOSf.Hp7egVa2WDCsNqUdjdRb2";
constexpr char kErinHash[] = "$2b$04$qC4Q8n6noLDl534b6bZ/3etA9IrJRyCY1T.muccxr4Ot574VPkjte";

TEST(PasswordKindsTest, KindIsMethodAndCostWithoutSaltOrResult)
{
    struct Row {
        const char* hash;
        const char* kind;
    };
    const Row rows[] = {
        {"$6$salt$result", "$6$"},
        {"$6$rounds=1000$salt$result", "$6$rounds=1000$"},
        {"$5$rounds=9999$salt$result", "$5$rounds=9999$"},
        {kDaveHash, "$y$j75$"},
        {"$y$j9T$F5Jx5fExrKuPp53xLKQ..1$", "$y$j9T$"},  // a setting, no result yet
        {"$gy$j9T$salt$result", "$gy$j9T$"},
        {kErinHash, "$2b$04$"},
        {"$2y$12$saltandresult", "$2y$12$"},
        {"$1$salt$result", "$1$"},
        {"$6$saltonly", "$6$"},
        {"$6", "$6$"},
        {"abcdefghijklm", "des"},
        {"abcdefghijkl", ""},
        {"*", ""},
        {"", ""},
    };
    for (const Row& row : rows)
        EXPECT_EQ(vorn::HashKind(row.hash), row.kind) << row.hash;
}

class PasswordCheckSettingsTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        arx_testing::WriteUserDatabase(root_);
        root_.WriteFile("/etc/passwd", root_.ReadFile("/etc/passwd") +
                                           "dave:x:2030:2100::/:\nerin:x:2031:2100::/:\nstar:x:2032:2100::/:\n");
        root_.WriteFile("/etc/shadow",
                        root_.ReadFile("/etc/shadow") + "dave:" + kDaveHash + ":19000::::::\n" +
                            "erin:!" + kErinHash + ":19000::::::\nstar:*:19000::::::\n",
                        0600);
    }

    static std::vector<std::string> SortedKinds(const std::vector<std::string>& settings)
    {
        std::vector<std::string> kinds;
        for (const std::string& setting : settings)
            kinds.push_back(vorn::HashKind(setting));
        std::sort(kinds.begin(), kinds.end());
        return kinds;
    }

    arx_testing::TempRoot root_;
};

TEST_F(PasswordCheckSettingsTest, EveryAccountHashesOnceWithEachKindOfTheFile)
{
    const std::vector<std::string> allKinds = {"$2b$04$", "$6$rounds=1000$", "$y$j75$"};
    struct Row {
        const char* account;
        std::string ownHash;
    };
    const Row rows[] = {
        {"unknown name, or no usable hash", ""},
        {"yescrypt", kDaveHash},
        {"bcrypt, locked", vorn::UsableHash(std::string("!") + kErinHash)},
        {"SHA-512", "$6$rounds=1000$yNLXUcMz4JmtwnyL$VSDVyK8/wRmxOfFHeCWZNeruFLaU/303wJBDRbcDlFo1CYWHBNEN6MnP."
                    "8VO0RXne3QMpkejKvuPViGzhTDEY."},
        {"a kind the file does not hold", "$1$salt$result"},
    };
    for (const Row& row : rows) {
        const std::vector<std::string> settings = vorn::PasswordCheckSettings(row.ownHash);
        ASSERT_FALSE(settings.empty()) << row.account;
        if (!row.ownHash.empty())
            EXPECT_EQ(settings.front(), row.ownHash) << row.account << ": the own hash is checked first";
        std::vector<std::string> expected = allKinds;
        if (vorn::HashKind(row.ownHash) == "$1$")
            expected.insert(expected.begin(), "$1$");
        EXPECT_EQ(SortedKinds(settings), expected) << row.account;
    }
}

TEST_F(PasswordCheckSettingsTest, PasswordsOfEveryKindStillMatchOnlyTheirOwnAccount)
{
    struct Row {
        const char* user;
        const char* password;
        int expected;
    };
    const Row rows[] = {
        {"dave", "dave-pass", 1},
        {"dave", "dave-pass!", 0},
        {"erin", "erin-pass", -2},  // locked: told only to who knows the password
        {"erin", "dave-pass", 0},
        {"alice", arx_testing::kAlice.password, 1},
        {"alice", "dave-pass", 0},
        {"nobody-here", "dave-pass", 0},
        {"star", "dave-pass", 0},
    };
    for (const Row& row : rows)
        EXPECT_EQ(VLIBUserPasswordCheck(row.user, row.password), row.expected) << row.user << " / " << row.password;
}

TEST_F(PasswordCheckSettingsTest, AFileWithoutHashesStillCostsOneYescryptCheck)
{
    root_.WriteFile("/etc/shadow", "root:*:19000::::::\nstar:!:19000::::::\n", 0600);
    const std::vector<std::string> settings = vorn::PasswordCheckSettings("");
    ASSERT_EQ(settings.size(), 1u);
    EXPECT_EQ(vorn::HashKind(settings[0]), "$y$j9T$");
    EXPECT_EQ(VLIBUserPasswordCheck("star", ""), 0);
}

}  // namespace
