// The image selector and utilities with stand-in tools that record their
// arguments: signatures, extensions, size limits, slot rotation, and the
// exact command lines of every way an image is stored.

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <json/json.h>

#include <arx/image_selector_utils.h>
#include <arx/image_utils.h>
#include <vorn/file.h>
#include <vorn/user.h>

#include "image/extensions.h"
#include "image/image_format.h"
#include "testing/image_tools.h"
#include "testing/log_capture.h"
#include "testing/temp_root.h"
#include "testing/users.h"

namespace {

using arx_testing::TempRoot;

// The first bytes of each accepted format, enough for the signature check.
const std::string kPng("\x89PNG\r\n\x1A\n\0\0\0\rIHDR", 16);
const std::string kJpeg("\xFF\xD8\xFF\xE0\0\x10JFIF\0", 11);
const std::string kGif("GIF89a\1\0\1\0\0\0\0;", 14);
const std::string kBmp("BM\x3A\0\0\0\0\0\0\0\x36\0\0\0\x28\0\0\0", 18);

class ImageTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        arx_testing::InstallRecordingTools(root_);
        root_.WriteFile("/etc/vorninfo.conf", "");
        root_.MakeDirs("/usr/vorn/etc");
    }

    // Writes a file of the given content (padded with zeros to size) and
    // returns its path.
    std::string File(const std::string& name, const std::string& content, size_t size = 0) const
    {
        std::string text = content;
        if (text.size() < size)
            text.resize(size, '\0');
        root_.WriteFile("/up/" + name, text);
        return root_.Path("/up/" + name);
    }

    // The recorded runs with the root's directory left out.
    std::vector<std::string> Runs() const
    {
        std::vector<std::string> runs = arx_testing::RecordedRuns(root_);
        for (std::string& run : runs) {
            for (size_t at; (at = run.find(root_.dir())) != std::string::npos;)
                run.erase(at, root_.dir().size());
        }
        unlink(root_.Path("/tmp/tool-runs").c_str());
        return runs;
    }

    TempRoot root_;
};

TEST_F(ImageTest, IsGifReadsSixCharactersAfterBlanks)
{
    struct Case {
        const char* what;
        std::string content;
        bool gif;
    } cases[] = {
        {"GIF89a", "GIF89a...", true},
        {"GIF87a", "GIF87a", true},
        {"a line break first", "\nGIF89a", true},
        {"blanks of every kind first", " \t\r\n\v\fGIF87a", true},
        {"blanks inside count as skipped", "GI F8\n9a", true},
        {"five bytes", "GIF89", false},
        {"another version", "GIF88a", false},
        {"lower case", "gif89a", false},
        {"a PNG", kPng, false},
        {"empty", "", false},
    };
    for (const Case& c : cases)
        EXPECT_EQ(ImageUtils::IsGif(File("g", c.content).c_str()), c.gif) << c.what;

    arx_testing::LogCapture log;
    EXPECT_FALSE(ImageUtils::IsGif(root_.Path("/missing").c_str()));
    EXPECT_EQ(arx_testing::WithoutLineNumbers(log.texts()),
              std::vector<std::string> {"image_utils:# Failed to open file, path=[" + root_.Path("/missing") +
                                        "] err=[No such file or directory]"});
}

