"use strict";

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
  document.getElementById("echo-reply").textContent = await reply.text();
}

document.getElementById("echo-form").addEventListener("submit", sendEcho);
showNote();
