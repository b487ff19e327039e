// WebMan: the request context of a CGI program.
//
// A CGI program builds one WebMan at start.  It owns the platform's CGI
// record, reads the request's parameters once (a JSON body, or URL-encoded
// pairs from the body or the query string) and writes the response:
// queued headers, then a JSON body, or the not-found response.
//
//   WebMan web(true);
//   // ... check the session, then:
//   const char* name = web.In("name", "");       // form or query parameter
//   Json::Value* json = web.In();                // or the JSON body
//   web.WriteHeader("application/json; charset=\"UTF-8\"");
//   web.WriteBody(reply);
#ifndef ARX_WEBMAN_H
#define ARX_WEBMAN_H

#include <string>

#include <json/value.h>
#include <vorn/cgi.h>

#include <arx/export.h>

class ARX_EXPORT WebMan {
public:
    // Makes the process a session leader, sets up the CGI record, reads the
    // cookies and, when loadInput is true, the parameters (LoadIn).
    explicit WebMan(bool loadInput);
    ~WebMan();
    WebMan(const WebMan&) = delete;
    WebMan& operator=(const WebMan&) = delete;

    // Reads the request's parameters: a body the JSON reader accepts becomes
    // the JSON parameters, any other text is decoded as name=value pairs.
    // true once read; false when there is nothing to read or they were read
    // before.
    bool LoadIn();

    // Parses text as JSON into the JSON parameters; the reader's result.
    // The parameters are left as they were when the text is not JSON.
    bool LoadJSONParam(char* text);

    // The JSON parameters when they hold at least one member or element,
    // else NULL.
    Json::Value* In();

    // A URL-encoded parameter, or defaultValue.  A request whose JSON body
    // holds members always gets defaultValue here: such a program reads its
    // parameters through In().
    const char* In(const char* name, const char* defaultValue);

    // Queues a response header; nonzero when queued.  Headers that could
    // split the response (CR, LF, a bad name) are refused.
    int AddHeader(const char* name, const char* value);

    // Queues the security headers of the response (Content-Security-Policy,
    // X-Frame-Options; see <arx/security_options.h>).  name: the page's name
    // when it has a policy of its own, else NULL for the system-wide policy.
    // Call it before WriteHeader.
    void AddSecurityHeaders(const char* name);

    // Queues "Content-type" and prints every queued header; true when both
    // worked (nothing is printed when the content type is refused).
    bool WriteHeader(const char* contentType);

    // The content type of the responses the library writes itself, such as
    // the authorization failure.
    void SetDefaultContentType(const char* contentType);

    // Prints the body as indented JSON.  Always true.
    bool WriteBody(Json::Value& body);

    // Prints "Cache-control: no-store" and "Status: 404 Not Found", then
    // ends the process with status 0.
    [[noreturn]] void ResponseNotFound();

    // Prints a redirect to target; 0, or negative when it is refused.
    int Redirect(const char* target);

    // The whole file as a NUL-terminated malloc'ed buffer the caller frees,
    // or NULL when it cannot be read or is larger than maxSize bytes.
    char* szReadFile(const char* path, int maxSize);

private:
    bool loaded_;
    VornCgi cgi_;
    Json::Value jsonParams_;
    char loginUserName_[493];
    std::string defaultContentType_;
};

#endif
