// The sample programs' JSON answer.
#ifndef ARX_CGI_BIN_JSON_ANSWER_H
#define ARX_CGI_BIN_JSON_ANSWER_H

#include <json/json.h>

#include <arx/webman.h>

// Prints reply as the program's answer, never cached, with status ("404 Not
// Found", ...) unless it is nullptr.  Returns 0, the program's exit status.
int AnswerJson(WebMan& web, Json::Value& reply, const char* status = nullptr);

#endif
