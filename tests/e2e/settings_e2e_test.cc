// The settings forms and module data through lighttpd: personal_settings.cgi
// for each account, group_settings.cgi for administrators only, field
// errors in the session's language, module_data.cgi.

#include <string>

#include <gtest/gtest.h>
#include <json/json.h>

#include "testing/json_text.h"
#include "tests/e2e/appliance.h"
#include "tests/e2e/demo_session.h"
#include "tests/e2e/http_client.h"

namespace arx_e2e {
namespace {

constexpr char kPersonal[] = "/webapi/personal_settings.cgi";
constexpr char kGroup[] = "/webapi/group_settings.cgi";
constexpr char kModuleData[] = "/webapi/module_data.cgi";
const std::string kAliceApply =
    "action=apply&display_name=Alice&email=alice%40example.com&page_size=25&timezone=Europe%2FBerlin&refresh=30";
const std::string kAdminApply =
    "action=apply&banner=Maintenance+at+two&default_language=ger&backup_hour=3&maintenance_day=2026%2F12%2F24"
    "&time_server=192.0.2.10";

class SettingsE2eTest : public ::testing::Test {
protected:
    // Logs in through login.cgi with the session's language.
    DemoSession LogIn(const std::string& user, const std::string& password, const std::string& language)
    {
        const HttpResponse response = Post(appliance_.Url("/webapi/login.cgi"), "application/x-www-form-urlencoded",
                                           "user=" + user + "&password=" + password + "&language=" + language);
        DemoSession session{SetCookieValue(response, "id"), ParseJson(response.body)["token"].asString()};
        EXPECT_FALSE(session.id.empty()) << user;
        return session;
    }

    // "STATUS REFUSAL BODY": the status, the request error header ("-" for
    // none) and the compact JSON reply.
    std::string Call(const DemoSession& session, const char* program, const std::string& body)
    {
        const HttpResponse response =
            Post(appliance_.Url(program), "application/x-www-form-urlencoded", body, session.Headers());
        const std::string refusal = response.Header("x-request-error");
        return std::to_string(response.status) + " " + (refusal.empty() ? "-" : refusal) + " " +
               arx_testing::CompactJson(ParseJson(response.body));
    }

    Appliance appliance_;
};

TEST_F(SettingsE2eTest, FormsLoadAndApplyForEachAccount)
{
    const DemoSession alice = LogIn("alice", "harbor-alice", "ger");
    const DemoSession admin = LogIn("admin", "harbor-admin", "enu");
    struct Row {
        const char* description;
        const DemoSession& session;
        const char* program;
        std::string body;
        std::string reply;
    };
    const Row rows[] = {
        {"alice's defaults", alice, kPersonal, "action=load",
         R"(200 - {"data":{"display_name":"","email":"","page_size":50,"refresh":60,"timezone":"UTC"},"success":true})"},
        {"alice applies", alice, kPersonal, kAliceApply,
         R"(200 - {"data":{"display_name":"Alice","email":"alice@example.com","page_size":25,"refresh":30,)"
         R"("timezone":"Europe/Berlin"},"success":true})"},
        {"and finds her settings again", alice, kPersonal, "action=load",
         R"(200 - {"data":{"display_name":"Alice","email":"alice@example.com","page_size":25,"refresh":30,)"
         R"("timezone":"Europe/Berlin"},"success":true})"},
        {"field errors in German", alice, kPersonal,
         "action=apply&display_name=" + std::string(33, 'x') + "&email=alice%40&page_size=5&timezone=utc&refresh=30",
         R"(200 - {"errors":{"display_name":"Der Text ist zu lang.","email":"Das ist keine E-Mail-Adresse.",)"
         R"("page_size":"The field is not valid.","timezone":"The field is not valid."},"success":false})"},
        {"an action the form does not know", alice, kPersonal, "action=reset",
         R"(400 - {"errinfo":{"key":"error_system","sec":"common"},"success":false})"},
        {"an ordinary user is refused the administrators' form", alice, kGroup, kAdminApply,
         R"(200 noprivilege {"errno":{"key":"error_noprivilege","section":"login"},"items":[],"success":false,"total":0})"},
        {"the administrators' defaults", admin, kGroup, "action=load",
         R"(200 - {"data":{"backup_hour":2,"banner":"","default_language":"enu","maintenance_day":"2026/01/01",)"
         R"("time_server":"192.0.2.123"},"success":true})"},
        {"an administrator applies", admin, kGroup, kAdminApply,
         R"(200 - {"data":{"backup_hour":3,"banner":"Maintenance at two","default_language":"ger",)"
         R"("maintenance_day":"2026/12/24","time_server":"192.0.2.10"},"success":true})"},
        {"alice stores a module's data", alice, kModuleData, "action=set&module=Calendar&data=%7B%22view%22%3A1%7D",
         R"(200 - {"success":true})"},
        {"and reads it back", alice, kModuleData, "action=get&module=Calendar",
         R"(200 - {"data":{"view":1},"exists":true,"success":true})"},
    };
    for (const Row& row : rows)
        EXPECT_EQ(Call(row.session, row.program, row.body), row.reply) << row.description;

    EXPECT_EQ(Get(appliance_.Url(kPersonal) + "?action=apply", alice.Headers()).status, 405);
}

}  // namespace
}  // namespace arx_e2e
