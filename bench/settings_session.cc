// A session for the settings benchmark: logs a user in without a password
// (the platform's own login, as a trusted tool may) and prints the session
// id and token, so that the measured program is an authorized request.
//
//   settings-session USER    (VORN_ROOT and REMOTE_ADDR as the requests will have them)
#include <stdio.h>

#include <vorn/cgi.h>
#include <vorn/session.h>

int main(int argc, char** argv)
{
    if (argc != 2)
        return 2;
    VornCgi cgi;
    VornCgiInit("", &cgi);
    _tag_login_params params = {argv[1], "", nullptr};
    if (VornCgiLoginNoAuth(&cgi, nullptr, 0, &params) != 1)
        return 1;
    printf("%s %s\n", VornCgiGetOption(&cgi, VORN_OPTION_SESSION_ID, ""), VornCgiGetOption(&cgi, VORN_OPTION_TOKEN, ""));
    VornCgiFree(&cgi);
    return 0;
}