TEST_F(ImageTest, SignaturesAndExtensions)
{
    using namespace arx::image;
    struct Case {
        const char* what;
        std::string bytes;
        ImageFormat format;
    } formats[] = {
        {"JPEG", kJpeg, kImageJpeg},
        {"PNG", kPng, kImagePng},
        {"GIF", kGif, kImageGif},
        {"BMP", kBmp, kImageBmp},
        {"BM and text", "BM this is text, not a bitmap", kImageUnknown},
        {"a drawing named .jpg", "push graphic-context\nviewbox 0 0 1 1\n", kImageUnknown},
        {"SVG", "<svg xmlns=\"http://www.w3.org/2000/svg\"/>", kImageUnknown},
        {"PostScript", "%!PS-Adobe-3.0\n", kImageUnknown},
        {"a GIF after a blank", " GIF89a", kImageUnknown},
        {"a cut PNG signature", std::string(kPng, 0, 7), kImageUnknown},
    };
    for (const Case& c : formats) {
        EXPECT_EQ(FormatOfBytes(reinterpret_cast<const unsigned char*>(c.bytes.data()), c.bytes.size()), c.format)
            << c.what;
    }

    struct Ext {
        const char* ext;
        bool known;
        const char* stored;
    } exts[] = {
        {".jpg", true, ".jpg"},
        {".JPEG", true, ".jpeg"},
        {".Jpe", true, ".jpe"},
        {".bmp", true, ".bmp"},
        {".GIF", true, ".gif"},
        {".png", true, ".png"},
        {"jpg", false, "jpg"},
        {".svg", false, ".svg"},
        {".jpg ", false, ".jpg "},
        {"", false, ""},
        {".averylongone", false, ".averyl"},
    };
    for (const Ext& e : exts) {
        EXPECT_EQ(ImageSelectorUtils::CheckFileType(e.ext), e.known) << e.ext;
        EXPECT_EQ(StoredExtension(e.ext), e.stored) << e.ext;
    }
    EXPECT_FALSE(ImageSelectorUtils::CheckFileType(nullptr));

    struct Type {
        const char* type;
        bool plain;
    } types[] = {{"background", true}, {"logo_2-x", true}, {"", true},     {"-size", false},
                 {"../x", false},      {"a b", false},     {"a%d", false}, {"a;b", false}};
    for (const Type& t : types)
        EXPECT_EQ(IsPlainType(t.type), t.plain) << t.type;

    struct Arg {
        const char* path;
        const char* argument;
    } args[] = {{"/up/-x.jpg", "/up/-x.jpg"},
                {"-x.jpg", "./-x.jpg"},
                {"msl:x.jpg", "./msl:x.jpg"},
                {"a/b:c.jpg", "a/b:c.jpg"},
                {"a b;'c\".jpg", "a b;'c\".jpg"}};
    for (const Arg& a : args)
        EXPECT_EQ(AsFileArgument(a.path), a.argument) << a.path;
}

TEST_F(ImageTest, ASlotsFileIsFoundInTheOrderOfTheExtensions)
{
    const std::string dir = root_.Path("/usr/vorn/etc/login_image");
    root_.WriteFile("/usr/vorn/etc/login_image/logo3.png", kPng);
    root_.WriteFile("/usr/vorn/etc/login_image/logo3.gif", kGif);
    root_.WriteFile("/usr/vorn/etc/login_image/logo3thumb.bmp", kBmp);
    root_.WriteFile("/usr/vorn/etc/login_image/logo0.JPG", kJpeg);
    char out[4096];
    struct Case {
        int index;
        bool thumb, hd;
        const char* found;  // nullptr: none
    } cases[] = {
        {3, false, false, "/logo3.gif"},  // .gif comes before .png
        {3, true, false, "/logo3thumb.bmp"}, {3, false, true, nullptr},
        {0, false, false, nullptr},  // the search is by the lower-case names
        {-2, false, false, nullptr},  // slot 0
        {4, false, false, nullptr},
    };
    for (const Case& c : cases) {
        const bool found =
            ImageSelectorUtils::GetFilePathByIndex(dir.c_str(), c.index, "logo", c.thumb, out, sizeof out, c.hd);
        EXPECT_EQ(found, c.found != nullptr) << c.index;
        if (found && c.found != nullptr) {
            EXPECT_EQ(out, dir + c.found);
        }
    }
    char ext[8];
    EXPECT_TRUE(ImageSelectorUtils::GetLoginFileExtByIndex(3, "logo", ext, sizeof ext));
    EXPECT_STREQ(ext, ".gif");
    EXPECT_FALSE(ImageSelectorUtils::GetLoginFileExtByIndex(5, "logo", ext, sizeof ext));

    arx_testing::LogCapture log;
    EXPECT_FALSE(ImageSelectorUtils::GetFilePathByIndex(nullptr, 0, "logo", false, out, sizeof out, false));
    EXPECT_FALSE(ImageSelectorUtils::GetFilePathByIndex(dir.c_str(), 0, nullptr, false, out, sizeof out, false));
    EXPECT_FALSE(ImageSelectorUtils::GetFilePathByIndex(dir.c_str(), 0, "logo", false, nullptr, 1, false));
    EXPECT_FALSE(ImageSelectorUtils::GetFilePathByIndex(dir.c_str(), 0, "logo", false, out, 0, false));
    EXPECT_FALSE(ImageSelectorUtils::RemoveLoginHistoryIfExist("logo", -1));
    EXPECT_EQ(arx_testing::WithoutLineNumbers(log.texts()),
              (std::vector<std::string> {"image_selector_utils:# Dir is null", "image_selector_utils:# Wrong type.",
                                         "image_selector_utils:# Wrong return extension.",
                                         "image_selector_utils:# Wrong extension size.",
                                         "image_selector_utils:# Wrong index."}));

    EXPECT_TRUE(ImageSelectorUtils::RemoveLoginHistoryIfExist("logo", 3));
    EXPECT_FALSE(ImageSelectorUtils::GetFilePathByIndex(dir.c_str(), 3, "logo", true, out, sizeof out, false));
    EXPECT_FALSE(ImageSelectorUtils::GetLoginFileExtByIndex(3, "logo", ext, sizeof ext));
}

