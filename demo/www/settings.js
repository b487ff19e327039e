"use strict";

// The settings forms (personal_settings.cgi, group_settings.cgi): load the
// current values, apply changes, and show each field's error beside it.
// Uses app.js's token, busy, postForm, refusal and show.

// Form-level errors come as keys of the UI's strings; the page words them.
const formErrors = {
  error_system: "The appliance could not do this.",
  error_apply_occupied: "Someone else is saving these settings. Try again in a moment.",
  error_occupied: "These settings are being saved. Try again in a moment.",
};

function messageOf(form) {
  return form.closest("section").querySelector(".form-message");
}

function showFieldErrors(form, errors) {
  for (const note of form.querySelectorAll(".field-error")) {
    const error = errors[note.dataset.field];
    note.textContent = error ?? "";
    note.hidden = error === undefined;
  }
}

// Shows a reply; true when it was a success.
async function showReply(form, reply) {
  const why = refusal(reply);
  if (why !== "") {
    messageOf(form).textContent = why;
    return false;
  }
  const result = await reply.json();
  showFieldErrors(form, result.errors ?? {});
  if (result.success) {
    for (const [name, value] of Object.entries(result.data ?? {})) {
      if (form.elements[name]) form.elements[name].value = String(value);
    }
    return true;
  }
  messageOf(form).textContent = result.errinfo
    ? formErrors[result.errinfo.key] ?? result.errinfo.key
    : "Some fields are not right.";
  return false;
}

async function loadSettings(form) {
  messageOf(form).textContent = "";
  await showReply(form, await postForm(form.dataset.url, { action: "load" }));
}

async function applySettings(event) {
  event.preventDefault();
  const form = event.target;
  const fields = Object.fromEntries(new FormData(form));
  if (await showReply(form, await postForm(form.dataset.url, { action: "apply", ...fields })))
    messageOf(form).textContent = "Saved.";
}

// After a login or a refresh: each person's own form, and the
// administrators' one for administrators.
async function showSettings(who) {
  show("personal-section", true);
  show("group-section", who.is_admin);
  await loadSettings(document.getElementById("personal-form"));
  if (who.is_admin) await loadSettings(document.getElementById("group-form"));
}

function hideSettings() {
  show("personal-section", false);
  show("group-section", false);
}

for (const form of document.querySelectorAll(".settings-form")) form.addEventListener("submit", busy(applySettings));
