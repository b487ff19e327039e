// What the session tests share: a root with the test users, the CGI
// variables of a client, logins, and the stored sessions.
#ifndef VORN_PLATFORM_SESSION_TEST_SUPPORT_H
#define VORN_PLATFORM_SESSION_TEST_SUPPORT_H

#include <stdlib.h>
#include <sys/stat.h>
#include <time.h>

#include <functional>
#include <string>

#include <gtest/gtest.h>

#include <vorn/session.h>

#include "cgi/session/session_store.h"
#include "testing/cgi_record.h"
#include "testing/temp_root.h"
#include "testing/users.h"

namespace vorn_testing {

struct Login {
    int result;
    std::string id;  // "" unless result is VORN_LOGIN_SUCCESS
};

inline void ClearRequest()
{
    for (const char* name : {"REMOTE_ADDR", "REQUEST_METHOD", "QUERY_STRING", "CONTENT_TYPE", "CONTENT_LENGTH",
                             "HTTP_COOKIE", "HTTP_X_VORNTOKEN", "HTTP_X_VORN_BACKGROUND", "HTTPS", "HTTP_ACCEPT_LANGUAGE"})
        unsetenv(name);
}

// A login from address (nullptr: no REMOTE_ADDR), with a one-time code when
// one is given; REMOTE_ADDR is 127.0.0.1 afterwards.
inline Login LogIn(const char* user, const char* password, const char* address = "127.0.0.1",
                   const char* code = nullptr, const char* language = nullptr)
{
    if (address != nullptr)
        setenv("REMOTE_ADDR", address, 1);
    else
        unsetenv("REMOTE_ADDR");
    arx_testing::CgiRecord cgi;
    VORN_LOGIN_PARAMS params = {user, password, language};
    char id[64] = "";
    const int result = code != nullptr ? VornCgiLoginWithOTPAuth(cgi.get(), id, sizeof id, &params, code)
                                       : VornCgiLogin(cgi.get(), id, sizeof id, &params);
    setenv("REMOTE_ADDR", "127.0.0.1", 1);
    return {result, id};
}

class SessionTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        arx_testing::WriteUserDatabase(root_);
        ClearRequest();
        setenv("REMOTE_ADDR", "127.0.0.1", 1);
    }
    void TearDown() override { ClearRequest(); }

    void Configure(const std::string& lines) const { root_.WriteFile("/etc/vorninfo.conf", lines); }

    // The permission bits of a file under the root (not followed when a
    // link), or -1 when there is none.
    int ModeOf(const std::string& systemPath) const
    {
        struct stat st;
        return lstat(root_.Path(systemPath).c_str(), &st) == 0 ? static_cast<int>(st.st_mode & 07777) : -1;
    }

    // The stored session; fails the test when it cannot be read.
    vorn::Session Stored(const std::string& id) const
    {
        vorn::Session session;
        EXPECT_TRUE(vorn::ReadSession(id, session)) << id;
        return session;
    }

    // Moves a session's last access (and creation) seconds back in time.
    void Age(const std::string& id, long long seconds) const
    {
        ASSERT_TRUE(vorn::UpdateSession(id, [seconds](vorn::Session& session) {
            session.lastAccess = session.created = time(nullptr) - seconds;
            return true;
        }));
    }

    arx_testing::TempRoot root_;
};

}  // namespace vorn_testing

#endif
