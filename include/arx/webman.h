// WebMan: the request context of a CGI program.
//
// A CGI program builds one WebMan at start.  It owns the platform's CGI
// record, reads the request's parameters once (a JSON body, or URL-encoded
// pairs from the body or the query string) and writes the response:
// queued headers, then a JSON body, or the not-found response.
//
//   WebMan web(true);
//   // ... check the session, then:
//   const char* name = web.In("name", "");       // form or query parameter
//   Json::Value* json = web.In();                // or the JSON body
//   web.WriteHeader("application/json; charset=\"UTF-8\"");
//   web.WriteBody(reply);
//
// A program that needs a logged-in user checks the session first; on
// failure the answer (an error document the UI understands) is written
// already:
//
//   if (!web.IsAuthorized(NULL, VORN_AUTH_USER, CGI_POSITION_DESKTOP))
//       return 0;
//   if (web.setEUGID() != 0) ...   // act as the session's user
//
// An upload (a multipart/form-data POST) is read after that, as the user:
//
//   int stored = web.LoadIn(NULL);                 // into a volume's upload folder
//   const char* path = web.In("_upload_0_path", NULL);
#ifndef ARX_WEBMAN_H
#define ARX_WEBMAN_H

#include <string>

#include <json/value.h>
#include <vorn/cgi.h>
#include <vorn/session.h>
#include <vorn/upload.h>

#include <arx/export.h>

class ARX_EXPORT WebMan {
public:
    // Makes the process a session leader, sets up the CGI record, reads the
    // cookies and, when loadInput is true, the parameters (LoadIn).
    explicit WebMan(bool loadInput);
    ~WebMan();
    WebMan(const WebMan&) = delete;
    WebMan& operator=(const WebMan&) = delete;

    // Reads the request's parameters: a body the JSON reader accepts becomes
    // the JSON parameters, any other text is decoded as name=value pairs.
    // true once read; false when there is nothing to read or they were read
    // before.
    bool LoadIn();

    // Parses text as JSON into the JSON parameters; the reader's result.
    // The parameters are left as they were when the text is not JSON.
    bool LoadJSONParam(char* text);

    // The JSON parameters when they hold at least one member or element,
    // else NULL.
    Json::Value* In();

    // A URL-encoded parameter, or defaultValue.  A request whose JSON body
    // holds members always gets defaultValue here: such a program reads its
    // parameters through In().
    const char* In(const char* name, const char* defaultValue);

    // Queues a response header; nonzero when queued.  Headers that could
    // split the response (CR, LF, a bad name) are refused.
    int AddHeader(const char* name, const char* value);

    // Queues the security headers of the response (Content-Security-Policy,
    // X-Frame-Options; see <arx/security_options.h>).  name: the page's name
    // when it has a policy of its own, else NULL for the system-wide policy.
    // Call it before WriteHeader.
    void AddSecurityHeaders(const char* name);

    // Queues "Content-type" and prints every queued header; true when both
    // worked (nothing is printed when the content type is refused).
    bool WriteHeader(const char* contentType);

    // The content type of the responses the library writes itself, such as
    // the authorization failure.
    void SetDefaultContentType(const char* contentType);

    // Prints the body as indented JSON.  Always true.
    bool WriteBody(Json::Value& body);

    // Prints "Cache-control: no-store" and "Status: 404 Not Found", then
    // ends the process with status 0.
    [[noreturn]] void ResponseNotFound();

    // Prints a redirect to target; 0, or negative when it is refused.
    int Redirect(const char* target);

    // The whole file as a NUL-terminated malloc'ed buffer the caller frees,
    // or NULL when it cannot be read or is larger than maxSize bytes.
    char* szReadFile(const char* path, int maxSize);

