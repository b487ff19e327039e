// What file_list.cgi and mkdir.cgi share: their parameters, their replies,
// and the way from a request's folder to an open directory as the user.
#ifndef ARX_CGI_BIN_FOLDER_REQUEST_H
#define ARX_CGI_BIN_FOLDER_REQUEST_H

#include <string>

#include <json/value.h>

#include <arx/webman.h>
#include <arx/webman_file_share.h>

#include "cgi-bin/json_answer.h"

// A parameter from a JSON body or from the query or form pairs.
std::string Param(WebMan& web, const char* name);

// {"success": false, "error": error} with status.
int Refuse(WebMan& web, const char* status, const char* error);

// Answers a folder that could not be opened or read, by WEBFMERR: 403
// "link" (a link or a file on the way), 403 "no_privilege", 404
// "not_found", 500 "system".  Returns 0.
int RefuseFolder(WebMan& web);

// The folder a request names, opened as the session's user: the text is
// checked, the user's privilege on its share too (listing; read-write when
// write is true), the process takes the user's identity, and every
// element below the share is opened without following a link.
struct OpenedFolder {
    int fd = -1;
    std::string path;      // as the request names it, without a trailing "/"
    std::string fullPath;  // on the file system
    std::string share;     // its first element ("home" for the user's home)
    bool writable = false; // the share lets the user write
    std::string folderOfShare;  // the share's own folder and the path below it
    std::string rest;
    ~OpenedFolder();
};

// Opens the folder, or answers the request (400, 403, 404 or 500 with
// "bad_path", "no_privilege", "not_found", "link", "identity" or "system")
// and returns false.
bool OpenFolder(WebMan& web, WebmanFileShare& fs, const std::string& path, bool write, OpenedFolder& folder);

// The two halves of OpenFolder, for a program that has taken the user's
// identity already (to read an upload as the user): the checks of the
// text and the privilege, and the opening as the current identity.  Each
// answers the request and returns false when the folder does not pass.
bool CheckFolder(WebMan& web, WebmanFileShare& fs, const std::string& path, bool write, OpenedFolder& folder);
bool OpenCheckedFolder(WebMan& web, WebmanFileShare& fs, OpenedFolder& folder);

#endif
