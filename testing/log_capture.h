// Captures the log lines of the platform's logging function while alive.
#ifndef ARX_TESTING_LOG_CAPTURE_H
#define ARX_TESTING_LOG_CAPTURE_H

#include <string>
#include <vector>

namespace arx_testing {

struct LogLine {
    int priority;
    std::string text;
};

class LogCapture {
public:
    LogCapture();
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    const std::vector<LogLine>& lines() const { return lines_; }
    // The texts alone, in order.
    std::vector<std::string> texts() const;
    void Clear() { lines_.clear(); }

private:
    static void Sink(int priority, const char* line, void* context);
    std::vector<LogLine> lines_;
};

// A log line with its source line number (the first run of digits, as in
// "webman (123) ..." or "csp_rule:45 ...") replaced by '#', so that tests
// state messages without depending on where in the file they stand.
std::string WithoutLineNumber(const std::string& line);
std::vector<std::string> WithoutLineNumbers(const std::vector<std::string>& lines);

}  // namespace arx_testing

#endif
