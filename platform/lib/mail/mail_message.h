// A mail message from a template: filling placeholders, checking what
// goes into headers, and the text handed to sendmail.
#ifndef VORN_PLATFORM_MAIL_MESSAGE_H
#define VORN_PLATFORM_MAIL_MESSAGE_H

#include <functional>
#include <string>
#include <string_view>

namespace vorn {

// A template name: letters, digits, '_', '-', and '.' not first; at most
// 64 bytes.
bool IsMailTemplateName(std::string_view name);

// One plain address "local@domain" that can stand in a header and on a
// command line: printable ASCII without blanks, quotes, commas,
// semicolons, angle brackets, parentheses or backslashes, one '@' with
// text on both sides, not beginning with '-', at most 254 bytes.
bool IsPlainAddress(std::string_view address);

// text with every "%KEY%" that lookup knows (it receives the whole
// "%KEY%") replaced by its value; values are not scanned again.
std::string FillPlaceholders(std::string_view text, const std::function<const char*(const std::string&)>& lookup);


enum class MessageResult { kOk, kNoSubject, kBadSubject };

using PlaceholderLookup = std::function<const char*(const std::string&)>;

// The message for recipient from a template ("Subject: ...", an empty
// line, the body), its subject line and its body filled each on its own,
// so that no value can end the subject line: To, Subject (RFC 2047
// encoded when it is not ASCII), MIME-Version, Content-Type, an empty
// line, the body.  kBadSubject when the filled subject holds a control.
MessageResult ComposeMessage(std::string_view text, const PlaceholderLookup& lookup, const std::string& recipient,
                             std::string& message);

}  // namespace vorn

#endif
