// The settings forms: alice (in German) loads her own settings, sees each
// bad field's error in German beside it, applies, and finds her settings
// after a reload; she never sees the administrators' form.  admin applies
// the shared settings and is told which field is not right.
import assert from "node:assert/strict";

import { assertVisible, fill, flow, settle, textOf } from "../lib/flow.mjs";

async function apply(page, form) {
  await page.click(`${form} button[type=submit]`);
  await settle(page);
}

function fieldError(page, form, field) {
  return textOf(page, `${form} .field-error[data-field=${field}]`);
}

flow("each account changes its settings, the administrator the shared ones", async ({ open, logIn }) => {
  const alice = await open("alice");
  await alice.select("#login-form select[name=language]", "ger");
  await logIn(alice, "alice");
  await assertVisible(alice, { "#personal-section": true, "#group-section": false });
  assert.equal(await alice.$eval("#personal-form input[name=page_size]", (input) => input.value), "50");

  await fill(alice, "#personal-form input[name=display_name]", "x".repeat(40));
  await fill(alice, "#personal-form input[name=email]", "alice@");
  await apply(alice, "#personal-form");
  assert.equal(await fieldError(alice, "#personal-form", "display_name"), "Der Text ist zu lang.");
  assert.equal(await fieldError(alice, "#personal-form", "email"), "Das ist keine E-Mail-Adresse.");
  await assertVisible(alice, { "#personal-form .field-error[data-field=page_size]": false });

  await fill(alice, "#personal-form input[name=display_name]", "Alice");
  await fill(alice, "#personal-form input[name=email]", "alice@example.com");
  await alice.select("#personal-form select[name=timezone]", "Europe/Berlin");
  await apply(alice, "#personal-form");
  assert.equal(await textOf(alice, "#personal-section .form-message"), "Saved.");
  await assertVisible(alice, { "#personal-form .field-error[data-field=display_name]": false });
  await alice.reload({ waitUntil: "load" });
  await settle(alice);
  assert.equal(await alice.$eval("#personal-form input[name=display_name]", (input) => input.value), "Alice");
  assert.equal(await alice.$eval("#personal-form select[name=timezone]", (select) => select.value), "Europe/Berlin");

  const admin = await open("admin");
  await logIn(admin, "admin");
  await assertVisible(admin, { "#personal-section": true, "#group-section": true });
  await fill(admin, "#group-form input[name=backup_hour]", "24");
  await apply(admin, "#group-form");
  assert.equal(await fieldError(admin, "#group-form", "backup_hour"), "The field is not valid.");
  await fill(admin, "#group-form input[name=backup_hour]", "4");
  await fill(admin, "#group-form input[name=banner]", "Back soon");
  await apply(admin, "#group-form");
  assert.equal(await textOf(admin, "#group-section .form-message"), "Saved.");
  assert.equal(await admin.$eval("#group-form input[name=banner]", (input) => input.value), "Back soon");
});
