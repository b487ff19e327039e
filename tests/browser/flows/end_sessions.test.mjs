// An administrator ends alice's sessions (sessions.cgi); alice's next
// request sends her back to the login form with the reason, and she can
// log in again.
import assert from "node:assert/strict";

import { assertVisible, fill, flow, settle, textOf } from "../lib/flow.mjs";

flow("admin ends alice's sessions and her next request goes back to the login", async ({ open, logIn }) => {
  const alice = await open("alice");
  await logIn(alice, "alice");
  await assertVisible(alice, { "#admin-section": false });

  const admin = await open("admin");
  await logIn(admin, "admin");
  await assertVisible(admin, { "#admin-section": true });
  await fill(admin, "#end-sessions-form input[name=user]", "alice");
  await admin.click("#end-sessions-form button[type=submit]");
  await settle(admin);
  assert.equal(await textOf(admin, "#admin-message"), "Ended 1 session(s) of alice.");
  await assertVisible(admin, { "#session-section": true, "#admin-section": true });

  await alice.click("#refresh-button");
  await settle(alice);
  await assertVisible(alice, { "#login-section": true, "#session-section": false });
  assert.equal(await textOf(alice, "#login-message"), "Your session was ended by an administrator: log in again.");

  await logIn(alice, "alice");
});
