// WebUtils: helpers that CGI programs share.
//
// JSON settings files are read and written whole under an advisory flock
// on the file itself: readers share the lock, writers hold it exclusively,
// so a reader never sees a file that a writer is in the middle of.  They
// live where their users can write, so a file is only ever opened when it
// is a regular file with one name: never through a symbolic link, never a
// FIFO or device.  A save survives the death of its process at any
// instant: the file then holds the old document or the new one.
#ifndef ARX_WEBUTILS_H
#define ARX_WEBUTILS_H

#include <regex.h>
#include <stddef.h>
#include <stdio.h>

#include <string>
#include <vector>

#include <json/value.h>

#include <arx/export.h>

namespace WebUtils {

// Opens path read-only and takes a blocking flock on it (exclusive or
// shared).  The descriptor, or a negative value when the file cannot be
// opened or is a link or no regular file (no lock is held then).  The file
// is never created here.  While it is held, LoadJsonFile and SaveJsonFile
// of the same file in this process work under it instead of waiting for
// it, so a read-modify-write is one locked step:
//
//   int fd = WebUtils::LockFile(path, true);
//   WebUtils::LoadJsonFile(settings, path);
//   settings["count"] = settings["count"].asInt() + 1;
//   WebUtils::SaveJsonFile(settings, path);
//   WebUtils::UnlockFile(fd);
//
// (A save under a shared lock of this process fails: it would wait for
// itself.)  Take one lock per file at a time, released with UnlockFile.
ARX_EXPORT int LockFile(const char* path, bool exclusive);

// Releases and closes a descriptor of LockFile; a negative one is ignored.
ARX_EXPORT void UnlockFile(int fd);

// Reads path under a shared lock into out.  false, with out untouched, when
// the file cannot be opened, is a link or no regular file, is larger than
// 16 MiB, or is not JSON.
ARX_EXPORT bool LoadJsonFile(Json::Value& out, const char* path);

// Rewrites path in place under an exclusive lock, as one line of compact
// JSON and a newline.  A missing file is created with mode 0644 (the
// umask does not apply); one that root creates belongs to its directory's
// owner.  The new document is first written, synced and renamed beside the
// file (".NAME.new"), so the process may die at any instant of the save:
// the next load finds the old document or the new one, and the next reader
// or writer that may write the file finishes the rewrite.  true once the
// new document is saved; false when the file cannot be opened for writing
// (also a link, a file with a second name, or no regular file), nothing
// can be created in its directory, or the write fails (the old document
// stays).  The in-place rewrite is what keeps the lock meaningful: never
// replace these files by rename.
ARX_EXPORT bool SaveJsonFile(Json::Value& value, const char* path);

// Kept for existing callers: does nothing.
ARX_EXPORT void GetServiceEnabled(Json::Value& value);

// ---- Stamps, ETags and "304 Not Modified" --------------------------------
//
// The desktop loads scripts, style sheets and texts through URLs that carry
// a stamp ("?v=1732312345"), so that a browser fetches them again exactly
// when they changed.  A stamp is a modification time in decimal seconds;
// when the file cannot be examined it is the current time, which changes
// on every request and so is never cached.
//
// The document root is DOCUMENT_ROOT, the script directory that of
// SCRIPT_FILENAME (both "/usr/vorn/vornman/" under the system root when
// unset); each is read once per process.

// The stamp of path, resolved as the web server would: a query ("?...")
// is ignored; "" (or NULL) is the script directory; a path beginning with
// "/" is below the document root; a relative path containing "webman/" is
// taken as it stands (relative to the working directory), any other
// relative path is below the script directory.
ARX_EXPORT std::string GetModifyTime(const char* path);

// The stamp of the factory defaults ("/etc.defaults/vorninfo.conf").
ARX_EXPORT std::string GetVornDefModifyTime();

// The stamp of a module family's UI strings directory: the document root's
// "scripts/texts", "webman/texts" or "webfm/texts" for a module whose name
// begins with "scripts", "webman" or "webfm"; the current time for any
// other module.
ARX_EXPORT std::string GetUIStringModifyTime(const std::string& module);

// The ETag of the request's URI (SCRIPT_NAME "?" QUERY_STRING): the MD5
// of that text in a zero-filled 1024-byte buffer, as four groups of four
// bytes in lower-case hex without leading zeros ("5-ab-..."), the form
// clients compare.  "" when SCRIPT_NAME is unset or MD5 fails.  libcrypto
// is loaded on the first call: programs that never ask for an ETag never
// map it.
ARX_EXPORT std::string CreateCGIETag();

// When the request's If-None-Match is exactly etag (no quotes, no lists),
// prints "Status: 304 Not Modified" and the ETag as the whole response and
// returns true: the program then prints nothing more.  false, printing
// nothing, for an empty etag or another (or no) If-None-Match.
ARX_EXPORT bool OutputNotModifiedIfMatch(const std::string& etag);

// ---- URLs ----------------------------------------------------------------

// Splits an "http://" or "https://" URL into its scheme ("http", "https"),
// host and port (the scheme's "80" or "443" unless the URL names one).  The
// authority ends at the first "/", "?" or "#"; a bracketed IPv6 host keeps
// its brackets ("[::1]") and a port follows only its "]:".  An empty
// authority gives an empty host.  false, with the outputs empty, for any
// other scheme, a port that is not a number from 1 to 65535, or user
// information before the host ("http://a.example@b.example/" names
// b.example).
ARX_EXPORT bool ParseURL(const std::string& url, std::string& protocol, std::string& host, std::string& port);

// A URL back to the host the browser used (HTTP_HOST without its port and
// without one trailing dot): "https://" or "http://", the host, ":" and
// suffix, which supplies the port and any path ("5001/" gives
// "https://myhost:5001/").  false, with one log line, when HTTP_HOST is
// unset or is no host name, IPv4 or bracketed IPv6 address.
ARX_EXPORT bool GetURLByProtocol(std::string& url, bool https, const char* suffix);

// text percent-encoded (RFC 3986 unreserved characters kept, every other
// byte %HH); "" for NULL.
ARX_EXPORT std::string EncodeURL(const char* text);

// ---- HTML ----------------------------------------------------------------

// For element content: "&", "<" and ">" as "&amp;", "&lt;", "&gt;", and a
// space as "&nbsp;" when spaceAsNbsp is true.
ARX_EXPORT std::string EncodeHtml(const std::string& text, bool spaceAsNbsp);

// For attribute values as well: EncodeHtml, then '"' as "&quot;" and, when
// singleQuote is true, "'" as "&#39;".
ARX_EXPORT std::string EncodeHtmlAndQuotesEx(const std::string& text, bool spaceAsNbsp, bool singleQuote);

// EncodeHtmlAndQuotesEx(text, true, true).
ARX_EXPORT std::string EncodeHtmlAndQuotes(const std::string& text);

// ---- Text ----------------------------------------------------------------

// The pieces of text between the characters of delimiters (runs of them
// count as one; no empty pieces).
ARX_EXPORT std::vector<std::string> StringExplode(const std::string& text, const std::string& delimiters);

// parts joined with glue between neighbours.
ARX_EXPORT std::string StringImplode(const std::vector<std::string>& parts, const char* glue);

// text without its leading tabs, line feeds and spaces.
ARX_EXPORT std::string StringLeftStrip(const char* text);

// dirname(3) of path; "" for NULL.
ARX_EXPORT std::string GetDirName(const char* path);

// The extension of name: a pointer into name just after its last "." within
// the first maxLen characters.  NULL when there is none, when the name ends
// with the dot, or when the only dot is its first character (".profile").
ARX_EXPORT const char* GetFileExt(const char* name, size_t maxLen);

// Whether name is longer than ext and ends with it, ignoring ASCII case
// (pass the dot when it matters: ".gz").
ARX_EXPORT bool IsValidExtension(const char* name, const char* ext);

// Each whole pair of hex digits as one byte (an odd last digit is
// ignored; a pair that is not hex gives what strtol reads of it).
ARX_EXPORT std::string Hex2Bin(const std::string& hex);

// The lines of a text file without their line ends, empty lines left out;
// a line longer than 2046 bytes comes as several entries.  An empty list
// when the file cannot be read (only regular files are; not through a
// link when the process runs as root and the file's directory is not
// root's alone).
ARX_EXPORT std::vector<std::string> ReadFileLines(const std::string& path);

// The name of the user a login name stands for, as the user database
// spells it, into out (size bytes); the input itself when no user has that
// name.  0, or 1 with a log line for a missing argument.
ARX_EXPORT int ParseInputUserName(const char* input, char* out, size_t size);

// Whether a name is a directory user's: "DOMAIN\\user", "user@realm".
ARX_EXPORT bool IsDomainObject(const std::string& name);
ARX_EXPORT bool IsLDAPObject(const std::string& name);

// ---- System information --------------------------------------------------
//
// Small questions about the system; every failure becomes the default
// named, and only GetServerName and IsMountPoint log.

// The domain's realm, or the workgroup's name, when the appliance has
// joined one; "" otherwise.
ARX_EXPORT std::string GetDomainName();

// The host name; "" (and a log line) when it cannot be had.
ARX_EXPORT std::string GetServerName();

// "buildnumber" and "smallfixnumber" of /etc.defaults/VERSION (at most 7
// characters), read once per process; "1" and "0" when missing.
ARX_EXPORT std::string GetVersion();
ARX_EXPORT std::string GetSmallFixNum();

// Whether path is a regular file of at least one byte (an empty file
// counts as missing here, on purpose).
ARX_EXPORT bool checkFileExist(std::string path);

// Whether the directory path is a mount point; false (and a log line)
// when it cannot be told.
ARX_EXPORT bool IsMountPoint(std::string path);

// What a mount point holds: "iso" (an image), "remote" (nfs, cifs), or
// "remotefail" (a remote mount whose server is gone); "" otherwise.
ARX_EXPORT std::string getMountType(std::string path);

// The chosen theme (the key "theme"), "default" when none is.
ARX_EXPORT std::string getThemeCls();

// Whether TCP ports from..to (one port when equal) are taken by a service
// other than service (and "http_extra" beside "http" when the key
// "addport" is "yes").  false for no ports or from above to.
ARX_EXPORT bool IsPortConflict(const char* service, int from, int to);

// Sends the platform's account-information mail mailName to recipient
// without waiting for it: "%USER_NAME%" is user, "%PASSWD%" the password
// when showPassword is true (the "common" text "no_pw" when it is empty),
// else "********".  Nothing is sent to an empty recipient; the platform
// refuses a recipient or subject that could add mail headers.
ARX_EXPORT void SendUserInfoMail(const std::string& user, const std::string& password, const std::string& recipient,
                                 const std::string& mailName, bool showPassword);

// ---- Text templates ------------------------------------------------------
//
// Every "{key}" of the text is replaced by the value of that member of a
// JSON object; nothing in a template or a value is ever run or evaluated.
//
//   WebUtils::Template mail("Hello {name}, your quota is {quota} GB.");
//   Json::Value values;
//   values["name"] = "Ann";
//   values["quota"] = 20;
//   std::string text = mail.ApplyValues(values);
//
// A key is the text between a "{" and the next "}" without braces inside
// ("{{a}}" has the key "a" and keeps its outer braces), looked up by its
// first 128 characters.  "{}", a key that is no member, and a member that
// is an object or an array stay as written; other values as jsoncpp turns
// them into text (numbers, true/false, null as "").  Values are not
// scanned again.
class ARX_EXPORT Template {
public:
    Template();
    explicit Template(const char* text);  // NULL: an empty text
    ~Template();
    Template(const Template&) = delete;
    Template& operator=(const Template&) = delete;

    // Compiles the key pattern (the constructors do).
    void InitTemplate();

    // Replaces the text with everything left in stream.
    void ReadFromStream(FILE* stream);

    // The text with the values filled in; the template stays as it is.
    std::string ApplyValues(const Json::Value& values);

private:
    regex_t pattern_;
    std::string text_;
    bool compiled_ = false;
};

}  // namespace WebUtils

#endif
