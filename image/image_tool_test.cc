// The image selector with the real image tool under the appliance's policy:
// real pictures come out as valid images of the expected size, and hostile
// files are refused before the tool or stopped by the policy.

#include <sys/resource.h>
#include <unistd.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <arx/image_selector_utils.h>
#include <arx/image_utils.h>
#include <vorn/exec.h>

#include "testing/image_tools.h"
#include "testing/temp_root.h"
#include "testing/users.h"

namespace {

using arx_testing::TempRoot;

uint32_t Crc32(const std::string& bytes)
{
    uint32_t crc = 0xFFFFFFFFu;
    for (unsigned char b : bytes) {
        crc ^= b;
        for (int k = 0; k < 8; ++k)
            crc = (crc >> 1) ^ (0xEDB88320u & (0u - (crc & 1u)));
    }
    return ~crc;
}

std::string BigEndian(uint32_t v)
{
    return {static_cast<char>(v >> 24), static_cast<char>(v >> 16), static_cast<char>(v >> 8), static_cast<char>(v)};
}

std::string Chunk(const std::string& type, const std::string& data)
{
    return BigEndian(static_cast<uint32_t>(data.size())) + type + data + BigEndian(Crc32(type + data));
}

// A tiny file whose header announces 100000 x 100000 pixels.
std::string PixelFlood()
{
    const std::string header = BigEndian(100000) + BigEndian(100000) + std::string("\x08\x02\0\0\0", 5);
    return std::string("\x89PNG\r\n\x1A\n", 8) + Chunk("IHDR", header) + Chunk("IEND", "");
}

// A GIF of frames one-pixel frames.
std::string ManyFrames(int frames)
{
    std::string gif("GIF89a\1\0\1\0\x80\0\0\0\0\0\xFF\xFF\xFF", 19);
    for (int i = 0; i < frames; ++i)
        gif += std::string("\x2C\0\0\0\0\1\0\1\0\0\x02\x02\x44\x01\0", 15);
    return gif + ";";
}

class RealImageTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        arx_testing::InstallImageTools(root_);
        arx_testing::WriteUserDatabase(root_);
        root_.WriteFile("/etc/vorninfo.conf", "");
        root_.MakeDirs("/usr/vorn/etc");
        root_.MakeDirs("/up");
    }

    // A picture drawn by the tool itself (under the system's own policy).
    std::string Draw(const std::string& name, const char* size, const char* what) const
    {
        const std::string path = root_.Path("/up/" + name);
        EXPECT_EQ(VLIBCExec("/usr/bin/convert", "-size", size, what, path.c_str(), nullptr), 0) << name;
        return path;
    }

    // "FORMAT WIDTH HEIGHT INTERLACE" of the first frame, as identify sees it.
    static std::string Identify(const std::string& path)
    {
        char out[256] = "";
        VLIBCEXECOPTIONS options {};
        options.output = out;
        options.output_size = sizeof out;
        const char* argv[] = {"/usr/bin/identify", "-format", "%m %w %h %[interlace]\\n", path.c_str(), nullptr};
        VLIBCExecv(argv[0], argv, &options);
        return std::string(out).substr(0, std::string(out).find('\n'));
    }

    TempRoot root_;
};

TEST_F(RealImageTest, PicturesComeOutAsValidImagesOfTheExpectedSize)
{
    const std::string jpeg = Draw("in.jpg", "64x48", "gradient:red-blue");
    const std::string png = Draw("in.png", "48x64", "gradient:white-black");
    const std::string gif = Draw("in.gif", "30x20", "gradient:red-blue");
    struct Case {
        const char* what;
        const char* type;  // nullptr: alice's wallpaper
        std::string src;
        const char* ext;
        std::string image, thumb, hd;
    } cases[] = {
        {"a background JPEG", "background", jpeg, ".jpg", "JPEG 64 48 JPEG", "JPEG 160 120 None", ""},
        {"a PNG logo", "logo", png, ".png", "PNG 48 64 None", "PNG 120 160 None", ""},
        {"a GIF logo", "logo", gif, ".gif", "GIF 30 20 None", "GIF 30 20 None", ""},
        {"a JPEG wallpaper", nullptr, jpeg, ".jpg", "JPEG 64 48 JPEG", "JPEG 120 90 None", "JPEG 64 48 JPEG"},
        {"a PNG wallpaper", nullptr, png, ".PNG", "JPEG 48 64 JPEG", "JPEG 90 120 None", "JPEG 48 64 JPEG"},
        {"a GIF wallpaper", nullptr, gif, ".gif", "GIF 30 20 None", "GIF 30 20 None", "GIF 30 20 None"},
    };
    for (const Case& c : cases) {
        char path[4096] = "", thumb[4096] = "", hd[4096] = "";
        const bool added = c.type != nullptr
                               ? ImageSelectorUtils::AddLoginHistory(c.type, c.src.c_str(), c.ext, path, thumb,
                                                                     sizeof path, sizeof thumb)
                               : ImageSelectorUtils::AddDesktopHistory("alice", c.src.c_str(), c.ext, path, thumb, hd,
                                                                       sizeof path, sizeof thumb, sizeof hd);
        ASSERT_TRUE(added) << c.what;
        EXPECT_EQ(Identify(path), c.image) << c.what;
        EXPECT_EQ(Identify(thumb), c.thumb) << c.what;
        if (!c.hd.empty()) {
            EXPECT_EQ(Identify(hd), c.hd) << c.what;
        }
    }
}

