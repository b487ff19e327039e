#include "tests/e2e/http_client.h"

#include <strings.h>

#include <memory>
#include <stdexcept>

#include <curl/curl.h>
#include <gtest/gtest.h>
#include <json/reader.h>

namespace arx_e2e {

namespace {

size_t AppendBody(char* data, size_t size, size_t count, void* context)
{
    static_cast<std::string*>(context)->append(data, size * count);
    return size * count;
}

size_t AppendHeader(char* data, size_t size, size_t count, void* context)
{
    std::string line(data, size * count);
    while (!line.empty() && (line.back() == '\n' || line.back() == '\r'))
        line.pop_back();
    const size_t colon = line.find(':');
    if (colon != std::string::npos) {
        size_t start = colon + 1;
        while (start < line.size() && line[start] == ' ')
            ++start;
        static_cast<HttpResponse*>(context)->headers.emplace_back(line.substr(0, colon), line.substr(start));
    }
    return size * count;
}

}  // namespace

std::string HttpResponse::Header(const std::string& name) const
{
    for (const auto& [key, value] : headers) {
        if (strcasecmp(key.c_str(), name.c_str()) == 0)
            return value;
    }
    return "";
}

size_t HttpResponse::HeaderCount(const std::string& name) const
{
    size_t count = 0;
    for (const auto& header : headers)
        count += strcasecmp(header.first.c_str(), name.c_str()) == 0;
    return count;
}

namespace {

// The Set-Cookie header of the cookie name, or "".
std::string SetCookieHeader(const HttpResponse& response, const std::string& name)
{
    for (const auto& [key, value] : response.headers) {
        if (strcasecmp(key.c_str(), "Set-Cookie") == 0 && value.compare(0, name.size() + 1, name + "=") == 0)
            return value;
    }
    return "";
}

}  // namespace

std::string SetCookieValue(const HttpResponse& response, const std::string& name)
{
    const std::string header = SetCookieHeader(response, name);
    return header.empty() ? "" : header.substr(name.size() + 1, header.find(';') - name.size() - 1);
}

bool SetCookieHas(const HttpResponse& response, const std::string& name, const std::string& attribute)
{
    return SetCookieHeader(response, name).find("; " + attribute) != std::string::npos;
}

Json::Value ParseJson(const std::string& text)
{
    Json::Value value;
    Json::CharReaderBuilder builder;
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    if (!reader->parse(text.data(), text.data() + text.size(), &value, nullptr)) {
        ADD_FAILURE() << "not JSON: " << text;
        return Json::Value();
    }
    return value;
}

HttpResponse Send(const HttpRequest& request)
{
    CURL* curl = curl_easy_init();
    if (curl == nullptr)
        throw std::runtime_error("curl_easy_init failed");
    HttpResponse response;
    curl_slist* headers = nullptr;
    for (const std::string& header : request.headers)
        headers = curl_slist_append(headers, header.c_str());
    curl_easy_setopt(curl, CURLOPT_URL, request.url.c_str());
    curl_easy_setopt(curl, CURLOPT_CUSTOMREQUEST, request.method.c_str());
    if (request.method == "POST") {
        curl_easy_setopt(curl, CURLOPT_POSTFIELDS, request.body.data());
        curl_easy_setopt(curl, CURLOPT_POSTFIELDSIZE, static_cast<long>(request.body.size()));
    }
    curl_easy_setopt(curl, CURLOPT_HTTPHEADER, headers);
    if (!request.localAddress.empty())
        curl_easy_setopt(curl, CURLOPT_INTERFACE, ("host!" + request.localAddress).c_str());
    curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, AppendBody);
    curl_easy_setopt(curl, CURLOPT_WRITEDATA, &response.body);
    curl_easy_setopt(curl, CURLOPT_HEADERFUNCTION, AppendHeader);
    curl_easy_setopt(curl, CURLOPT_HEADERDATA, &response);
    curl_easy_setopt(curl, CURLOPT_TIMEOUT, 20L);
    const CURLcode result = curl_easy_perform(curl);
    curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &response.status);
    curl_slist_free_all(headers);
    curl_easy_cleanup(curl);
    if (result != CURLE_OK)
        throw std::runtime_error(std::string("request failed: ") + curl_easy_strerror(result));
    return response;
}

}  // namespace arx_e2e
