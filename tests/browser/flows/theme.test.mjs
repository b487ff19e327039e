// An administrator switches the desktop's theme: its style sheet and
// background change on the page; an ordinary user sees no theme switch,
// and sees the add-on shortcut meant for everyone but not the
// administrators' add-on.
import assert from "node:assert/strict";

import { assertVisible, flow, settle } from "../lib/flow.mjs";

const background = (page) =>
  page.$eval("#desktop-section", (section) => getComputedStyle(section).backgroundColor);

const titles = (page) => page.$$eval("#desktop-apps .app-title", (items) => items.map((item) => item.textContent));

flow("an administrator switches the theme, alice sees her own desktop", async ({ open, logIn }) => {
  const alice = await open("alice");
  await logIn(alice, "alice");
  await settle(alice);
  await assertVisible(alice, { "#desktop-apps": true, "#theme-form": false });
  const aliceTitles = await titles(alice);
  assert.ok(aliceTitles.includes("Router status") && aliceTitles.includes("Note Board"), aliceTitles.join(", "));
  assert.ok(!aliceTitles.includes("Router setup"), aliceTitles.join(", "));

  const admin = await open("admin");
  await logIn(admin, "admin");
  await settle(admin);
  await assertVisible(admin, { "#theme-form": true });
  assert.ok((await titles(admin)).includes("Router setup"));
  assert.equal(await background(admin), "rgb(244, 246, 248)", "the light theme at first");

  await admin.select("#theme-form select[name=theme]", "dark");
  await admin.click("#theme-form button[type=submit]");
  await settle(admin);
  await admin.waitForFunction(
    () => getComputedStyle(document.getElementById("desktop-section")).backgroundColor === "rgb(29, 38, 48)",
  );
  assert.equal(await admin.$eval("#theme-message", (message) => message.textContent), "The dark theme is on.");

  // Everyone's desktop is dark from now on.
  await alice.reload({ waitUntil: "load" });
  await settle(alice);
  assert.equal(await background(alice), "rgb(29, 38, 48)");
});
