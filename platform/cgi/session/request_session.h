// The session of a request, as the session operations see it: the one a
// login of this process made, else the one the cookie "id" names.
#ifndef VORN_PLATFORM_REQUEST_SESSION_H
#define VORN_PLATFORM_REQUEST_SESSION_H

#include <string>

#include <vorn/cgi.h>

#include "cgi/cgi_private.h"

namespace vorn {

const SessionSettings& SettingsOf(VornCgiPrivate& priv);

// The request's session while it is live, else nullptr.  Looked up once
// per id.
const Session* RequestSession(VornCgiPrivate& priv);

// Tells RequestSession the live session that the authorization check found
// for the cookie, so that it is not read again.
void RememberRequestSession(VornCgiPrivate& priv, const Session& session);

// Forgets what RequestSession found (after a login or a logout).
void ForgetRequestSession(VornCgiPrivate& priv);

// Points the record's session_file and lock_file at the session's files;
// an empty id clears them.
void SetSessionPaths(VornCgi* cgi, const std::string& id);

}  // namespace vorn

#endif
