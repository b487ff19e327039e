#include "testing/log_capture.h"

#include <vorn/log.h>

namespace arx_testing {

LogCapture::LogCapture()
{
    VLIBCLogSetSink(&LogCapture::Sink, this);
}

LogCapture::~LogCapture()
{
    VLIBCLogSetSink(nullptr, nullptr);
}

void LogCapture::Sink(int priority, const char* line, void* context)
{
    static_cast<LogCapture*>(context)->lines_.push_back({priority, line});
}

std::vector<std::string> LogCapture::texts() const
{
    std::vector<std::string> texts;
    for (const LogLine& line : lines_)
        texts.push_back(line.text);
    return texts;
}

std::string WithoutLineNumber(const std::string& line)
{
    const size_t start = line.find_first_of("0123456789");
    if (start == std::string::npos)
        return line;
    size_t end = line.find_first_not_of("0123456789", start);
    if (end == std::string::npos)
        end = line.size();
    return line.substr(0, start) + "#" + line.substr(end);
}

std::vector<std::string> WithoutLineNumbers(const std::vector<std::string>& lines)
{
    std::vector<std::string> result;
    for (const std::string& line : lines)
        result.push_back(WithoutLineNumber(line));
    return result;
}

}  // namespace arx_testing
