// A small HTTP client for the end-to-end tests (libcurl).
#ifndef ARX_E2E_HTTP_CLIENT_H
#define ARX_E2E_HTTP_CLIENT_H

#include <string>
#include <utility>
#include <vector>

#include <json/value.h>

namespace arx_e2e {

struct HttpResponse {
    long status = 0;
    std::vector<std::pair<std::string, std::string>> headers;  // in order, names as sent
    std::string body;

    // The first header of that name (ignoring case), or "".
    std::string Header(const std::string& name) const;
    // How many headers of that name there are.
    size_t HeaderCount(const std::string& name) const;
};

struct HttpRequest {
    std::string method = "GET";
    std::string url;
    std::string body;
    std::vector<std::string> headers;  // "Name: value"
    std::string localAddress;          // the client's address (e.g. "127.0.0.2"); "" for any
};

HttpResponse Send(const HttpRequest& request);

// A JSON reply body; a test failure (and a null value) when it is not JSON.
Json::Value ParseJson(const std::string& text);

inline HttpResponse Get(const std::string& url, std::vector<std::string> headers = {})
{
    HttpRequest request;
    request.url = url;
    request.headers = std::move(headers);
    return Send(request);
}

inline HttpResponse Post(const std::string& url, const std::string& contentType, const std::string& body,
                         std::vector<std::string> headers = {})
{
    HttpRequest request;
    request.method = "POST";
    request.url = url;
    request.body = body;
    request.headers = std::move(headers);
    request.headers.push_back("Content-Type: " + contentType);
    return Send(request);
}

// The value of the cookie a response sets ("" when it sets none), and
// whether it is set with an attribute ("HttpOnly", "Max-Age=0", ...).
std::string SetCookieValue(const HttpResponse& response, const std::string& name);
bool SetCookieHas(const HttpResponse& response, const std::string& name, const std::string& attribute);

}  // namespace arx_e2e

#endif
