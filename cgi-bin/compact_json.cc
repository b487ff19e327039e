#include "cgi-bin/compact_json.h"

#include <json/writer.h>

void AppendJsonString(std::string_view text, std::string& out)
{
    static const char kHex[] = "0123456789abcdef";
    out.push_back('"');
    size_t plain = 0;  // the start of the bytes not yet copied
    for (size_t i = 0; i < text.size(); ++i) {
        const unsigned char c = static_cast<unsigned char>(text[i]);
        if (c >= 0x20 && c != '"' && c != '\\')
            continue;
        out.append(text.data() + plain, i - plain);
        plain = i + 1;
        switch (c) {
        case '"': out.append("\\\""); break;
        case '\\': out.append("\\\\"); break;
        case '\b': out.append("\\b"); break;
        case '\f': out.append("\\f"); break;
        case '\n': out.append("\\n"); break;
        case '\r': out.append("\\r"); break;
        case '\t': out.append("\\t"); break;
        default:
            out.append("\\u00");
            out.push_back(kHex[c >> 4]);
            out.push_back(kHex[c & 0xf]);
        }
    }
    out.append(text.data() + plain, text.size() - plain);
    out.push_back('"');
}

void AppendCompactJson(const Json::Value& value, std::string& out)
{
    switch (value.type()) {
    case Json::nullValue: out.append("null"); break;
    case Json::booleanValue: out.append(value.asBool() ? "true" : "false"); break;
    case Json::intValue: out.append(Json::valueToString(value.asLargestInt())); break;
    case Json::uintValue: out.append(Json::valueToString(value.asLargestUInt())); break;
    case Json::realValue: out.append(Json::valueToString(value.asDouble())); break;
    case Json::stringValue: {
        const char* begin = nullptr;
        const char* end = nullptr;
        value.getString(&begin, &end);
        AppendJsonString(std::string_view(begin, static_cast<size_t>(end - begin)), out);
        break;
    }
    case Json::arrayValue: {
        out.push_back('[');
        const Json::ArrayIndex size = value.size();
        for (Json::ArrayIndex i = 0; i < size; ++i) {
            if (i != 0)
                out.push_back(',');
            AppendCompactJson(value[i], out);
        }
        out.push_back(']');
        break;
    }
    case Json::objectValue: {
        out.push_back('{');
        bool first = true;
        for (auto member = value.begin(); member != value.end(); ++member) {
            if (!first)
                out.push_back(',');
            first = false;
            const char* end = nullptr;
            const char* name = member.memberName(&end);
            AppendJsonString(std::string_view(name, static_cast<size_t>(end - name)), out);
            out.push_back(':');
            AppendCompactJson(*member, out);
        }
        out.push_back('}');
        break;
    }
    }
}
