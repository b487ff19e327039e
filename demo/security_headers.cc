// security-headers: prints the security headers that the appliance's
// programs send, one "Name: value" line each, for the request the
// environment describes (HTTP_HOST, HTTP_REFERER) in the root that VORN_ROOT
// names.  scripts/stage-root.sh puts them into the web server's
// configuration, so that the static page carries the policy the programs
// send.  Like a program's first request, it generates the rule files when
// they are missing.
//
//   security-headers [PAGE]      (PAGE: a page with a policy of its own)
//
// Exits 1, printing nothing, when a value holds a control character: it
// could not stand on one line.

#include <stdio.h>

#include <string>

#include <json/json.h>

#include <arx/security_options.h>

namespace {

bool FitsOnOneLine(const std::string& value)
{
    for (const unsigned char c : value) {
        if (c < 0x20 || c == 0x7f)
            return false;
    }
    return true;
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc > 2) {
        fputs("usage: security-headers [PAGE]\n", stderr);
        return 2;
    }
    VORN::ARX::SecurityOptions options(argc == 2 ? argv[1] : nullptr);
    const Json::Value headers = options.GetSecurityHeaders();
    if (headers.isNull())
        return 0;
    std::string lines;
    for (const std::string& name : headers.getMemberNames()) {
        const std::string value = headers[name].asString();
        if (!FitsOnOneLine(value)) {
            fprintf(stderr, "security-headers: the value of %s holds a control character\n", name.c_str());
            return 1;
        }
        lines += name + ": " + value + "\n";
    }
    fputs(lines.c_str(), stdout);
    return 0;
}
