#include <stdlib.h>
#include <syslog.h>

#include <string>
#include <vector>

#include <sys/stat.h>

#include <gtest/gtest.h>

#include <arx/webman.h>

#include "testing/child_process.h"
#include "testing/log_capture.h"
#include "testing/temp_root.h"

namespace {

TEST(ReadFileTest, ReadsWholeSmallFilesOnly)
{
    struct Row {
        const char* description;
        std::string content;
        int maxSize;
        bool read;
    };
    const Row rows[] = {
        {"smaller than the limit", "hello", 100, true},
        {"exactly the limit", "12345", 5, true},
        {"one byte over", "123456", 5, false},
        {"empty file", "", 0, true},
        {"bytes after a NUL", std::string("a\0b", 3), 3, true},
        {"negative limit", "x", -1, false},
    };
    arx_testing::TempRoot root;
    arx_testing::LogCapture log;
    WebMan web(false);
    for (const Row& row : rows) {
        root.WriteFile("/file", row.content);
        char* buffer = web.szReadFile(root.Path("/file").c_str(), row.maxSize);
        ASSERT_EQ(buffer != nullptr, row.read) << row.description;
        if (buffer != nullptr) {
            EXPECT_EQ(std::string(buffer, row.content.size() + 1), row.content + '\0') << row.description;
            free(buffer);
        }
    }
    EXPECT_TRUE(log.lines().empty()) << "a file over the limit is not an error";
}

TEST(ReadFileTest, UnreadableFilesAreLogged)
{
    arx_testing::TempRoot root;
    arx_testing::LogCapture log;
    WebMan web(false);
    const std::string missing = root.Path("/missing");
    EXPECT_EQ(web.szReadFile(missing.c_str(), 10), nullptr);
    EXPECT_EQ(web.szReadFile(root.dir().c_str(), 1 << 20), nullptr);  // a directory cannot be read
    const std::string fifo = root.Path("/fifo");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    EXPECT_EQ(web.szReadFile(fifo.c_str(), 1 << 20), nullptr);  // and a FIFO never holds the process
    EXPECT_EQ(arx_testing::WithoutLineNumbers(log.texts()),
              (std::vector<std::string>{"webman (#) Failed to open " + missing + ". (No such file or directory)",
                                        "webman (#) Failed to open " + root.dir() + ". (Is a directory)",
                                        "webman (#) Failed to open " + fifo + ". (Invalid argument)"}));
    EXPECT_EQ(log.lines()[0].priority, LOG_ERR);
}

}  // namespace
