// wallpaper.cgi and login_image.cgi through lighttpd with the real image
// tool: alice's wallpapers and their thumbnails, the administrator's login
// background read by the login page, and what alice may not do.

#include <sys/stat.h>

#include <string>

#include <gtest/gtest.h>
#include <json/json.h>

#include <vorn/exec.h>

#include "testing/temp_root.h"
#include "tests/e2e/appliance.h"
#include "tests/e2e/demo_session.h"
#include "tests/e2e/http_client.h"

namespace arx_e2e {
namespace {

const std::string kType = "multipart/form-data; boundary=XyZb";

std::string PictureForm(const std::string& fileName, const std::string& content, const std::string& type = "")
{
    std::string body;
    if (!type.empty())
        body += "--XyZb\r\nContent-Disposition: form-data; name=\"type\"\r\n\r\n" + type + "\r\n";
    return body + "--XyZb\r\nContent-Disposition: form-data; name=\"file\"; filename=\"" + fileName +
           "\"\r\nContent-Type: application/octet-stream\r\n\r\n" + content + "\r\n--XyZb--\r\n";
}

class ImageE2eTest : public ::testing::Test {
protected:
    // A small picture drawn by the image tool.
    std::string Draw(const std::string& name, const char* what)
    {
        const std::string path = appliance_.RootPath("/" + name);
        EXPECT_EQ(VLIBCExec("/usr/bin/convert", "-size", "80x60", what, path.c_str(), nullptr), 0);
        return arx_testing::ReadWholeFile(path);
    }

    HttpResponse PostAs(const DemoSession& session, const std::string& program, const std::string& contentType,
                        const std::string& body)
    {
        return Post(appliance_.Url("/webapi/" + program), contentType, body, session.Headers());
    }

