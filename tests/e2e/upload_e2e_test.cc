// upload.cgi through lighttpd, which streams the body to it: a large file,
// a sliced upload resumed across requests, a client that goes away, a
// request without a session, and hostile file names.

#include <arpa/inet.h>
#include <dirent.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "testing/temp_root.h"
#include "tests/e2e/appliance.h"
#include "tests/e2e/demo_session.h"
#include "tests/e2e/http_client.h"

namespace arx_e2e {
namespace {

using namespace std::string_literals;

const std::string kType = "multipart/form-data; boundary=XyZb";

std::string Part(const std::string& name, const std::string& content, const std::string* fileName = nullptr)
{
    std::string part = "--XyZb\r\nContent-Disposition: form-data; name=\"" + name + "\"";
    if (fileName != nullptr)
        part += "; filename=\"" + *fileName + "\"";
    return part + "\r\n\r\n" + content + "\r\n";
}

std::string Body(const std::string& fileName, const std::string& content, const std::string& folder = "/public")
{
    return Part("folder", folder) + Part("file", content, &fileName) + "--XyZb--\r\n";
}

// Bytes no two slices share, so that a slice in the wrong place shows.
std::string Pattern(size_t size, unsigned seed)
{
    std::string text(size, '\0');
    for (size_t i = 0; i < size; ++i)
        text[i] = static_cast<char>((i * 131 + seed * 7 + i / 4099) & 0xff);
    return text;
}

// The files of a folder (the demo's shared folders hold folders of their
// own, which no upload touches).
std::vector<std::string> Names(const std::string& dir)
{
    std::vector<std::string> names;
    if (DIR* stream = opendir(dir.c_str())) {
        while (const dirent* entry = readdir(stream)) {
            if (entry->d_name[0] != '.' && entry->d_type != DT_DIR)
                names.push_back(entry->d_name);
        }
        closedir(stream);
    }
    return names;
}

class UploadE2eTest : public ::testing::Test {
protected:
    void SetUp() override { session_ = LogInAs(appliance_, "alice", "harbor-alice"); }
    HttpResponse Upload(const std::string& body, std::vector<std::string> extra = {})
    {
        std::vector<std::string> headers = session_.Headers();
        headers.insert(headers.end(), extra.begin(), extra.end());
        return Post(appliance_.Url("/webapi/upload.cgi"), kType, body, headers);
    }
    std::string Public(const std::string& name) { return appliance_.RootPath("/volume1/public/" + name); }
    std::vector<std::string> Pending() { return Names(appliance_.RootPath("/volume1/@sharebin/@tmp")); }

