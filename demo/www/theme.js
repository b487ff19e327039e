"use strict";

// The desktop's theme, for administrators: theme.cgi lists the themes and
// applies one; the page then loads the theme's style sheet again.

function postJson(url, body) {
  return fetch(url, {
    method: "POST",
    headers: { "Content-Type": "application/json", "X-VornToken": token },
    body: JSON.stringify(body),
  });
}

// The theme's files keep their names when an administrator switches the
// theme: the page asks for the style sheet afresh on every visit, so that
// no browser keeps the last theme's.
document.getElementById("theme-style").href = `theme/desktop.css?t=${Date.now()}`;

async function showThemes(who) {
  const form = document.getElementById("theme-form");
  form.hidden = !who.is_admin;
  if (!who.is_admin) return;
  const reply = await (await postJson("/webapi/theme.cgi", { action: "list" })).json();
  const select = form.elements.theme;
  select.replaceChildren(
    ...Object.keys(reply.themes ?? {}).map((name) => {
      const option = document.createElement("option");
      option.value = option.textContent = name;
      return option;
    }),
  );
}

async function applyTheme(event) {
  event.preventDefault();
  const theme = event.target.elements.theme.value;
  const reply = await (await postJson("/webapi/theme.cgi", { action: "apply", theme })).json();
  document.getElementById("theme-message").textContent = reply.success ? `The ${theme} theme is on.` : reply.error;
  if (reply.success) document.getElementById("theme-style").href = `theme/desktop.css?t=${Date.now()}`;
}

document.getElementById("theme-form").addEventListener("submit", busy(applyTheme));
