#include "testing/sessions.h"

#include <stdlib.h>

#include <vorn/cgi.h>
#include <vorn/session.h>

#include "testing/cgi_record.h"

namespace arx_testing {

std::string LoginSession(const char* user, const char* password, const char* address, int* result)
{
    const char* previous = getenv("REMOTE_ADDR");
    const std::string saved = previous != nullptr ? previous : "";
    setenv("REMOTE_ADDR", address, 1);
    CgiRecord cgi;
    VORN_LOGIN_PARAMS params = {user, password, nullptr};
    char id[64] = "";
    const int login = VornCgiLogin(cgi.get(), id, sizeof id, &params);
    if (previous != nullptr)
        setenv("REMOTE_ADDR", saved.c_str(), 1);
    else
        unsetenv("REMOTE_ADDR");
    if (result != nullptr)
        *result = login;
    return login == 1 ? id : "";
}

}  // namespace arx_testing
