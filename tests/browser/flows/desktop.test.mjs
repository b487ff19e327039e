// Each demo account sees the applications it may open in the language it
// chose at login, with English titles where a module has no strings in it;
// on a reload the documents come back "304 Not Modified".
import assert from "node:assert/strict";

import { flow, settle, textOf } from "../lib/flow.mjs";

// At least so many applications; one in the language, one in English, and
// one the account may not open.
const accounts = [
  { user: "admin", language: "", lang: "enu", count: 25, title: "File Browser", english: "Security", not: "" },
  { user: "alice", language: "ger", lang: "ger", count: 8, title: "Dateibrowser", english: "Contacts", not: "Security" },
  { user: "carol", language: "fre", lang: "fre", count: 5, title: "Explorateur de fichiers", english: "Media Player",
    not: "Calendrier" },
];

flow("each account sees the desktop in its language", async ({ open, logIn }) => {
  for (const account of accounts) {
    const page = await open(account.user);
    if (account.language) await page.select("#login-form select[name=language]", account.language);
    await logIn(page, account.user);
    await settle(page);
    assert.equal(await textOf(page, "#desktop-lang"), account.lang);
    const titles = await page.$$eval("#desktop-apps .app-title", (items) => items.map((item) => item.textContent));
    assert.ok(titles.length >= account.count, `${account.user}: ${titles.length} applications`);
    if (account.not) assert.ok(!titles.includes(account.not), `${account.user}: ${titles.join(", ")}`);
    assert.ok(titles.includes(account.title), `${account.user}: ${titles.join(", ")}`);
    assert.ok(titles.includes(account.english), `${account.user}: no fallback to English`);
  }

  // A reload asks again: the version is new each time, the documents of an
  // unchanged version are not.
  const page = await open("reload");
  await logIn(page, "admin");
  const statuses = [];
  page.on("response", (response) => {
    const part = new URL(response.url()).searchParams.get("part");
    if (part === "config" || part === "texts") statuses.push(response.status());
  });
  await page.reload({ waitUntil: "load" });
  await settle(page);
  assert.deepEqual(statuses, [304, 304]);
  assert.equal(await textOf(page, "#desktop-lang"), "enu");
});