    Appliance appliance_;
    DemoSession session_;
};

TEST_F(UploadE2eTest, ALargeFileStreamsIntoTheSharedFolder)
{
    const std::string content = Pattern(200u << 20, 1);
    const HttpResponse response = Upload(Body("big.bin", content));
    ASSERT_EQ(response.status, 200) << response.body;
    const Json::Value reply = ParseJson(response.body);
    EXPECT_TRUE(reply["success"].asBool()) << response.body;
    EXPECT_EQ(reply["files"][0]["name"].asString(), "big.bin");
    EXPECT_EQ(reply["files"][0]["size"].asUInt64(), content.size());
    EXPECT_TRUE(arx_testing::ReadWholeFile(Public("big.bin")) == content) << "the stored file differs";
    EXPECT_EQ(Pending(), std::vector<std::string>{});
}

TEST_F(UploadE2eTest, SlicesResumeAcrossRequests)
{
    const std::string slices[] = {Pattern(300000, 1), Pattern(300000, 2), Pattern(1234, 3)};
    struct Step { int slice; const char* offset; bool finish; long status; const char* received; };
    const Step steps[] = {
        {0, "0", false, 200, "300000"},
        {1, "5", false, 409, "300000"},  // a wrong offset: the client learns where to resume
        {1, "300000", false, 200, "600000"},
        {2, "600000", true, 200, nullptr},
    };
    const std::string name = "sliced.bin";
    for (const Step& step : steps) {
        std::vector<std::string> headers = {"X-Tmp-File: e2e-1", "X-Slice-Offset: "s + step.offset};
        if (step.finish)
            headers.push_back("X-Slice-Finish: 1");
        const HttpResponse response = Upload(Body(name, slices[step.slice]), headers);
        EXPECT_EQ(response.status, step.status) << "offset " << step.offset << ": " << response.body;
        if (step.received != nullptr) {
            EXPECT_EQ(ParseJson(response.body)["received"].asString(), step.received) << step.offset;
        }
    }
    EXPECT_TRUE(arx_testing::ReadWholeFile(Public(name)) == slices[0] + slices[1] + slices[2]);
    EXPECT_EQ(Pending(), std::vector<std::string>{}) << "the collecting file was moved";
    EXPECT_EQ(Names(appliance_.RootPath("/tmp/slice_file_id")), std::vector<std::string>{}) << "record removed";
}

TEST_F(UploadE2eTest, AClientGoneHalfWayLeavesNothing)
{
    const std::string head = Part("folder", "/public") +
                             "--XyZb\r\nContent-Disposition: form-data; name=\"f\"; filename=\"half.bin\"\r\n\r\n";
    const size_t announced = head.size() + (20u << 20) + 12;
    const int fd = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<uint16_t>(std::stoi(appliance_.Url("").substr(17))));
    ASSERT_EQ(connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    std::string request = "POST /webapi/upload.cgi HTTP/1.1\r\nHost: 127.0.0.1\r\nContent-Type: " + kType +
                          "\r\nContent-Length: " + std::to_string(announced) + "\r\n";
    for (const std::string& header : session_.Headers())
        request += header + "\r\n";
    request += "\r\n" + head + std::string(1u << 20, 'h');
    ASSERT_EQ(write(fd, request.data(), request.size()), static_cast<ssize_t>(request.size()));
    for (int wait = 0; wait < 500 && Pending().empty(); ++wait)
        usleep(10000);
    EXPECT_EQ(Pending().size(), 1u) << "the program is storing the file";
    close(fd);
    for (int wait = 0; wait < 1000 && !Pending().empty(); ++wait)
        usleep(10000);
    EXPECT_EQ(Pending(), std::vector<std::string>{}) << "the partial file was removed";
    EXPECT_EQ(Names(appliance_.RootPath("/volume1/public")), std::vector<std::string>{});
}

TEST_F(UploadE2eTest, RefusesWithoutASessionAndKeepsNamesInTheFolder)
{
    const HttpResponse refused = Post(appliance_.Url("/webapi/upload.cgi"), kType, Body("x.txt", "data"));
    EXPECT_EQ(refused.Header("x-request-error"), "unauth");
    EXPECT_EQ(refused.Header("Content-type"), "text/html; charset=\"UTF-8\"");
    EXPECT_EQ(Pending(), std::vector<std::string>{});

    struct Row { std::string fileName; std::string folder; long status; const char* stored; };
    const Row rows[] = {
        {"../../../etc/evil.txt", "/public", 200, "evil.txt"},
        {"a\\..\\b.txt", "/public", 200, "b.txt"},
        {"nul\0.txt"s, "/public", 400, nullptr},
        {"..", "/public", 200, nullptr},  // no name left: refused, nothing kept
        {"x.txt", "/public/../../..", 400, nullptr},
        {"x:y.txt", "/public", 200, nullptr},  // not a name of the folder: refused in the answer
        {"y.txt", "/nosuchshare", 404, nullptr},
    };
    for (const Row& row : rows) {
        const HttpResponse response = Upload(Body(row.fileName, "content", row.folder));
        EXPECT_EQ(response.status, row.status) << row.fileName << " into " << row.folder << ": " << response.body;
        if (row.stored != nullptr) {
            EXPECT_EQ(arx_testing::ReadWholeFile(Public(row.stored)), "content") << row.fileName;
        }
    }
    std::vector<std::string> names = Names(appliance_.RootPath("/volume1/public"));
    std::sort(names.begin(), names.end());
    EXPECT_EQ(names, (std::vector<std::string>{"b.txt", "evil.txt"}));
    EXPECT_EQ(Pending(), std::vector<std::string>{});
}

}  // namespace
}  // namespace arx_e2e
