// note.cgi through lighttpd: a settings file read under its lock, and the
// not-found response.

#include <string>

#include <gtest/gtest.h>

#include "tests/e2e/appliance.h"
#include "tests/e2e/http_client.h"

namespace arx_e2e {
namespace {

TEST(NoteTest, KnownNoteIsAnswered)
{
    Appliance appliance;
    const HttpResponse response = Get(appliance.Url("/webapi/note.cgi?name=welcome"));
    EXPECT_EQ(response.status, 200);
    EXPECT_NE(response.body.find("\"text\" : \"Welcome to the demo appliance."), std::string::npos)
        << response.body;
}

TEST(NoteTest, UnknownNoteIsNotFound)
{
    Appliance appliance;
    for (const char* query : {"?name=missing", "", "?name=", "?name=WELCOME", "?name=welcome%20"}) {
        const HttpResponse response = Get(appliance.Url(std::string("/webapi/note.cgi") + query));
        EXPECT_EQ(response.status, 404) << query;
        EXPECT_EQ(response.Header("Cache-control"), "no-store") << query;
        EXPECT_EQ(response.body, "") << query;
    }
}

}  // namespace
}  // namespace arx_e2e
