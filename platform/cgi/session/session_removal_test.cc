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
#include "testing/cgi_record.h"
#include "testing/child_process.h"
#include "testing/sessions.h"

namespace {

using arx_testing::CgiRecord;
using arx_testing::kAdmin;
using arx_testing::kAlice;
using arx_testing::LoginSession;

class SessionRemovalTest : public vorn_testing::SessionTest {
protected:
    void SetUp() override
    {
        SessionTest::SetUp();
        alice1_ = LoginSession("alice", kAlice.password, "127.0.0.1");
        alice2_ = LoginSession("alice", kAlice.password, "10.0.0.7");
        admin_ = LoginSession("admin", kAdmin.password, "10.0.0.7");
    }

    // Which of the three sessions are still live.
    std::string Live() const
    {
        std::string live;
        vorn::ForEachSession([&](const vorn::Session& session) {
            if (!session.ended)
                live += session.id == alice1_ ? "a" : session.id == alice2_ ? "b" : "c";
        });
        std::sort(live.begin(), live.end());
        return live;
    }

    std::string alice1_, alice2_, admin_;
};

TEST_F(SessionRemovalTest, ByAttribute)
{
    struct Row {
        int attribute;
        const char* value;
        int ended;
        const char* live;
    };
    const Row rows[] = {
        {CURRENT_USER_INDEX_USER, "nobody-here", 0, "abc"},
        {CURRENT_USER_INDEX_ADDRESS, "::ffff:10.0.0.7", 2, "a"},
        {CURRENT_USER_INDEX_USER, "Alice", 1, ""},
        {CURRENT_USER_INDEX_USER, "alice", 0, ""},  // ended ones are not ended again
    };
    for (const Row& row : rows) {
        CgiRecord cgi;
        EXPECT_EQ(VornCgiLogoutByAttr(cgi.get(), row.attribute, row.value, 0), row.ended) << row.value;
        EXPECT_EQ(Live(), row.live) << row.value;
    }
    CgiRecord cgi;
    EXPECT_EQ(VornCgiLogoutByAttr(cgi.get(), 7, "alice", 0), -1);
    EXPECT_EQ(VornCgiLogoutByAttr(cgi.get(), CURRENT_USER_INDEX_USER, nullptr, 0), -1);
    EXPECT_EQ(VornCgiRemoveSessionByIndex(cgi.get(), CURRENT_USER_INDEX_SID, "AAAAAAAAAAAAAAAAAAAAAA"), 0);
}

TEST_F(SessionRemovalTest, BySessionId)
{
    CgiRecord cgi;
    EXPECT_EQ(VornCgiRemoveSessionByIndex(cgi.get(), CURRENT_USER_INDEX_SID, alice2_.c_str()), 1);
    EXPECT_EQ(Live(), "ac");
    EXPECT_TRUE(Stored(alice2_).ended) << "kept as a marker";
}

TEST_F(SessionRemovalTest, ByFilterOnJsonObjects)
{
    struct Seen {
        std::vector<std::string> users;
        bool tokenShown = false;
    } seen;
    const auto filter = [](json_object* session, void* data) -> BOOL {
        Seen& seen = *static_cast<Seen*>(data);
        json_object* user = nullptr;
        json_object* address = nullptr;
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

TEST_F(SessionRemovalTest, LogoutEndsTheRequestsOwnSession)
{
    struct Row {
        const char* user;
        int result;
    };
    const Row rows[] = {{"admin", 0}, {"ALICE", 1}, {"alice", 0}};
    for (const Row& row : rows) {
        const auto run = arx_testing::RunInChild(
            [&] {
                CgiRecord cgi;
                VornCgiLoadInCookies(cgi.get());
                printf("%d\n", VornCgiLogout(cgi.get(), row.user));
                VornCgiPrintHTTPHeader(cgi.get());
            },
            arx_testing::WithEnvironment({{"HTTP_COOKIE", "id=" + alice1_}}));
        if (row.result == 1)
            EXPECT_EQ(run.output, "1\nSet-Cookie: id=; Path=/; Max-Age=0; HttpOnly; SameSite=Lax\r\n\r\n");
        else
            EXPECT_EQ(run.output, "0\n\r\n") << row.user << ": not this session's user, or gone";
    }
    struct stat st;
    EXPECT_NE(stat(root_.Path("/run/vorn/session/" + alice1_).c_str(), &st), 0) << "the file is removed";
    EXPECT_EQ(Live(), "bc");
}

TEST_F(SessionRemovalTest, LogoutWithoutTheStoreLockRemovesNothing)
{
    const std::string lock = root_.Path("/run/vorn/session/.lock");
    ASSERT_EQ(unlink(lock.c_str()), 0);
    ASSERT_EQ(mkdir(lock.c_str(), 0700), 0);
    setenv("HTTP_COOKIE", ("id=" + alice1_).c_str(), 1);
    CgiRecord cgi;
    VornCgiLoadInCookies(cgi.get());
    EXPECT_EQ(VornCgiLogout(cgi.get(), nullptr), 0);
    EXPECT_FALSE(Stored(alice1_).ended) << "the session stays as it was";
}

}  // namespace