TEST_F(ImageTest, SizeLimitsAtTheirBoundaries)
{
    struct Case {
        size_t size;
        bool logo, background, compress;
    } cases[] = {
        {0, true, true, false},         {1048576, true, true, false}, {1048577, false, true, false},
        {2097152, false, true, false},  {2097153, false, true, true}, {26214400, false, true, true},
        {26214401, false, false, true},
    };
    for (const Case& c : cases) {
        const std::string path = File("sized", "");
        ASSERT_EQ(truncate(path.c_str(), static_cast<off_t>(c.size)), 0);
        EXPECT_EQ(ImageSelectorUtils::CheckLogoFileSize(path.c_str()), c.logo) << c.size;
        EXPECT_EQ(ImageSelectorUtils::CheckBackgroundFileSize(path.c_str()), c.background) << c.size;
        EXPECT_EQ(ImageSelectorUtils::IsImageNeededCompress(path.c_str()), c.compress) << c.size;
    }
    arx_testing::LogCapture log;
    EXPECT_FALSE(ImageSelectorUtils::CheckLogoFileSize(root_.Path("/none").c_str()));
    EXPECT_EQ(arx_testing::WithoutLineNumbers(log.texts()),
              std::vector<std::string> {"image_selector_utils:# stat " + root_.Path("/none") +
                                        " failed. (No such file or directory)"});
}

