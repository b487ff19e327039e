// The request context: headers, bodies and the fixed responses.

#include <arx/webman.h>

#include <stdio.h>
#include <stdlib.h>

#include <json/writer.h>

int WebMan::AddHeader(const char* name, const char* value)
{
    return VornCgiSetHTTPHeader(&cgi_, name, value);
}

bool WebMan::WriteHeader(const char* contentType)
{
    if (VornCgiSetHTTPHeader(&cgi_, "Content-type", contentType) == 0)
        return false;
    return VornCgiPrintHTTPHeader(&cgi_) != 0;
}

void WebMan::SetDefaultContentType(const char* contentType)
{
    if (contentType != nullptr)
        defaultContentType_ = contentType;
}

bool WebMan::WriteBody(Json::Value& body)
{
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
    Json::StyledWriter writer;
#pragma GCC diagnostic pop
    try {
        const std::string text = writer.write(body);
        fputs(text.c_str(), stdout);
    } catch (const std::exception&) {
        // Nothing to report to: the body is the response.
    }
    return true;
}

void WebMan::ResponseNotFound()
{
    fputs("Cache-control: no-store\r\n", stdout);
    fputs("Status: 404 Not Found\r\n\r\n", stdout);
    exit(0);
}

int WebMan::Redirect(const char* target)
{
    return VornCgiRedirect(&cgi_, target);
}
