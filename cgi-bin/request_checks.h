// Checks that the sample programs make before they change anything.
#ifndef ARX_CGI_BIN_REQUEST_CHECKS_H
#define ARX_CGI_BIN_REQUEST_CHECKS_H

#include <arx/webman.h>

// A program that changes state accepts POST only: a GET needs no session
// token, so a link or an image on another site could make a logged-in
// browser send it.  Anything but POST is answered here with "405 Method Not
// Allowed" and {"success": false, "error": "method"}; true then, and the
// program ends.  Call it after queuing the security headers.
bool AnsweredUnlessPost(WebMan& web);

// Whether the request comes from a page of another site: its Origin, or
// else its Referer, names another host (or port) than the request's Host.
// A request with neither header is not counted as one (older clients and
// scripts send none).  Forms that log in check this, since they run before
// any session exists and so before any token can be asked for.
bool IsCrossSiteRequest();

#endif
