// Whole-file JSON load and save, without locks.
//
// For files that one writer produces and many readers take whole, such as
// caches and generated rule files.  The save writes a hidden temporary file
// (".NAME.XXXXXX") in the same directory and renames it into place, so a
// reader sees the old or the new document, never a part, a directory scan
// that skips hidden names never sees a half-written file, and a failed save
// leaves the old file.
#ifndef ARX_JSON_FILE_H
#define ARX_JSON_FILE_H

#include <string>

#include <json/value.h>

#include <arx/export.h>

namespace VORN {

// Loads the JSON document at path into value.  false, with value untouched,
// when the file is missing, unreadable or not exactly one JSON document.
ARX_EXPORT bool JsonFromFile(Json::Value& value, const std::string& path);

// Writes value, indented, to path.  A new file gets mode 0644, an existing
// one keeps its mode.  false on failure, the old file then untouched.
ARX_EXPORT bool JsonToFile(const Json::Value& value, const std::string& path);

}  // namespace VORN

#endif
