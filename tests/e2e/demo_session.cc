#include "demo_session.h"

#include <memory>

#include <json/json.h>

#include "http_client.h"

namespace arx_e2e {

DemoSession LogInAs(const Appliance& appliance, const std::string& user, const std::string& password)
{
    const HttpResponse response = Post(appliance.Url("/webapi/login.cgi"), "application/x-www-form-urlencoded",
                                       "user=" + user + "&password=" + password);
    Json::Value reply;
    Json::CharReaderBuilder builder;
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    reader->parse(response.body.data(), response.body.data() + response.body.size(), &reply, nullptr);
    DemoSession session;
    session.id = SetCookieValue(response, "id");
    session.token = reply["token"].asString();
    return session;
}

}  // namespace arx_e2e