TEST_F(ImageTest, CommandLinesOfEveryWayToStoreAnImage)
{
    const std::string big(2097153, 'x');
    struct Case {
        const char* what;
        const char* type;  // nullptr: a wallpaper of alice
        std::string content;
        const char* ext;
        std::vector<std::string> runs;
        const char* path;
        const char* thumb;
    } cases[] = {
        {"a background is always re-encoded",
         "background",
         kPng,
         ".PNG",
         {"cp -f /up/f /usr/vorn/etc/login_image/background1.png",
          "convert /usr/vorn/etc/login_image/background1.png -strip -interlace plane "
          "/usr/vorn/etc/login_image/background1.jpg",
          "convert -size 160x160 -thumbnail 160x160 -quality 90 -unsharp 0.5x0.5+1.25+0.0 "
          "/usr/vorn/etc/login_image/background1.jpg /usr/vorn/etc/login_image/background1thumb.jpg"},
         "/usr/vorn/etc/login_image/background1.jpg",
         "/usr/vorn/etc/login_image/background1thumb.jpg"},
        {"a small logo is only thumbnailed",
         "logo",
         kPng,
         ".png",
         {"cp -f /up/f /usr/vorn/etc/login_image/logo1.png",
          "convert -size 160x160 -thumbnail 160x160 -quality 90 -unsharp 0.5x0.5+1.25+0.0 "
          "/usr/vorn/etc/login_image/logo1.png /usr/vorn/etc/login_image/logo1thumb.png"},
         "/usr/vorn/etc/login_image/logo1.png",
         "/usr/vorn/etc/login_image/logo1thumb.png"},
        {"a large opaque logo becomes a JPEG, its thumbnail keeps the extension",
         "logo",
         kPng + big,
         ".png",
         {"cp -f /up/f /usr/vorn/etc/login_image/logo1.png",
          "convert /usr/vorn/etc/login_image/logo1.png -verbose info:",
          "convert /usr/vorn/etc/login_image/logo1.png -strip -interlace plane /usr/vorn/etc/login_image/logo1.jpg",
          "convert -size 160x160 -thumbnail 160x160 -quality 90 -unsharp 0.5x0.5+1.25+0.0 "
          "/usr/vorn/etc/login_image/logo1.jpg /usr/vorn/etc/login_image/logo1thumb.png"},
         "/usr/vorn/etc/login_image/logo1.jpg",
         "/usr/vorn/etc/login_image/logo1thumb.png"},
        {"a large GIF logo is kept as it is",
         "logo",
         kGif + big,
         ".gif",
         {"cp -f /up/f /usr/vorn/etc/login_image/logo1.gif",
          "convert /usr/vorn/etc/login_image/logo1.gif -verbose info:"},
         "/usr/vorn/etc/login_image/logo1.gif",
         "/usr/vorn/etc/login_image/logo1.gif"},
        {"a GIF background is never resized",
         "background",
         kGif,
         ".gif",
         {"cp -f /up/f /usr/vorn/etc/login_image/background1.gif"},
         "/usr/vorn/etc/login_image/background1.gif",
         "/usr/vorn/etc/login_image/background1.gif"},
        {"a wallpaper: HD copy, small JPEG, thumbnail",
         nullptr,
         kBmp,
         ".bmp",
         {"convert /W/1.bmp -interlace plane /W/1_hd.jpg",
          "convert /W/1.bmp -strip -interlace plane -quality 25 -define jpeg:extent=256KB /W/1.jpg",
          "convert -size 120x120 -thumbnail 120x120 -quality 90 -unsharp 0.5x0.5+1.25+0.0 /W/1.jpg /W/1thumb.jpg"},
         "/W/1.jpg",
         "/W/1thumb.jpg"},
        {"a GIF wallpaper keeps its animation",
         nullptr,
         kGif,
         ".gif",
         {"cp -f /W/1.gif /W/1_hd.gif"},
         "/W/1.gif",
         "/W/1.gif"},
    };
    arx_testing::WriteUserDatabase(root_);
    const std::string wallpapers = "/usr/vorn/etc/preference/alice/wallpaper_dir";
    for (const Case& c : cases) {
        const std::string src = File("f", c.content);
        char path[4096] = "", thumb[4096] = "";
        const bool added = c.type != nullptr ? ImageSelectorUtils::AddLoginHistory(c.type, src.c_str(), c.ext, path,
                                                                                   thumb, sizeof path, sizeof thumb)
                                             : ImageSelectorUtils::AddDesktopHistory("alice", src.c_str(), c.ext, path,
                                                                                     thumb, sizeof path, sizeof thumb);
        EXPECT_TRUE(added) << c.what;
        std::vector<std::string> expected = c.runs;
        for (std::string& run : expected) {
            for (size_t at; (at = run.find("/W/")) != std::string::npos;)
                run.replace(at, 3, wallpapers + "/");
        }
        EXPECT_EQ(Runs(), expected) << c.what;
        std::string wantPath = c.path, wantThumb = c.thumb;
        if (wantPath.rfind("/W/", 0) == 0) {
            wantPath.replace(0, 2, wallpapers);
            wantThumb.replace(0, 2, wallpapers);
        }
        EXPECT_EQ(path, root_.Path(wantPath)) << c.what;
        EXPECT_EQ(thumb, root_.Path(wantThumb)) << c.what;
        // Each case starts from slot 0 again.
        ImageSelectorUtils::SetLoginIndexKey(c.type != nullptr ? c.type : "x", 0);
        ImageSelectorUtils::SetDesktopIndexKey("alice", 0);
    }
}

TEST_F(ImageTest, CompressionCommandLines)
{
    const std::string src = File("-x.png", kPng);
    EXPECT_EQ(ImageUtils::CompressImageToProgressive(src.c_str(), "/o.jpg", true), 0);
    EXPECT_EQ(ImageUtils::CompressImageToProgressive(src.c_str(), "/o.jpg", false), 0);
    EXPECT_EQ(Runs(), (std::vector<std::string> {
                          "convert /up/-x.png -interlace plane /o.jpg",
                          "convert /up/-x.png -interlace plane -quality 25 -define jpeg:extent=256KB /o.jpg"}));
    arx_testing::LogCapture log;
    EXPECT_EQ(ImageUtils::CompressImageToProgressive(nullptr, "/o.jpg", true), -1);
    EXPECT_EQ(
        ImageUtils::CompressImageToProgressive(File("evil.jpg", "push graphic-context\n").c_str(), "/o.jpg", true), -1);
    EXPECT_EQ(Runs(), std::vector<std::string> {}) << "the tool never saw the drawing";
    EXPECT_EQ(arx_testing::WithoutLineNumbers(log.texts()),
              (std::vector<std::string> {
                  "image_utils:# Path is null",
                  "image_utils:# Not a JPEG, PNG, GIF or BMP image: " + root_.Path("/up/evil.jpg"),
                  "image_utils:# Fail to execute /usr/bin/convert, " + root_.Path("/up/evil.jpg") + " /o.jpg"}));
}

