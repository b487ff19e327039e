// An upload read as a CGI program reads it: the body on standard input,
// every file part into the directory UPLOAD_DIR.  Exit status 0 when the
// files were stored.
#include <stdlib.h>

#include <arx/webman.h>

int main()
{
    WebMan web(true);
    return web.LoadIn(getenv("UPLOAD_DIR")) > 0 ? 0 : 1;
}
