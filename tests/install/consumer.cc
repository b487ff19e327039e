// A program outside the repository, built against the installed library.
#include <stdio.h>

#include <arx/arx.h>

int main()
{
    WebMan web(false);
    Json::Value reply;
    reply["installed"] = true;
    web.WriteHeader("application/json");
    web.WriteBody(reply);
    return 0;
}
