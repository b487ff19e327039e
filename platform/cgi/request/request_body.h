// The request body: read from standard input once per process and kept.
#ifndef VORN_PLATFORM_REQUEST_BODY_H
#define VORN_PLATFORM_REQUEST_BODY_H

#include <string>

namespace vorn {

struct RequestBody {
    enum class State { kUnread, kAbsent, kRead, kFailed };
    State state = State::kUnread;
    std::string text;
    bool urlEncoded = false;  // the content type is a form's (or none)
};

// Reads the body on the first call (never a multipart one); later calls
// return what the first found.
const RequestBody& LoadRequestBody();

// The body as it stands, without reading it.
const RequestBody& PeekRequestBody();

// The request method is GET or HEAD (also when no method is set at all).
bool IsQueryMethod();

// The content type is multipart/form-data.
bool IsMultipartRequest();

}  // namespace vorn

#endif
