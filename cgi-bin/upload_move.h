// Moving an uploaded file into the folder it was sent to.
#ifndef ARX_CGI_BIN_UPLOAD_MOVE_H
#define ARX_CGI_BIN_UPLOAD_MOVE_H

#include <string>

// Moves the upload file at from into the open folder as name, never
// replacing a file there (rename, or a copy when the folder is on another
// volume), readable by whoever may read the folder.  0, or an errno value.
int MoveInto(const std::string& from, int folderFd, const std::string& name);

#endif