TEST_F(RealImageTest, CompressionAndTransparency)
{
    const std::string noise = Draw("noise.png", "1200x900", "xc:gray");
    ASSERT_EQ(VLIBCExec("/usr/bin/convert", noise.c_str(), "+noise", "Random", noise.c_str(), nullptr), 0);
    const std::string small = root_.Path("/up/small.jpg"), full = root_.Path("/up/full.jpg");
    ASSERT_EQ(ImageUtils::CompressImageToProgressive(noise.c_str(), small.c_str(), false), 0);
    ASSERT_EQ(ImageUtils::CompressImageToProgressive(noise.c_str(), full.c_str(), true), 0);
    EXPECT_EQ(Identify(small), "JPEG 1200 900 JPEG");
    EXPECT_EQ(Identify(full), "JPEG 1200 900 JPEG");
    EXPECT_LE(arx_testing::ReadWholeFile(small).size(), 256u * 1024);
    EXPECT_GT(arx_testing::ReadWholeFile(full).size(), 256u * 1024);

    const std::string alpha = Draw("alpha.png", "16x16", "xc:rgba(255,0,0,0.5)");
    EXPECT_TRUE(ImageSelectorUtils::IsImageTransparent(alpha.c_str()));
    EXPECT_FALSE(ImageSelectorUtils::IsImageTransparent(noise.c_str()));
    EXPECT_FALSE(ImageSelectorUtils::IsImageTransparent(small.c_str()));
}

TEST_F(RealImageTest, HostileFilesAreRefusedOrBounded)
{
    struct Case {
        const char* what;
        std::string name, content;
    } cases[] = {
        {"a drawing renamed .jpg", "evil.jpg",
         "push graphic-context\nviewbox 0 0 640 480\nimage over 0,0 0,0 '/etc/passwd'\npop graphic-context\n"},
        {"an SVG renamed .jpg", "evil2.jpg",
         "<svg xmlns=\"http://www.w3.org/2000/svg\"><image href=\"file:///etc/passwd\"/></svg>"},
        {"PostScript", "evil.png", "%!PS-Adobe-3.0\n/Times findfont 12 scalefont setfont\nshowpage\n"},
        {"a pixel flood", "flood.png", PixelFlood()},
        {"thousands of frames", "frames.gif", ManyFrames(5000)},
    };
    for (const Case& c : cases) {
        root_.WriteFile("/up/" + c.name, c.content);
        const std::string path = root_.Path("/up/" + c.name), out = root_.Path("/up/out.jpg");
        char image[4096], thumb[4096];
        const bool gif = c.name.find(".gif") != std::string::npos;
        EXPECT_EQ(ImageUtils::CompressImageToProgressive(path.c_str(), out.c_str(), false), -1) << c.what;
        EXPECT_FALSE(ImageSelectorUtils::IsImageTransparent(path.c_str())) << c.what;
        // A GIF is stored as it is, never handed to the tool to be resized.
        EXPECT_EQ(ImageSelectorUtils::AddLoginHistory("background", path.c_str(), gif ? ".gif" : ".jpg", image, thumb,
                                                      sizeof image, sizeof thumb),
                  gif)
            << c.what;
        unlink(out.c_str());
    }
    rusage usage {};
    getrusage(RUSAGE_CHILDREN, &usage);
    EXPECT_LT(usage.ru_maxrss, 300 * 1024) << "kilobytes at the peak of one run of the tool";
}

TEST_F(RealImageTest, ThePolicyRefusesEveryOtherCoder)
{
    root_.WriteFile("/up/x", "push graphic-context\npop graphic-context\n");
    const std::string env = "MAGICK_CONFIGURE_PATH=" + root_.Path("/etc/ImageMagick-6");
    const char* environment[] = {"PATH=/usr/bin:/bin", env.c_str(), nullptr};
    const std::string file = root_.Path("/up/x"), out = root_.Path("/up/out.png");
    for (const char* coder : {"mvg:", "msl:", "svg:", "text:", "ephemeral:", "ps:", "label:", "url:"}) {
        const std::string input = coder == std::string("url:") ? "url:http://127.0.0.1:9/x.png" : coder + file;
        const char* argv[] = {"/usr/bin/convert", input.c_str(), out.c_str(), nullptr};
        VLIBCEXECOPTIONS options {};
        options.environment = environment;
        EXPECT_NE(VLIBCExecv(argv[0], argv, &options), 0) << coder;
        EXPECT_NE(access(out.c_str(), F_OK), 0) << coder;
    }
}

TEST_F(RealImageTest, NamesThatAShellOrTheToolWouldMisread)
{
    const std::string png = Draw("in.png", "20x10", "gradient:red-blue");
    for (const char* name : {"-x.png", "a b.png", "q'uo\"te.png", "semi;colon.png", "$(touch pwned).png"}) {
        const std::string path = root_.Path(std::string("/up/") + name);
        ASSERT_EQ(rename(png.c_str(), path.c_str()), 0);
        char image[4096], thumb[4096];
        EXPECT_TRUE(
            ImageSelectorUtils::AddLoginHistory("logo", path.c_str(), ".png", image, thumb, sizeof image, sizeof thumb))
            << name;
        EXPECT_EQ(Identify(thumb), "PNG 160 80 None") << name;
        ASSERT_EQ(rename(path.c_str(), png.c_str()), 0);
    }
    EXPECT_NE(access("pwned", F_OK), 0);
    // Relative names that begin with '-' are files, not options.
    ASSERT_EQ(chdir(root_.Path("/up").c_str()), 0);
    ASSERT_EQ(rename(png.c_str(), root_.Path("/up/-in.png").c_str()), 0);
    EXPECT_EQ(ImageUtils::CompressImageToProgressive("-in.png", "-out.jpg", true), 0);
    EXPECT_EQ(Identify(root_.Path("/up/-out.jpg")), "JPEG 20 10 JPEG");
    ASSERT_EQ(chdir("/"), 0);
}

}  // namespace
