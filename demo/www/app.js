"use strict";

// The session token of the logged-in user: state-changing requests carry it.
let token = "";

const loginErrors = {
  wrong_credentials: "Wrong user name or password.",
  account_disabled: "This account is disabled.",
  otp_required: "Enter the one-time code of your authenticator.",
  otp_wrong: "The one-time code was wrong or used already.",
  blocked: "Too many failed logins from this address: try again later.",
  system_error: "The appliance could not log you in.",
};

const requestErrors = {
  timeout: "Your session has timed out: log in again.",
  relogin: "Your session was ended by an administrator: log in again.",
  errorip: "Your session belongs to another address: log in again.",
  unauth: "You are not logged in.",
  noprivilege: "Only administrators may do this.",
  system: "The appliance could not answer.",
};

// The page is busy (aria-busy on <main>) while an action's requests are
// under way: assistive technology announces it, and tests wait for it.
let pending = 0;

function busy(action) {
  return async (...args) => {
    const main = document.querySelector("main");
    if (pending++ === 0) main.setAttribute("aria-busy", "true");
    try {
      return await action(...args);
    } finally {
      if (--pending === 0) main.setAttribute("aria-busy", "false");
    }
  };
}

function show(id, visible) {
  document.getElementById(id).hidden = !visible;
}

function postForm(url, fields) {
  return fetch(url, {
    method: "POST",
    headers: { "Content-Type": "application/x-www-form-urlencoded", "X-VornToken": token },
    body: new URLSearchParams(fields).toString(),
  });
}

// The reason a request was refused, from the header the library sets.
function refusal(reply) {
  const error = reply.headers.get("x-request-error");
  return error ? requestErrors[error] || error : "";
}

// Shows the session, or the login form with the reason the session ended
// (none for a visitor who never logged in).
async function showSession() {
  const reply = await fetch("/webapi/whoami.cgi");
  const why = refusal(reply);
  show("login-section", why !== "");
  show("session-section", why === "");
  show("upload-section", why === "");
  show("folders-section", why === "");
  if (why !== "") {
    token = "";
    show("admin-section", false);
    show("desktop-section", false);
    hideSettings();
    await showImages(null);
    if (reply.headers.get("x-request-error") !== "unauth")
      document.getElementById("login-message").textContent = why;
    return;
  }
  const who = await reply.json();
  token = who.token;
  document.getElementById("session-user").textContent = who.user;
  const { token: _hidden, ...shown } = who;
  document.getElementById("whoami-reply").textContent = JSON.stringify(shown, null, 2);
  show("admin-section", who.is_admin);
  await showFolders("/");
  await showDesktop();
  await showSettings(who);
  await showImages(who);
  await showThemes(who);
}

// The desktop's applications: the version first, then the documents of
// that version, which the browser keeps and revalidates (304) while the
// configuration stays as it is.
const shownTypes = new Set(["app", "standalone", "url", "legacy"]);

// A text reference "section:key" in an application's texts.
function textOf(texts, id, reference) {
  if (typeof reference !== "string" || !reference.includes(":")) return "";
  const colon = reference.indexOf(":");
  return texts[id]?.[reference.slice(0, colon)]?.[reference.slice(colon + 1)] ?? "";
}

// An add-on's title is its text itself; a module's, a text reference.
function titleOf(texts, id, title) {
  if (typeof title === "string" && title !== "" && !title.includes(":")) return title;
  return textOf(texts, id, title) || id;
}

async function showDesktop() {
  const versionReply = await fetch("/webapi/desktop.cgi?part=version");
  if (refusal(versionReply) !== "" || !versionReply.ok) {
    show("desktop-section", false);
    return;
  }
  const { lang, user, version } = await versionReply.json();
  const query = new URLSearchParams({ lang, user, v: version }).toString();
  const [config, texts] = await Promise.all(
    ["config", "texts"].map(async (part) => (await fetch(`/webapi/desktop.cgi?part=${part}&${query}`)).json()),
  );
  const apps = Object.entries(config.apps ?? {})
    .filter(([, entry]) => shownTypes.has(entry?.type))
    .map(([id, entry]) => ({ id, type: entry.type, title: titleOf(texts.texts ?? {}, id, entry.title) }))
    .sort((a, b) => a.title.localeCompare(b.title));
  const list = document.getElementById("desktop-apps");
  list.replaceChildren(
    ...apps.map((app) => {
      const item = document.createElement("li");
      const title = document.createElement("span");
      title.className = "app-title";
      title.textContent = app.title;
      const type = document.createElement("span");
      type.className = "app-type";
      type.textContent = app.type;
      item.append(title, " ", type);
      item.dataset.id = app.id;
      return item;
    }),
  );
  document.getElementById("desktop-lang").textContent = lang;
  document.getElementById("desktop-version").textContent = version;
  document.getElementById("desktop-css").textContent = String(config.css?.length ?? 0);
  show("desktop-section", true);
}

