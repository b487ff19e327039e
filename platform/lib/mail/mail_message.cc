#include "lib/mail/mail_message.h"

namespace vorn {

namespace {

constexpr std::string_view kSubject = "Subject:";

bool IsNameCharacter(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' || c == '-' ||
           c == '.';
}

std::string Base64(std::string_view data)
{
    static const char kDigits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string out;
    for (size_t i = 0; i < data.size(); i += 3) {
        const unsigned a = static_cast<unsigned char>(data[i]);
        const unsigned b = i + 1 < data.size() ? static_cast<unsigned char>(data[i + 1]) : 0;
        const unsigned c = i + 2 < data.size() ? static_cast<unsigned char>(data[i + 2]) : 0;
        const unsigned bits = (a << 16) | (b << 8) | c;
        out += kDigits[(bits >> 18) & 63];
        out += kDigits[(bits >> 12) & 63];
        out += i + 1 < data.size() ? kDigits[(bits >> 6) & 63] : '=';
        out += i + 2 < data.size() ? kDigits[bits & 63] : '=';
    }
    return out;
}

bool IsAscii(std::string_view text)
{
    for (const char c : text) {
        if (static_cast<unsigned char>(c) >= 0x80)
            return false;
    }
    return true;
}

}  // namespace

bool IsMailTemplateName(std::string_view name)
{
    if (name.empty() || name.size() > 64 || name[0] == '.')
        return false;
    for (const char c : name) {
        if (!IsNameCharacter(c))
            return false;
    }
    return true;
}

bool IsPlainAddress(std::string_view address)
{
    if (address.empty() || address.size() > 254 || address[0] == '-')
        return false;
    const size_t at = address.find('@');
    if (at == 0 || at == std::string_view::npos || at + 1 == address.size() ||
        address.find('@', at + 1) != std::string_view::npos)
        return false;
    for (const char c : address) {
        const unsigned char u = static_cast<unsigned char>(c);
        if (u <= 0x20 || u >= 0x7f || std::string_view("\"',;<>()\\[]:").find(c) != std::string_view::npos)
            return false;
    }
    return true;
}

std::string FillPlaceholders(std::string_view text, const std::function<const char*(const std::string&)>& lookup)
{
    std::string out;
    size_t i = 0;
    while (i < text.size()) {
        const size_t open = text.find('%', i);
        if (open == std::string_view::npos) {
            out.append(text.substr(i));
            break;
        }
        out.append(text.substr(i, open - i));
        const size_t close = text.find('%', open + 1);
        const char* value = close == std::string_view::npos
                                ? nullptr
                                : lookup(std::string(text.substr(open, close - open + 1)));
        if (value == nullptr) {
            out += '%';
            i = open + 1;
            continue;
        }
        out += value;
        i = close + 1;
    }
    return out;
}

MessageResult ComposeMessage(std::string_view text, const PlaceholderLookup& lookup, const std::string& recipient,
                             std::string& message)
{
    if (text.substr(0, kSubject.size()) != kSubject)
        return MessageResult::kNoSubject;
    const size_t end = text.find('\n');
    std::string_view line = text.substr(kSubject.size(), end == std::string_view::npos ? end : end - kSubject.size());
    if (!line.empty() && line.back() == '\r')
        line.remove_suffix(1);
    while (!line.empty() && (line.front() == ' ' || line.front() == '\t'))
        line.remove_prefix(1);
    const std::string subject = FillPlaceholders(line, lookup);
    for (const char c : subject) {
        const unsigned char u = static_cast<unsigned char>(c);
        if (u < 0x20 || u == 0x7f)
            return MessageResult::kBadSubject;  // a value brought a line end or control into the header
    }
    std::string_view body = end == std::string_view::npos ? std::string_view() : text.substr(end + 1);
    // The empty line after the subject belongs to the template's form.
    if (!body.empty() && body[0] == '\r')
        body.remove_prefix(1);
    if (!body.empty() && body[0] == '\n')
        body.remove_prefix(1);
    message = "To: " + recipient + "\n";
    message += "Subject: ";
    message += IsAscii(subject) ? subject : "=?UTF-8?B?" + Base64(subject) + "?=";
    message += "\nMIME-Version: 1.0\nContent-Type: text/plain; charset=UTF-8\nContent-Transfer-Encoding: 8bit\n\n";
    message += FillPlaceholders(body, lookup);
    return MessageResult::kOk;
}

}  // namespace vorn
