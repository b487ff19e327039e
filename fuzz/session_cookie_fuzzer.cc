// The session id a request brings, as a cookie or as the parameter "_sid":
// however the cookie header and query string look, the check never
// crashes, answers one of its result codes, and authorizes only the one
// session that exists, by its exact id.
//
// Input: the cookie header, a newline, the query string.

#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <string>

#include <arx/webman.h>
#include <vorn/log.h>
#include <vorn/session.h>

#include "testing/temp_root.h"
#include "testing/users.h"

namespace {

// The session's id, fixed so that the seed inputs can name it.
constexpr char kSessionId[] = "FuzzingTheSessionId00A";

void Quiet(int, const char*, void*) {}

arx_testing::TempRoot* root = nullptr;

void RemoveRoot()
{
    delete root;
}

// A root with the test users and one live session, for the whole run.
const std::string& SessionId()
{
    static std::string id;
    if (root == nullptr) {
        VLIBCLogSetSink(Quiet, nullptr);
        root = new arx_testing::TempRoot;
        atexit(RemoveRoot);
        arx_testing::WriteUserDatabase(*root);
        root->WriteFile("/etc/vorninfo.conf", "session_timeout=\"100000\"\n");
        setenv("REMOTE_ADDR", "127.0.0.1", 1);
        VornCgi cgi;
        VornCgiInit("", &cgi);
        VORN_LOGIN_PARAMS params = {"alice", nullptr, nullptr};
        char buffer[64] = "";
        if (VornCgiLoginNoAuth(&cgi, buffer, sizeof buffer, &params) != VORN_LOGIN_SUCCESS)
            abort();
        VornCgiFree(&cgi);
        if (rename(root->Path(std::string("/run/vorn/session/") + buffer).c_str(),
                   root->Path(std::string("/run/vorn/session/") + kSessionId).c_str()) != 0)
            abort();
        id = kSessionId;
    }
    return id;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::string& id = SessionId();
    const std::string input(reinterpret_cast<const char*>(data), size);
    if (input.find('\0') != std::string::npos)
        return 0;  // environment variables cannot hold NUL
    const size_t newline = input.find('\n');
    const std::string cookie = input.substr(0, newline);
    const std::string query = newline == std::string::npos ? "" : input.substr(newline + 1);
    setenv("REQUEST_METHOD", "GET", 1);
    setenv("HTTP_COOKIE", cookie.c_str(), 1);
    setenv("QUERY_STRING", query.c_str(), 1);

    WebMan web(false);
    const int result = web.CheckAuthorized(VORN_AUTH_USER, CGI_POSITION_DESKTOP, false);
    switch (result) {
    case VORN_AUTH_OK:
        if (web.GetSessionID() == nullptr || id != web.GetSessionID() || web.GetLoginUserName() != "alice")
            abort();  // only the real session, by its exact id
        break;
    case VORN_AUTH_TIMEOUT:
    case VORN_AUTH_UNAUTH:
        if (!web.GetLoginUserName().empty())
            abort();
        break;
    default:
        abort();
    }
    return 0;
}