// The folder browser: one level at a time, as file_list.cgi lists it.
const folderErrors = {
  bad_path: "That is no folder's path.",
  bad_name: "That name cannot be given to a folder here.",
  no_privilege: "You may not do that here.",
  not_found: "There is no such folder.",
  link: "That is a link, which the browser does not follow.",
  exists: "A folder of that name is there already.",
  identity: "The appliance could not act as you.",
  system: "The appliance could not answer.",
};
let folderPath = "/";

function folderButton(label, path) {
  const button = document.createElement("button");
  button.type = "button";
  button.className = "folder-link";
  button.textContent = label;
  button.dataset.path = path;
  button.addEventListener("click", busy(() => showFolders(path)));
  return button;
}

async function showFolders(path) {
  const reply = await fetch(`/webapi/file_list.cgi?path=${encodeURIComponent(path)}`);
  const why = refusal(reply);
  const message = document.getElementById("folder-message");
  if (why !== "") {
    message.textContent = why;
    return;
  }
  const answer = await reply.json();
  if (!answer.success) {
    message.textContent = folderErrors[answer.error] || answer.error;
    return;
  }
  message.textContent = "";
  folderPath = answer.path;
  // Where you are: the shares, then each folder on the way.
  const crumbs = [folderButton("Shared folders", "/")];
  let walked = "";
  for (const name of folderPath.split("/").filter((part) => part !== "")) {
    walked += `/${name}`;
    crumbs.push(" / ", folderButton(name, walked));
  }
  document.getElementById("folder-path").replaceChildren(...crumbs);
  document.getElementById("folder-list").replaceChildren(
    ...answer.folders.map((folder) => {
      const item = document.createElement("li");
      item.append(folderButton(folder.name, folder.path));
      if (folder.mount_type) item.append(" ", Object.assign(document.createElement("span"), {
        className: "folder-note", textContent: folder.mount_type }));
      if (path === "/" && !folder.writable) item.append(" ", Object.assign(document.createElement("span"), {
        className: "folder-note", textContent: "read-only" }));
      return item;
    }),
  );
  show("folder-empty", answer.folders.length === 0);
  show("mkdir-form", folderPath !== "/" && answer.writable === true);
}

// What no file system takes; the appliance checks every name itself, this
// only spares a request that would be refused.
function folderNameProblem(name) {
  if (name === "" || name === "." || name === ".." || name.startsWith("._")) return "bad_name";
  if (/[/:\\\u0000-\u001f\u007f]/.test(name) || new TextEncoder().encode(name).length > 255) return "bad_name";
  return "";
}

async function makeFolder(event) {
  event.preventDefault();
  const name = new FormData(event.target).get("name");
  const message = document.getElementById("folder-message");
  const problem = folderNameProblem(name);
  if (problem !== "") {
    message.textContent = folderErrors[problem];
    return;
  }
  const reply = await postForm("/webapi/mkdir.cgi", { path: folderPath, name });
  const why = refusal(reply);
  if (why !== "") {
    message.textContent = why;
    return;
  }
  const answer = await reply.json();
  if (!answer.success) {
    message.textContent = folderErrors[answer.error] || answer.error;
    return;
  }
  event.target.reset();
  await showFolders(folderPath);
  message.textContent = `Created ${answer.folder.path}.`;
}

async function logIn(event) {
  event.preventDefault();
  const form = new FormData(event.target);
  const fields = { user: form.get("user"), password: form.get("password") };
  if (form.get("language")) fields.language = form.get("language");
  if (!document.getElementById("otp-field").hidden)
    fields.otp_code = form.get("otp_code");
  const reply = await (await postForm("/webapi/login.cgi", fields)).json();
  const message = document.getElementById("login-message");
  if (reply.success) {
    message.textContent = "";
    show("otp-field", false);
    event.target.reset();
    await showSession();
    return;
  }
  if (reply.error === "otp_required" || reply.error === "otp_wrong")
    show("otp-field", true);
  message.textContent = loginErrors[reply.error] || reply.error;
}

async function logOut() {
  await postForm("/webapi/logout.cgi", {});
  token = "";
  await showSession();
  document.getElementById("login-message").textContent = "Logged out.";
}

async function endSessions(event) {
  event.preventDefault();
  const user = new FormData(event.target).get("user");
  const reply = await postForm("/webapi/sessions.cgi", { action: "logout_user", user });
  const message = document.getElementById("admin-message");
  const why = refusal(reply);
  if (why !== "") {
    message.textContent = why;
    return;
  }
  const result = await reply.json();
  message.textContent = result.success ? `Ended ${result.ended} session(s) of ${user}.` : "Failed.";
  await showSession();
}

async function showNote() {
  const reply = await fetch("/webapi/note.cgi?name=welcome");
  const note = document.getElementById("note");
  note.textContent = reply.ok ? (await reply.json()).text : "No note today.";
  document.getElementById("security-headers").textContent = ["Content-Security-Policy", "X-Frame-Options"]
    .map((name) => `${name}: ${reply.headers.get(name) ?? "(none)"}`)
    .join("\n");
}

