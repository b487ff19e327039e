// alice logs in and sees what whoami.cgi answers: the program switched to
// her identity.
import assert from "node:assert/strict";

import { assertVisible, flow, textOf } from "../lib/flow.mjs";

flow("alice logs in and sees whoami's answer", async ({ open, logIn }) => {
  const page = await open("alice");
  await assertVisible(page, { "#login-section": true, "#session-section": false, "#otp-field": false });

  await logIn(page, "alice");
  await assertVisible(page, { "#admin-section": false, "#otp-field": false });
  const whoami = JSON.parse(await textOf(page, "#whoami-reply"));
  assert.equal(whoami.user, "alice");
  assert.equal(whoami.is_admin, false);
  assert.equal(whoami.success, true);
  assert.equal(whoami.euid, 1002);
  assert.ok(!("token" in whoami), "the page keeps the session token to itself");
});
