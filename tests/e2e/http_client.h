// A small HTTP client for the end-to-end tests (libcurl).
#ifndef ARX_E2E_HTTP_CLIENT_H
#define ARX_E2E_HTTP_CLIENT_H

#include <string>
#include <utility>
#include <vector>

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
};

HttpResponse Send(const HttpRequest& request);

inline HttpResponse Get(const std::string& url)
{
    return Send({"GET", url, "", {}});
}

inline HttpResponse Post(const std::string& url, const std::string& contentType, const std::string& body)
{
    return Send({"POST", url, body, {"Content-Type: " + contentType}});
}

}  // namespace arx_e2e

#endif