async function sendEcho(event) {
  event.preventDefault();
  const form = new FormData(event.target);
  const fields = { name: form.get("name"), message: form.get("message") };
  const asJson = form.get("as") === "json";
  const reply = await fetch("/webapi/echo.cgi", {
    method: "POST",
    headers: { "Content-Type": asJson ? "application/json" : "application/x-www-form-urlencoded" },
    body: asJson ? JSON.stringify(fields) : new URLSearchParams(fields).toString(),
  });
  const shown = document.getElementById("echo-reply");
  shown.textContent = await reply.text();
  shown.hidden = false;
}

// One upload request; XMLHttpRequest, since fetch tells nothing of the
// bytes sent.  Resolves with the status and the JSON answer.
function sendUpload(body, headers, onProgress) {
  return new Promise((resolve, reject) => {
    const request = new XMLHttpRequest();
    request.open("POST", "/webapi/upload.cgi");
    request.setRequestHeader("X-VornToken", token);
    for (const [name, value] of Object.entries(headers)) request.setRequestHeader(name, value);
    request.upload.addEventListener("progress", (event) => {
      if (event.lengthComputable) onProgress(event.loaded / event.total);
    });
    request.addEventListener("load", () => {
      let reply = {};
      try {
        reply = JSON.parse(request.responseText);
      } catch {
        reply = { success: false, error: request.getResponseHeader("x-request-error") || "no answer" };
      }
      resolve({ status: request.status, reply });
    });
    request.addEventListener("error", () => reject(new Error("the connection failed")));
    request.send(body);
  });
}

function uploadForm(folder, file, name) {
  const body = new FormData();
  body.append("folder", folder);
  body.append("file", file, name);
  return body;
}

// A file in slices: each request names the upload (X-Tmp-File) and the
// bytes sent before it; the appliance answers how much it holds, and a
// refused offset is answered with that too, from which the next slice goes.
async function uploadInSlices(folder, file, sliceSize, progress) {
  const id = Array.from(crypto.getRandomValues(new Uint8Array(16)), (b) => b.toString(16).padStart(2, "0")).join("");
  let offset = 0;
  for (let requests = 0; requests < 2 * Math.ceil(file.size / sliceSize) + 2; requests++) {
    const end = Math.min(offset + sliceSize, file.size);
    const headers = { "X-Tmp-File": id, "X-Slice-Offset": String(offset) };
    if (end === file.size) headers["X-Slice-Finish"] = "1";
    const answer = await sendUpload(uploadForm(folder, file.slice(offset, end), file.name), headers, (part) =>
      progress((offset + part * (end - offset)) / Math.max(file.size, 1)),
    );
    if (end === file.size && answer.status === 200) return answer;
    if (answer.reply.received === undefined) return answer;
    offset = answer.reply.received;
  }
  return { status: 0, reply: { success: false, error: "too many attempts" } };
}

async function upload(event) {
  event.preventDefault();
  const form = new FormData(event.target);
  const files = event.target.elements.files.files;
  const folder = form.get("folder");
  const bar = document.getElementById("upload-progress");
  const message = document.getElementById("upload-message");
  const shown = document.getElementById("upload-reply");
  const stored = [];
  let answer = null;
  bar.value = 0;
  message.textContent = "Uploading…";
  if (form.get("sliced")) {
    const sliceSize = Math.max(64, Number(form.get("slice_kib")) || 1024) * 1024;
    for (const [index, file] of Array.from(files).entries()) {
      answer = await uploadInSlices(folder, file, sliceSize, (part) => (bar.value = (index + part) / files.length));
      if (!answer.reply.success) break;
      stored.push(...answer.reply.files);
    }
  } else {
    const body = new FormData();
    body.append("folder", folder);
    for (const file of files) body.append("file", file, file.name);
    answer = await sendUpload(body, {}, (part) => (bar.value = part));
    stored.push(...(answer.reply.files || []));
  }
  if (answer.reply.success) bar.value = 1;
  const names = stored.map((file) => `${file.name} (${file.size} bytes)`).join(", ");
  message.textContent = answer.reply.success
    ? `Stored ${names} in ${answer.reply.folder}.`
    : `Upload failed: ${answer.reply.error || answer.reply.refused?.map((file) => `${file.name}: ${file.reason}`).join(", ")}`;
  shown.textContent = JSON.stringify(answer.reply, null, 2);
  shown.hidden = false;
}

document.getElementById("login-form").addEventListener("submit", busy(logIn));
document.getElementById("logout-button").addEventListener("click", busy(logOut));
document.getElementById("refresh-button").addEventListener("click", busy(() => showSession()));
document.getElementById("end-sessions-form").addEventListener("submit", busy(endSessions));
document.getElementById("echo-form").addEventListener("submit", busy(sendEcho));
document.getElementById("upload-form").addEventListener("submit", busy(upload));
document.getElementById("mkdir-form").addEventListener("submit", busy(makeFolder));
busy(showNote)();
// After every deferred script has run: the session's parts live in settings.js and images.js too.
document.addEventListener("DOMContentLoaded", busy(showSession));
