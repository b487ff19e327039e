// Logging out returns to the login form, and the session stays ended when
// the page is loaded again.
import assert from "node:assert/strict";

import { assertVisible, flow, settle, textOf } from "../lib/flow.mjs";

flow("logout returns to the login form", async ({ open, logIn }) => {
  const page = await open("alice");
  await logIn(page, "alice");

  await page.click("#logout-button");
  await settle(page);
  assert.equal(await textOf(page, "#login-message"), "Logged out.");
  await assertVisible(page, { "#login-section": true, "#session-section": false, "#otp-field": false });

  await page.reload({ waitUntil: "load" });
  await settle(page);
  await assertVisible(page, { "#login-section": true, "#session-section": false });
  assert.equal(await textOf(page, "#login-message"), "", "a visitor without a session is told nothing");
});
