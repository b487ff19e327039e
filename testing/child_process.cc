#include "testing/child_process.h"

#include <errno.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <stdexcept>

#include <vorn/log.h>

extern char** environ;

namespace arx_testing {

namespace {

int MemoryFile(const char* name)
{
    const int fd = memfd_create(name, 0);
    if (fd < 0)
        throw std::runtime_error("memfd_create failed");
    return fd;
}

std::string ReadFromStart(int fd)
{
    std::string content;
    char buffer[8192];
    off_t offset = 0;
    for (;;) {
        const ssize_t got = pread(fd, buffer, sizeof buffer, offset);
        if (got <= 0)
            break;
        content.append(buffer, static_cast<size_t>(got));
        offset += got;
    }
    return content;
}

void ClearCgiEnvironment()
{
    static const char* const kNames[] = {"REQUEST_METHOD", "QUERY_STRING", "CONTENT_LENGTH", "CONTENT_TYPE",
                                         "REMOTE_ADDR",    "HTTPS",        "SCRIPT_NAME",    "SCRIPT_FILENAME",
                                         "DOCUMENT_ROOT"};
    for (const char* name : kNames)
        unsetenv(name);
    std::vector<std::string> http;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        if (strncmp(*entry, "HTTP_", 5) == 0)
            http.emplace_back(*entry, strcspn(*entry, "="));
    }
    for (const std::string& name : http)
        unsetenv(name.c_str());
}

void LogToFile(int, const char* line, void* context)
{
    const int fd = *static_cast<int*>(context);
    if (write(fd, line, strlen(line) + 1) < 0)
        _exit(121);
}

std::vector<std::string> SplitLogLines(const std::string& content)
{
    std::vector<std::string> lines;
    size_t start = 0;
    while (start < content.size()) {
        const size_t end = content.find('\0', start);
        lines.push_back(content.substr(start, end - start));
        start = end + 1;
    }
    return lines;
}

}  // namespace

ChildOptions PostRequest(const std::string& body, const std::string& contentType, const std::string& contentLength)
{
    ChildOptions options;
    options.env = {{"REQUEST_METHOD", "POST"},
                   {"CONTENT_LENGTH", contentLength.empty() ? std::to_string(body.size()) : contentLength}};
    if (!contentType.empty())
        options.env.push_back({"CONTENT_TYPE", contentType});
    options.input = body;
    return options;
}

ChildOptions WithEnvironment(std::vector<std::pair<std::string, std::string>> env)
{
    ChildOptions options;
    options.env = std::move(env);
    return options;
}

ChildOptions GetRequest(const std::string& query)
{
    ChildOptions options;
    options.env = {{"REQUEST_METHOD", "GET"}, {"QUERY_STRING", query}};
    return options;
}

ChildResult RunInChild(const std::function<void()>& body, const ChildOptions& options)
{
    const int input = MemoryFile("child-stdin");
    const int output = MemoryFile("child-stdout");
    int logFile = MemoryFile("child-log");
    if (!options.input.empty() && pwrite(input, options.input.data(), options.input.size(), 0) < 0)
        throw std::runtime_error("cannot write child input");

    fflush(stdout);
    const pid_t pid = fork();
    if (pid < 0)
        throw std::runtime_error("fork failed");
    if (pid == 0) {
        if (options.closeInput)
            close(STDIN_FILENO);
        else
            dup2(input, STDIN_FILENO);
        dup2(output, STDOUT_FILENO);
        ClearCgiEnvironment();
        for (const auto& [name, value] : options.env)
            setenv(name.c_str(), value.c_str(), 1);
        VLIBCLogSetSink(&LogToFile, &logFile);
        body();
        fflush(stdout);
        _exit(0);
    }

    int status = 0;
    while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    ChildResult result;
    result.exited = WIFEXITED(status);
    result.exitStatus = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    result.signal = WIFSIGNALED(status) ? WTERMSIG(status) : 0;
    result.output = ReadFromStart(output);
    result.logLines = SplitLogLines(ReadFromStart(logFile));
    close(input);
    close(output);
    close(logFile);
    return result;
}

}  // namespace arx_testing