    // ---- Sessions and login ------------------------------------------
    // The login operations return the platform's result (VORN_LOGIN_...:
    // 1 success, 0 wrong user or password, -2 account disabled, -3 a
    // one-time code is needed, -4 client blocked, -1 system error).  On
    // success the session cookie is queued and the login user name is the
    // params' user name.
    int Login(_tag_login_params* params);
    int LoginWithOTPAuth(_tag_login_params* params, const char* otpCode);
    int LoginWithAzureSSOAuth(_tag_login_params* params, const char* token, bool flag);
    int LoginWithOIDCSSOAuth(_tag_login_params* params, const char* token, bool flag);
    // A session without credentials; the login user name is not set.
    int LoginNoAuth(_tag_login_params* params);
    // Checks the credentials (text: a one-time code or NULL) without
    // creating a session.
    int LoginTest(_tag_login_params* params, const char* text);

    // Ends the request's session; true when there was one.
    bool Logout();
    // Ends every session of user: their holders are told to log in again.
    // The number ended, or -1.
    int LogoutByUser(const char* user);
    // Ends the sessions whose attribute equals value; true when any.
    bool RemoveSessionByIndex(CURRENT_USER_INDEX index, const char* value);
    // Ends the sessions for which filter returns true; the number, or -1.
    int RemoveSessionByFunc(VornCgiSessionFilter filter, void* data);

    // Whether the session check skips comparing the client address.
    void SetSkipCheckIP(bool skip);

    // The session id (the cookie "id"), or NULL.
    const char* GetSessionID();
    int GetSessionFilePath(char* buffer, int size);
    // The session's file and the store's lock file once a login or the
    // authorization check found the session; NULL before.
    const char* GetSessionFilePath();
    const char* GetLockFile();
    // The UI language code ("enu", "ger", ...).
    const char* GetUILanguage();
    std::string GetLoginUserName() const;

    const char* GetCookie(const char* name, const char* defaultValue);
    // Queues Set-Cookie: name=value with path (NULL: "/").
    bool AddCookieToHeader(const char* path, const char* name, const char* value);
    // Reads the request's cookies again.
    int UpdateCookiesHash();

    // Whether state-changing requests must carry the session token, and
    // the token ("" without a session).
    bool IsTokenEnable();
    std::string GetVornToken(bool reload);

    // ---- Identity ----------------------------------------------------
    bool IsAdmin() const;
    // The user's (a group's) preference directory, "/tmp" when there is none.
    std::string GetPreferenceDir();
    std::string GetGroupPreferenceDir(const char* group);

    // The effective uid (gid) of user's session; administrators act as
    // uid 0.  0, or -1.
    int SetEUid(const char* sid, const char* user);
    int SetEGid(const char* sid, const char* user);
    // Switches the effective identity to the login user's: supplementary
    // groups, then the gid, then the uid.  0, or -1 with the identity as it
    // was.
    int setEUGID();
    // The same with the platform's permanent setters (real, effective and
    // saved ids); administrators keep their own uid here.
    int setUGID();

    // Describes the client's browser; 0, or -1.
    int GetBrowserInfo(_tag_vorn_browser_info_* info);
    // The style that old Internet Explorer versions need for PNG images.
    std::string GetIEPNGFixStyle();

    // ---- Authorization -----------------------------------------------
    // The platform's check of the request's session (a "_sid" parameter
    // takes the place of the cookies): 1 authorized, less than 1 not
    // (VORN_AUTH_...).  Fills the login user name.
    int CheckAuthorized(int level, _tag_cgi_position position, bool flag);
    // CheckAuthorized; on failure redirects to redirectTarget, or (NULL)
    // writes the error reply with the header "x-request-error".  false
    // then: the response is written.
    bool IsAuthorized(const char* redirectTarget, int level, _tag_cgi_position position);
    // A file-sharing request: the sharing id (header X-Vorn-Sharing or
    // parameter "_sharing_id") and the cookie "sharing_sid"; true when both
    // are there.
    bool IsSharingRequest(std::string& sharingId, std::string& sharingSid);
    // Queues an absolute "Location" for path on this host.
    bool AddRedirectHeader(const char* path);