TEST_F(ImageTest, SlotsRotatePastEightAndEmptyTheSlotFirst)
{
    const std::string src = File("f", kPng);
    const std::string dir = "/usr/vorn/etc/login_image/";
    root_.WriteFile(dir + "logo1.gif", kGif);  // an older image of slot 1
    root_.WriteFile(dir + "logo1thumb.bmp", kBmp);
    char path[4096], thumb[4096];
    std::vector<int> slots;
    for (int i = 0; i < 9; ++i) {
        ASSERT_TRUE(
            ImageSelectorUtils::AddLoginHistory("logo", src.c_str(), ".png", path, thumb, sizeof path, sizeof thumb));
        slots.push_back(ImageSelectorUtils::GetLoginIndexKey("logo"));
    }
    EXPECT_EQ(slots, (std::vector<int> {1, 2, 3, 4, 5, 6, 7, 0, 1}));
    EXPECT_EQ(access(root_.Path(dir + "logo1.gif").c_str(), F_OK), -1);
    EXPECT_EQ(access(root_.Path(dir + "logo1thumb.bmp").c_str(), F_OK), -1);
    EXPECT_EQ(ImageSelectorUtils::GetFileSharingLoginIndexKey("logo"), 0) << "the other set is apart";

    struct Stored {
        const char* value;
        int read, next;
    } stored[] = {{"9", 9, 2}, {"-3", -3, 0}, {"7", 7, 0}, {"x", 0, 1}};
    for (const Stored& s : stored) {
        ASSERT_EQ(VLIBCINFOSetKeyValue("login_logo_index", s.value), 0);
        EXPECT_EQ(ImageSelectorUtils::GetLoginIndexKey("logo"), s.read) << s.value;
        ASSERT_TRUE(
            ImageSelectorUtils::AddLoginHistory("logo", src.c_str(), ".png", path, thumb, sizeof path, sizeof thumb));
        EXPECT_EQ(ImageSelectorUtils::GetLoginIndexKey("logo"), s.next) << s.value;
    }
    EXPECT_TRUE(ImageSelectorUtils::SetFileSharingLoginIndexKey("logo", 12));
    EXPECT_EQ(ImageSelectorUtils::GetFileSharingLoginIndexKey("logo"), 4);
}

// Root adding a user's wallpaper acts as the user: a link the user plants
// in the directory leads only where the user could write, so every file
// made must be the user's.  The caller's source is read even where the user
// cannot read it.
TEST_F(ImageTest, ARootProcessMakesAUsersWallpaperAsTheUser)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "acting as another user needs root";
    arx_testing::WriteUserDatabase(root_);
    const std::string src = File("upload", kPng);
    ASSERT_EQ(chmod(src.c_str(), 0600), 0);
    ASSERT_EQ(chmod(root_.Path("/up").c_str(), 0700), 0);
    // A wallpaper directory where root added before, its lock root's.
    const std::string dir = root_.Path("/usr/vorn/etc/preference/alice/wallpaper_dir");
    char preferences[4096];
    ASSERT_GT(VORNUserPreferenceDirGet("alice", preferences, sizeof preferences), 0);
    ASSERT_EQ(mkdir(dir.c_str(), 0755), 0);
    ASSERT_EQ(chown(dir.c_str(), arx_testing::kAlice.uid, arx_testing::kAlice.gid), 0);
    root_.WriteFile("/usr/vorn/etc/preference/alice/wallpaper_dir/.slots.lock", "", 0644);
    const int groups = getgroups(0, nullptr);
    char path[4096], thumb[4096], hd[4096];
    ASSERT_TRUE(ImageSelectorUtils::AddDesktopHistory("alice", src.c_str(), ".png", path, thumb, hd, sizeof path,
                                                      sizeof thumb, sizeof hd));
    EXPECT_EQ(geteuid(), 0u);
    EXPECT_EQ(getegid(), 0u);
    EXPECT_EQ(getgroups(0, nullptr), groups);
    for (const std::string& made : {std::string(path), std::string(thumb), std::string(hd), dir + "/.slots.lock"}) {
        struct stat st;
        ASSERT_EQ(lstat(made.c_str(), &st), 0) << made;
        EXPECT_EQ(st.st_uid, arx_testing::kAlice.uid) << made;
    }

    // A wallpaper directory that is a link is refused, the slot unmoved.
    const int current = ImageSelectorUtils::GetDesktopIndexKey("alice");
    ASSERT_EQ(rename(dir.c_str(), (dir + ".old").c_str()), 0);
    ASSERT_EQ(symlink(root_.Path("/usr/vorn/etc").c_str(), dir.c_str()), 0);
    const arx_testing::LogCapture log;
    EXPECT_FALSE(ImageSelectorUtils::AddDesktopHistory("alice", src.c_str(), ".png", path, thumb, sizeof path,
                                                       sizeof thumb));
    EXPECT_EQ(arx_testing::WithoutLineNumbers(log.texts()),
              std::vector<std::string> {"image_selector_utils:# " + dir + " is not a directory"});
    EXPECT_EQ(ImageSelectorUtils::GetDesktopIndexKey("alice"), current);
    // Removing a slot through that link reaches only what alice could remove.
    root_.WriteFile("/usr/vorn/etc/3.jpg", "root's");
    ImageSelectorUtils::RemoveDesktopHistoryIfExist("alice", 3);
    EXPECT_EQ(root_.ReadFile("/usr/vorn/etc/3.jpg"), "root's");
    EXPECT_EQ(geteuid(), 0u);
}

