// Floor 2: the same response from a C++ program that links libstdc++ and
// jsoncpp and nothing else, so the loader maps exactly those libraries.
#include <stdio.h>
#include <stdlib.h>

#include <string>

#include <json/value.h>

int main()
{
    const char* method = getenv("REQUEST_METHOD");
    Json::Value reply(Json::objectValue);  // keeps jsoncpp a real dependency
    const std::string padding(150, '.');
    printf("Content-type: application/json\r\n\r\n{\"success\":%s,\"method\":\"%-4.4s\",\"padding\":\"%s\"}\n",
           reply.isObject() ? "true" : "false", method ? method : "", padding.c_str());
    return 0;
}
