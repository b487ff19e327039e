// Compact JSON text of a jsoncpp value, written straight into a string or
// a file.
//
// The text is jsoncpp's own compact form byte for byte (one line, no
// blanks; non-ASCII text as \u escapes, so the text is ASCII; reals with 17
// significant digits), made without its writer: that goes through a stream
// and builds a string per member name and per number, and for a settings
// document of 64 KiB took longer than the fsync that saves it.  This one
// appends to one buffer and passes over plain text eight bytes at a time.
#ifndef ARX_BASE_JSON_TEXT_H
#define ARX_BASE_JSON_TEXT_H

#include <string>
#include <string_view>

#include <json/value.h>

namespace base {

// Appends the compact text of value to out (no blanks, no final newline).
// Throws std::bad_alloc when memory runs out, and std::length_error for a
// value nested deeper than kMaxJsonDepth (jsoncpp's reader would refuse its
// text, and recursion that deep would exhaust the stack).
void AppendCompactJson(const Json::Value& value, std::string& out);

// Writes the compact text of value and then suffix to fd through a buffer
// of 16 KiB, so that memory stays small whatever the size of the document.
// False, with errno set, when a write fails (ELOOP: nested too deep, and
// part of the text may have been written).
bool WriteCompactJson(const Json::Value& value, int fd, std::string_view suffix = {});

constexpr int kMaxJsonDepth = 1000;

}  // namespace base

#endif
