// A program outside the repository, built against the installed library.
#include <stdio.h>

#include <arx/arx.h>

int main()
{
    WebMan web(false);
    // The URL matcher is loaded on first use: installed beside libarx, the
    // loader finds it through its normal search.
    const std::string name = "consumer";
    VORN::ARX::CspRule rule(name, false);
    Json::Value reply;
    reply["installed"] = rule.IsValidUrl("img-src", "https://cdn.example.com");
    web.WriteHeader("application/json");
    web.WriteBody(reply);
    return 0;
}
