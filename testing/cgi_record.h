// A CGI record set up for the life of a test scope.
#ifndef ARX_TESTING_CGI_RECORD_H
#define ARX_TESTING_CGI_RECORD_H

#include <vorn/cgi.h>

namespace arx_testing {

class CgiRecord {
public:
    CgiRecord() { VornCgiInit("", &cgi_); }
    ~CgiRecord() { VornCgiFree(&cgi_); }
    CgiRecord(const CgiRecord&) = delete;
    CgiRecord& operator=(const CgiRecord&) = delete;

    VornCgi* get() { return &cgi_; }

private:
    VornCgi cgi_;
};

}  // namespace arx_testing

#endif