    // ---- Uploads (see <vorn/upload.h>) -------------------------------
    // The upload folder of the first volume with room for neededSize bytes,
    // "VOLUME/@sharebin/@tmp", into buffer (cut to size).  false when none:
    // the platform error says why (0x2900 read-only or crashed, 0xDD00 full,
    // 0x8300 no volume or no shared folder).  The folder is not created.
    bool FindUploadTmpPath(char* buffer, int size, unsigned long long neededSize);
    // Reads a multipart body into uploadPath, or (NULL) into the slice's
    // collecting file or a volume's upload folder.  The number of files
    // stored; negative: the platform's VORN_UPLOAD_... result, or when no
    // folder could be found -2 (read-only), -12 (full), -13 (none), -9.
    int LoadIn(const char* uploadPath);
    bool IsUploadRequest();
    // A slice of a sliced upload (the header X-Tmp-File), its last one.
    bool IsSliceUploadRequest();
    bool IsSliceUploadFinish();
    // The slice records: the collecting file of each sliced upload by the
    // id the client gave it, kept in root's "/tmp/slice_file_id".
    bool SaveSliceUploadTmpFile(const char* sliceId, const char* tmpFilePath);
    // Removes the record of this request's id (X-Tmp-File); true also when
    // there was none.
    bool DeleteSliceUploadTmpFile();
    // The collecting file of this request's sliced upload, or NULL.
    const char* GetSliceUploadTmpFile();
    // The platform's readers, part by part (VornCgiLoadUpload...).
    int LoadUploadParams(progressCallback callback, _tag_cgi_upload_progress_* progress, char* field,
                         int fieldSize, char* name, int nameSize, char* type, int typeSize);
    int LoadUploadFile(const char* path, progressCallback callback, _tag_cgi_upload_progress_* progress,
                       char* field, char* name, char* type);
    int LoadUploadFileBW(const char* path, progressCallback callback, _tag_cgi_upload_progress_* progress,
                         char* field, char* name, char* type, const char* limitKey);
    int LoadUploadFileNoTruncate(const char* path, progressCallback callback, _tag_cgi_upload_progress_* progress,
                                 long long (*check)(unsigned long long, unsigned long long, unsigned long long),
                                 char* field, char* name, char* type, unsigned long long* fileSize,
                                 BOOL (*cancelled)());
    unsigned long long GetUploadFileSize();
    // 1 when the client went away during the upload.
    int RecvHup();

    // ---- Settings and module data ------------------------------------
    // The login user's settings are "usersettings" in the user's
    // preference directory; their member "BackgroundTask" is kept apart in
    // "bkgtask" there.  A user without a preference directory (no such
    // user) has no settings: nothing is read or written anywhere else.
    //
    // Loads the settings and always sets "BackgroundTask" (an empty object
    // when "bkgtask" is missing); the result is that of "usersettings"
    // alone.  A file that holds no JSON object leaves an empty object.
    bool loadUserJsonSettings(Json::Value& settings);
    // Saves "BackgroundTask" (when the object has it) as the process is,
    // takes it out of settings, and saves the rest as root (the file is
    // shared with what root writes for the user); true when both saved.
    bool saveUserJsonSettings(Json::Value& settings);
    // The administrators' shared settings ("groupsettings" in their
    // group's preference directory); false for anyone else, without
    // touching a file.
    bool loadGroupJsonSettings(Json::Value& settings);
    bool saveGroupJsonSettings(Json::Value& settings);
    // The modification time of group's "groupsettings"; false when it
    // cannot be told (logged unless the file is missing).
    bool getGrpJsonSettingMtime(const char* group, unsigned long long& mtime);

    // A module's small JSON blob for the login user, kept by the platform's
    // task manager under the module's name (letters, digits, '.', '_',
    // '-'; any other name is refused with a log line).
    bool IsModuleDataExist(const char* module);
    void RemoveModuleData(const char* module);
    bool ReadModuleData(const char* module, Json::Value& data);
    // true when the blob is stored.
    bool WriteModuleData(const char* module, Json::Value& data);

private:
    bool loaded_;
    VornCgi cgi_;
    Json::Value jsonParams_;
    char loginUserName_[493];
    std::string defaultContentType_;
};

#endif
