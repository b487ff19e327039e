// A logged-in session of one of the demo's accounts, for tests whose subject
// is not the login itself.
#ifndef ARX_E2E_DEMO_SESSION_H
#define ARX_E2E_DEMO_SESSION_H

#include <string>
#include <vector>

#include "tests/e2e/appliance.h"

namespace arx_e2e {

struct DemoSession {
    std::string id;     // the cookie "id"
    std::string token;  // the session token state-changing requests carry

    // The headers that make a request part of this session.
    std::vector<std::string> Headers() const { return {"Cookie: id=" + id, "X-VornToken: " + token}; }
};

// Logs in through login.cgi; an empty id when the login failed.
DemoSession LogInAs(const Appliance& appliance, const std::string& user, const std::string& password);

}  // namespace arx_e2e

#endif
