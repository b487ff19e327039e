// A folder of a shared folder, as a request names it ("/public/photos"),
// opened so that nothing in the name can lead out of the shared folder.
#ifndef ARX_CGI_BIN_SHARE_FOLDER_H
#define ARX_CGI_BIN_SHARE_FOLDER_H

#include <string>

// The share's privilege for user from share.conf: 0 none, 1 read-only,
// 2 read-write.  deny wins, then rw, then ro (names and "@group"s);
// administrators get read-write unless denied.
int SharePrivilege(const std::string& share, const std::string& user, bool isAdmin);

// Opens the folder named by "/SHARE/DIR/..." (a leading '/' optional) as
// the process's current identity: every element is opened below the one
// before without following a link, and ".", ".." or an empty element is
// refused.  The directory descriptor, or -1; share receives the share's
// name and shown the folder as the answer names it ("/SHARE/DIR").
int OpenShareFolder(const std::string& folder, std::string& share, std::string& shown);

// Whether name can be a file's name in a shared folder: 1 to 255 bytes,
// no '/', no control character, not "." or "..".
bool IsStorableName(const std::string& name);

// Moves the upload file at from into the folder as name, never replacing
// a file there (rename, or a copy when the folder is on another volume).
// 0, or an errno value.
int MoveInto(const std::string& from, int folderFd, const std::string& name);

#endif
