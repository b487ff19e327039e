// Runs a piece of code in a child process, as a CGI program runs: with its
// own environment, a given standard input, and standard output captured.
// Used for everything that reads standard input once per process, prints a
// response or ends the process.
#ifndef ARX_TESTING_CHILD_PROCESS_H
#define ARX_TESTING_CHILD_PROCESS_H

#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace arx_testing {

struct ChildOptions {
    std::vector<std::pair<std::string, std::string>> env;  // set after the CGI variables are cleared
    std::string input;                                      // standard input
    bool closeInput = false;                                // standard input closed instead
};

struct ChildResult {
    bool exited = false;  // ended by exit (not by a signal)
    int exitStatus = -1;
    int signal = 0;
    std::string output;   // standard output
    std::vector<std::string> logLines;  // lines of the platform log
};

// A POST request carrying body.  An empty contentType sends none; an empty
// contentLength announces the body's own size.
ChildOptions PostRequest(const std::string& body,
                         const std::string& contentType = "application/x-www-form-urlencoded",
                         const std::string& contentLength = "");

// No request body, only these variables.
ChildOptions WithEnvironment(std::vector<std::pair<std::string, std::string>> env);

// A GET request with the query string.
ChildOptions GetRequest(const std::string& query);

// The body runs in the child, which ends with status 0 when the body
// returns.  Log lines of the child are captured and handed back.
ChildResult RunInChild(const std::function<void()>& body, const ChildOptions& options = {});

}  // namespace arx_testing

#endif
