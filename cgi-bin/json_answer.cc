#include "cgi-bin/json_answer.h"

int AnswerJson(WebMan& web, Json::Value& reply, const char* status)
{
    if (status != nullptr)
        web.AddHeader("Status", status);
    web.AddHeader("Cache-control", "no-store");
    web.WriteHeader("application/json; charset=\"UTF-8\"");
    web.WriteBody(reply);
    return 0;
}
