// Sessions for tests, made through the platform's own login.  Links
// against the platform: for test binaries that bring libvorncgi.
#ifndef ARX_TESTING_SESSIONS_H
#define ARX_TESTING_SESSIONS_H

#include <string>

namespace arx_testing {

// Logs user in as a client at address (REMOTE_ADDR for the call); the new
// session id, or "" with the login's result in *result when it failed.
std::string LoginSession(const char* user, const char* password, const char* address = "127.0.0.1",
                         int* result = nullptr);

}  // namespace arx_testing

#endif
