// A wrong password is refused on the page, and nothing else changes: no
// session, no one-time code asked for.
import assert from "node:assert/strict";

import { assertVisible, flow, submitLogin, textOf } from "../lib/flow.mjs";

flow("a wrong password shows the failure", async ({ open }) => {
  const page = await open("alice");
  await submitLogin(page, "alice", "not-alices-password");
  assert.equal(await textOf(page, "#login-message"), "Wrong user name or password.");
  await assertVisible(page, {
    "#login-message": true,
    "#login-section": true,
    "#session-section": false,
    "#admin-section": false,
    "#otp-field": false,
  });
});