TEST_F(ImageTest, ParallelAddsTakeSlotsOneAfterTheOther)
{
    const std::string src = File("f", kPng);
    std::vector<pid_t> children;
    for (int i = 0; i < 8; ++i) {
        const pid_t pid = fork();
        if (pid == 0) {
            char path[4096], thumb[4096];
            _exit(
                ImageSelectorUtils::AddLoginHistory("logo", src.c_str(), ".png", path, thumb, sizeof path, sizeof thumb)
                    ? 0
                    : 1);
        }
        children.push_back(pid);
    }
    for (pid_t child : children) {
        int status = -1;
        waitpid(child, &status, 0);
        EXPECT_EQ(status, 0);
    }
    EXPECT_EQ(ImageSelectorUtils::GetLoginIndexKey("logo"), 0) << "eight adds, eight slots";
    char out[4096];
    for (int slot = 0; slot < 8; ++slot) {
        EXPECT_TRUE(ImageSelectorUtils::GetFilePathByIndex(root_.Path("/usr/vorn/etc/login_image").c_str(), slot,
                                                           "logo", true, out, sizeof out, false))
            << slot;
    }
}

TEST_F(ImageTest, RefusedImagesLeaveTheCurrentSlot)
{
    char path[4096], thumb[4096];
    struct Case {
        const char* what;
        const char* type;
        std::string content;
        const char* ext;
        const char* line;
    } cases[] = {
        {"a drawing named .jpg", "logo", "push graphic-context\n", ".jpg", "Not a JPEG, PNG, GIF or BMP image: "},
        {"PostScript", "logo", "%!PS-Adobe-3.0\n", ".png", "Not a JPEG, PNG, GIF or BMP image: "},
        {"a GIF named .png", "logo", kGif, ".png", "The content of "},
        {"a PNG named .gif", "logo", kPng, ".gif", "The content of "},
        {"an unknown extension", "logo", kPng, ".svg", "Wrong file extension."},
        {"a type that leaves the directory", "../../etc/x", kPng, ".png", "Wrong type."},
        {"a type the tool would take as an option", "-write", kPng, ".png", "Wrong type."},
    };
    for (const Case& c : cases) {
        arx_testing::LogCapture log;
        EXPECT_FALSE(ImageSelectorUtils::AddLoginHistory(c.type, File("f", c.content).c_str(), c.ext, path, thumb,
                                                         sizeof path, sizeof thumb))
            << c.what;
        EXPECT_EQ(Runs(), std::vector<std::string> {}) << c.what;
        ASSERT_FALSE(log.texts().empty()) << c.what;
        EXPECT_NE(log.texts().back().find(c.line), std::string::npos) << c.what << ": " << log.texts().back();
    }
    EXPECT_EQ(ImageSelectorUtils::GetLoginIndexKey("logo"), 0);
    EXPECT_FALSE(ImageSelectorUtils::AddLoginHistory("logo", File("f", kPng).c_str(), ".png", nullptr, thumb, 1, 1));
    EXPECT_FALSE(ImageSelectorUtils::AddLoginHistory("logo", File("f", kPng).c_str(), ".png", path, thumb, 1, 0));
}

