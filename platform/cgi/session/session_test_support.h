// What the session tests share: a root with the test users, the CGI
// variables of a client, and access to the stored sessions.
#ifndef VORN_PLATFORM_SESSION_TEST_SUPPORT_H
#define VORN_PLATFORM_SESSION_TEST_SUPPORT_H

#include <stdlib.h>
#include <time.h>

#include <functional>
#include <string>

#include <gtest/gtest.h>

#include "cgi/session/session_store.h"
#include "testing/temp_root.h"
#include "testing/users.h"

namespace vorn_testing {

class SessionTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        arx_testing::WriteUserDatabase(root_);
        for (const char* name : kRequestVariables)
            unsetenv(name);
        setenv("REMOTE_ADDR", "127.0.0.1", 1);
    }
    void TearDown() override
    {
        for (const char* name : kRequestVariables)
            unsetenv(name);
    }

    void Configure(const std::string& lines) const { root_.WriteFile("/etc/vorninfo.conf", lines); }

    // The stored session, read through the store; fails the test when it
    // cannot be read.
    vorn::Session Stored(const std::string& id) const
    {
        vorn::Session session;
        EXPECT_TRUE(vorn::ReadSession(id, session)) << id;
        return session;
    }

    // Changes a stored session as time would (an older last access, ...).
    void Edit(const std::string& id, const std::function<void(vorn::Session&)>& change) const
    {
        ASSERT_TRUE(vorn::UpdateSession(id, [&](vorn::Session& session) {
            change(session);
            return true;
        }));
    }

    void Age(const std::string& id, long long seconds) const
    {
        Edit(id, [seconds](vorn::Session& session) {
            session.lastAccess = time(nullptr) - seconds;
            session.created = session.lastAccess;
        });
    }

    static constexpr const char* kRequestVariables[] = {
        "REMOTE_ADDR",      "REQUEST_METHOD",         "QUERY_STRING",         "CONTENT_TYPE", "CONTENT_LENGTH",
        "HTTP_COOKIE",      "HTTP_X_VORNTOKEN",       "HTTP_X_VORN_BACKGROUND", "HTTPS",      "HTTP_ACCEPT_LANGUAGE"};

    arx_testing::TempRoot root_;
};

}  // namespace vorn_testing

#endif
