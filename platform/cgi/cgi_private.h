// What the CGI record keeps behind its private pointer: one part per
// concern, each defined by the room that uses it.
#ifndef VORN_PLATFORM_CGI_PRIVATE_H
#define VORN_PLATFORM_CGI_PRIVATE_H

#include <deque>
#include <string>

#include <vorn/cgi.h>

#include "cgi/request/request_record.h"
#include "cgi/request/upload_record.h"
#include "cgi/session/session_record.h"

struct VornCgiPrivate {
    vorn::RequestRecord request;
    vorn::ResponseRecord response;
    vorn::ConfigRecord config;
    vorn::TextRecord texts;
    vorn::UploadRecord upload;
    vorn::SessionRecord session;

    // Texts handed out as const char* that live as long as the record.
    std::deque<std::string> keptTexts;
};

namespace vorn {

// The private part of a usable record, or nullptr.
inline VornCgiPrivate* PrivateOf(VornCgi* cgi)
{
    return cgi != nullptr ? cgi->priv : nullptr;
}

// Keeps text for the life of the record and returns it.
inline const char* KeepText(VornCgiPrivate& priv, std::string text)
{
    priv.keptTexts.push_back(std::move(text));
    return priv.keptTexts.back().c_str();
}

}  // namespace vorn

#endif
