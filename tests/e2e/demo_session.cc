#include "tests/e2e/demo_session.h"

#include "tests/e2e/http_client.h"

namespace arx_e2e {

DemoSession LogInAs(const Appliance& appliance, const std::string& user, const std::string& password)
{
    const HttpResponse response = Post(appliance.Url("/webapi/login.cgi"), "application/x-www-form-urlencoded",
                                       "user=" + user + "&password=" + password);
    const Json::Value reply = ParseJson(response.body);
    DemoSession session;
    session.id = SetCookieValue(response, "id");
    session.token = reply["token"].asString();
    return session;
}

}  // namespace arx_e2e
