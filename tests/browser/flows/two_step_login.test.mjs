// carol's two-step login: the one-time-code field stays out of sight until
// the server asks for the code; a wrong code is refused, the demo code
// tool's code lets her in.
import assert from "node:assert/strict";

import { assertVisible, credentials, flow, submitLogin, textOf } from "../lib/flow.mjs";

flow("carol's two-step login asks for the code and accepts the code tool's", async ({ open, otpCode }) => {
  const page = await open("carol");
  await assertVisible(page, { "#login-section": true, "#otp-field": false });

  const password = credentials.carol.password;
  await submitLogin(page, "carol", password);
  assert.equal(await textOf(page, "#login-message"), "Enter the one-time code of your authenticator.");
  await assertVisible(page, { "#otp-field": true, "#session-section": false });

  const code = await otpCode("carol");
  assert.match(code, /^[0-9]{6}$/);
  const wrong = code.slice(0, 5) + String((Number(code[5]) + 1) % 10);
  await submitLogin(page, "carol", password, wrong);
  assert.equal(await textOf(page, "#login-message"), "The one-time code was wrong or used already.");
  await assertVisible(page, { "#otp-field": true, "#session-section": false });

  await submitLogin(page, "carol", password, code);
  await assertVisible(page, { "#session-section": true, "#login-section": false, "#otp-field": false });
  assert.equal(await textOf(page, "#session-user"), "carol");
  assert.equal(JSON.parse(await textOf(page, "#whoami-reply")).user, "carol");
});