TEST_F(ImageTest, AFailingToolFailsTheStoreButNotTheThumbnail)
{
    arx_testing::InstallRecordingTools(root_, 1);
    char path[4096], thumb[4096];
    arx_testing::LogCapture log;
    EXPECT_FALSE(ImageSelectorUtils::AddLoginHistory("background", File("f", kJpeg).c_str(), ".jpg", path, thumb,
                                                     sizeof path, sizeof thumb));
    EXPECT_EQ(ImageSelectorUtils::GetLoginIndexKey("background"), 0);
    EXPECT_TRUE(ImageSelectorUtils::AddLoginHistory("logo", File("f", kJpeg).c_str(), ".jpg", path, thumb, sizeof path,
                                                    sizeof thumb));
    EXPECT_EQ(ImageSelectorUtils::GetLoginIndexKey("logo"), 1);
    const std::vector<std::string> lines = arx_testing::WithoutLineNumbers(log.texts());
    EXPECT_EQ(std::count(lines.begin(), lines.end(), "image_selector_utils:# Failed to compress"), 1);
    const std::string dir = root_.Path("/usr/vorn/etc/login_image/");
    EXPECT_EQ(lines.back(), "image_selector_utils:# Fail to execute /usr/bin/convert, " + dir + "logo1.jpg " + dir +
                                "logo1thumb.jpg");
}

TEST_F(ImageTest, WallpaperRecordsKeepTheRestOfTheSettings)
{
    arx_testing::WriteUserDatabase(root_);
    Json::Value settings;
    ASSERT_TRUE(ImageSelectorUtils::loadUserSettings("alice", settings));
    EXPECT_EQ(settings, Json::Value(Json::objectValue));
    settings["Desktop"]["wallpaper"]["wallpaper_path"] = "/w/3.jpg";
    settings["Desktop"]["theme"] = "dark";
    settings["other"] = 1;
    ASSERT_TRUE(ImageSelectorUtils::saveUserSettings("alice", settings));
    ASSERT_TRUE(ImageSelectorUtils::SetDesktopIndexKey("alice", -4));
    EXPECT_EQ(ImageSelectorUtils::GetDesktopIndexKey("alice"), 0);
    ASSERT_TRUE(ImageSelectorUtils::SetDesktopIndexKey("alice", 5));
    EXPECT_EQ(ImageSelectorUtils::GetDesktopIndexKey("alice"), 5);
    std::string chosen;
    EXPECT_TRUE(ImageSelectorUtils::GetDesktopWallpaperPath("alice", chosen));
    EXPECT_EQ(chosen, "/w/3.jpg");
    ASSERT_TRUE(ImageSelectorUtils::loadUserSettings("alice", settings));
    EXPECT_EQ(settings["Desktop"]["theme"], "dark");
    EXPECT_EQ(settings["other"], 1);

    // Members of the wrong kind are replaced, never a crash.
    settings["Desktop"] = "text";
    ASSERT_TRUE(ImageSelectorUtils::saveUserSettings("alice", settings));
    EXPECT_EQ(ImageSelectorUtils::GetDesktopIndexKey("alice"), 0);
    EXPECT_FALSE(ImageSelectorUtils::GetDesktopWallpaperPath("alice", chosen));
    EXPECT_TRUE(ImageSelectorUtils::SetDesktopIndexKey("alice", 2));
    EXPECT_EQ(ImageSelectorUtils::GetDesktopIndexKey("alice"), 2);

    arx_testing::LogCapture log;
    EXPECT_EQ(ImageSelectorUtils::GetDesktopIndexKey(""), 0);
    EXPECT_FALSE(ImageSelectorUtils::SetDesktopIndexKey("nobody-here", 1));
    EXPECT_EQ(arx_testing::WithoutLineNumbers(log.texts()),
              (std::vector<std::string> {"image_selector_utils:# Bad parameter",
                                         "image_selector_utils:# Get preference directory failed: 5120",
                                         "image_selector_utils:# Load user settings failed"}));
}

}  // namespace
