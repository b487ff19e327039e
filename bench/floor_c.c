/* Floor 1: the least a CGI program can do. Reads one environment variable
 * and prints a 200-byte response. */
#include <stdio.h>
#include <stdlib.h>

int main(void)
{
    const char *method = getenv("REQUEST_METHOD");
    printf("Content-type: application/json\r\n\r\n{\"success\":true,\"method\":\"%-4.4s\",\"padding\":\"%s\"}\n",
           method ? method : "", "................................................................................"
                                 "......................................................................");
    return 0;
}