    Appliance appliance_;
};

TEST_F(ImageE2eTest, AliceUploadsWallpapersAndChoosesAnOlderOne)
{
    const DemoSession alice = LogInAs(appliance_, "alice", "harbor-alice");
    ASSERT_FALSE(alice.id.empty());
    for (const auto& [name, what] :
         {std::pair {"sea.png", "gradient:blue-white"}, {"sun set.JPG", "gradient:red-black"}}) {
        const HttpResponse added = PostAs(alice, "wallpaper.cgi", kType, PictureForm(name, Draw(name, what)));
        EXPECT_EQ(added.status, 200) << added.body;
    }
    HttpResponse list = Get(appliance_.Url("/webapi/wallpaper.cgi?action=list"), alice.Headers());
    Json::Value reply = ParseJson(list.body);
    EXPECT_EQ(reply["current"], 2);
    ASSERT_EQ(reply["slots"].size(), 2u);
    EXPECT_EQ(reply["slots"][0]["slot"], 1);
    EXPECT_EQ(reply["slots"][0]["ext"], ".jpg");

    const HttpResponse thumb =
        Get(appliance_.Url("/webapi/wallpaper.cgi?action=image&slot=1&kind=thumb"), alice.Headers());
    EXPECT_EQ(thumb.status, 200);
    EXPECT_EQ(thumb.Header("Content-type"), "image/jpeg");
    EXPECT_EQ(thumb.body.substr(0, 3), "\xFF\xD8\xFF");

    const HttpResponse chosen =
        PostAs(alice, "wallpaper.cgi", "application/x-www-form-urlencoded", "action=choose&slot=1");
    EXPECT_EQ(ParseJson(chosen.body)["current"], 1) << chosen.body;
    const HttpResponse current =
        Get(appliance_.Url("/webapi/wallpaper.cgi?action=image&slot=current"), alice.Headers());
    EXPECT_EQ(current.body.substr(0, 3), "\xFF\xD8\xFF");

    // Made as alice, in her own directory.
    struct stat st;
    ASSERT_EQ(stat(appliance_.RootPath("/usr/vorn/etc/preference/alice/wallpaper_dir/1thumb.jpg").c_str(), &st), 0);
    struct stat home;
    ASSERT_EQ(stat(appliance_.RootPath("/usr/vorn/etc/preference/alice").c_str(), &home), 0);
    EXPECT_EQ(st.st_uid, home.st_uid);

    const HttpResponse missing =
        PostAs(alice, "wallpaper.cgi", "application/x-www-form-urlencoded", "action=choose&slot=5");
    EXPECT_EQ(missing.status, 404);
    const HttpResponse drawing =
        PostAs(alice, "wallpaper.cgi", kType, PictureForm("evil.jpg", "push graphic-context\nviewbox 0 0 9 9\n"));
    EXPECT_EQ(drawing.status, 422);
    EXPECT_EQ(Get(appliance_.Url("/webapi/wallpaper.cgi?action=choose&slot=2"), alice.Headers()).status, 400);
    EXPECT_EQ(ParseJson(Get(appliance_.Url("/webapi/wallpaper.cgi?action=list"), alice.Headers()).body)["current"], 1);
}

// An administrator's program stays root, but a wallpaper is made as its
// owner: the real tool, following a link planted in the directory between
// the slot's removal and its write, would reach only what the
// administrator's own account could write.
TEST_F(ImageE2eTest, TheAdministratorsWallpaperIsMadeAsTheAdministrator)
{
    const DemoSession admin = LogInAs(appliance_, "admin", "harbor-admin");
    ASSERT_FALSE(admin.id.empty());
    const std::string dir = appliance_.RootPath("/usr/vorn/etc/preference/admin/wallpaper_dir");
    ASSERT_EQ(PostAs(admin, "wallpaper.cgi", kType, PictureForm("a.png", Draw("a.png", "gradient:blue-white"))).status,
              200);
    struct stat home;
    ASSERT_EQ(stat(appliance_.RootPath("/usr/vorn/etc/preference/admin").c_str(), &home), 0);
    ASSERT_NE(home.st_uid, 0u);
    for (const char* made : {"/1.jpg", "/1_hd.jpg", "/1thumb.jpg"}) {
        struct stat st;
        ASSERT_EQ(stat((dir + made).c_str(), &st), 0) << made;
        EXPECT_EQ(st.st_uid, home.st_uid) << made;
    }
}

TEST_F(ImageE2eTest, TheAdministratorChangesTheLoginBackgroundAndAliceMayNot)
{
    const DemoSession admin = LogInAs(appliance_, "admin", "harbor-admin");
    const DemoSession alice = LogInAs(appliance_, "alice", "harbor-alice");
    const std::string picture = Draw("bg.png", "gradient:green-white");

    const HttpResponse refused = PostAs(alice, "login_image.cgi", kType, PictureForm("bg.png", picture, "background"));
    EXPECT_EQ(refused.Header("x-request-error"), "noprivilege");
    EXPECT_EQ(Get(appliance_.Url("/webapi/login_image.cgi?action=list&type=background"), alice.Headers())
                  .Header("x-request-error"),
              "noprivilege");
    EXPECT_EQ(Get(appliance_.Url("/webapi/login_image.cgi?action=current&type=background")).status, 404);

    const HttpResponse added = PostAs(admin, "login_image.cgi", kType, PictureForm("bg.png", picture, "background"));
    EXPECT_EQ(ParseJson(added.body)["current"], 1) << added.body;
    const HttpResponse list =
        Get(appliance_.Url("/webapi/login_image.cgi?action=list&type=background"), admin.Headers());
    EXPECT_EQ(ParseJson(list.body)["slots"][0]["ext"], ".jpg");

    // The login page reads the chosen background without a session.
    const HttpResponse shown = Get(appliance_.Url("/webapi/login_image.cgi?action=current&type=background"));
    EXPECT_EQ(shown.status, 200);
    EXPECT_EQ(shown.Header("Content-type"), "image/jpeg");
    EXPECT_EQ(shown.body.substr(0, 3), "\xFF\xD8\xFF");

    const HttpResponse wrongType = PostAs(admin, "login_image.cgi", kType, PictureForm("bg.png", picture, "../x"));
    EXPECT_EQ(wrongType.status, 400);
    EXPECT_EQ(
        PostAs(admin, "login_image.cgi", "application/x-www-form-urlencoded", "action=choose&type=logo&slot=1").status,
        404);
}

}  // namespace
}  // namespace arx_e2e
