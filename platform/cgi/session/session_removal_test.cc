// Ending sessions: the request's own, and others by attribute or filter.

#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <json-c/json.h>

#include <vorn/cgi.h>
#include <vorn/session.h>

#include "cgi/session/session_test_support.h"

namespace {

using vorn_testing::LogIn;

using arx_testing::CgiRecord;

class SessionRemovalTest : public vorn_testing::SessionTest {
protected:
    void SetUp() override
    {
        SessionTest::SetUp();
        a_ = LogIn("alice", arx_testing::kAlice.password).id;
        b_ = LogIn("alice", arx_testing::kAlice.password, "10.0.0.7").id;
        c_ = LogIn("admin", arx_testing::kAdmin.password, "10.0.0.7").id;
    }
    // Which of the three sessions are still live: "abc" for all.
    std::string Live() const
    {
        std::string live;
        vorn::ForEachSession([&](const vorn::Session& session) {
            if (!session.ended)
                live += session.id == a_ ? "a" : session.id == b_ ? "b" : "c";
        });
        std::sort(live.begin(), live.end());
        return live;
    }
    std::string a_, b_, c_;
};

TEST_F(SessionRemovalTest, ByAttributeTheSessionsBecomeMarkers)
{
    struct Row { int attribute; std::string value; int ended; const char* live; };
    const Row rows[] = {
        {CURRENT_USER_INDEX_SID, c_, 1, "ab"},
        {CURRENT_USER_INDEX_ADDRESS, "::ffff:10.0.0.7", 1, "a"},  // compared in canonical form
        {CURRENT_USER_INDEX_USER, "Alice", 1, ""},
        {CURRENT_USER_INDEX_USER, "alice", 0, ""},  // ended ones are not ended again
    };
    for (const Row& row : rows) {
        CgiRecord cgi;
        EXPECT_EQ(VornCgiLogoutByAttr(cgi.get(), row.attribute, row.value.c_str(), 0), row.ended) << row.value;
        EXPECT_EQ(Live(), row.live) << row.value;
    }
    CgiRecord cgi;
    EXPECT_EQ(VornCgiRemoveSessionByIndex(cgi.get(), CURRENT_USER_INDEX_USER, nullptr), -1);
}

TEST_F(SessionRemovalTest, ByAFilterOnJsonObjects)
{
    struct Seen { std::vector<std::string> users; bool tokenShown = false; } seen;
    const auto filter = [](json_object* session, void* data) -> BOOL {
        Seen& seen = *static_cast<Seen*>(data);
        json_object *user = nullptr, *address = nullptr;
        seen.tokenShown = seen.tokenShown || json_object_object_get_ex(session, "token", nullptr);
        if (!json_object_object_get_ex(session, "user", &user) ||
            !json_object_object_get_ex(session, "address", &address))
            return 0;
        seen.users.push_back(json_object_get_string(user));
        return strcmp(json_object_get_string(address), "10.0.0.7") == 0 &&
               strcmp(json_object_get_string(user), "alice") == 0;
    };
    CgiRecord cgi;
    EXPECT_EQ(VornCgiRemoveSessionByFunc(cgi.get(), filter, &seen), 1);
    EXPECT_EQ(Live(), "ac");
    std::sort(seen.users.begin(), seen.users.end());
    EXPECT_EQ(seen.users, (std::vector<std::string>{"admin", "alice", "alice"}));
    EXPECT_FALSE(seen.tokenShown) << "the token is not handed out";
    seen.users.clear();
    EXPECT_EQ(VornCgiRemoveSessionByFunc(cgi.get(), filter, &seen), 0);
    EXPECT_EQ(seen.users.size(), 2u) << "ended sessions are not offered";
    EXPECT_EQ(VornCgiRemoveSessionByFunc(cgi.get(), nullptr, nullptr), -1);
}

TEST_F(SessionRemovalTest, LogoutRemovesTheRequestsOwnSessionUnderTheLock)
{
    const auto logout = [&](const char* user) {
        setenv("HTTP_COOKIE", ("id=" + a_).c_str(), 1);
        CgiRecord cgi;
        VornCgiLoadInCookies(cgi.get());
        return VornCgiLogout(cgi.get(), user);
    };
    EXPECT_EQ(logout("admin"), 0) << "not this session's user";
    const std::string lock = root_.Path("/run/vorn/session/.lock");
    ASSERT_EQ(rename(lock.c_str(), (lock + "-aside").c_str()) | mkdir(lock.c_str(), 0700), 0);
    EXPECT_EQ(logout(nullptr), 0) << "without the store's lock nothing is removed";
    EXPECT_FALSE(Stored(a_).ended);
    rmdir(lock.c_str());
    EXPECT_EQ(logout("ALICE"), 1);
    EXPECT_EQ(ModeOf("/run/vorn/session/" + a_), -1) << "the file is removed";
    EXPECT_EQ(Live(), "bc");
}

}  // namespace
