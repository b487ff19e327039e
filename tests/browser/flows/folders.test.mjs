// The folder browser: alice sees the shared folders she may read, walks
// down through folders named in several scripts and back up by the path,
// cannot make a folder in the read-only share, makes one in the shared one
// and is told before any request that a name with ":" is not one.  admin
// sees the administrators' share and the folder alice never saw.
import assert from "node:assert/strict";
import { stat } from "node:fs/promises";

import { assertVisible, fill, flow, settle } from "../lib/flow.mjs";

function names(page) {
  return page.$$eval("#folder-list .folder-link", (buttons) => buttons.map((button) => button.textContent));
}

function where(page) {
  return page.$$eval("#folder-path .folder-link", (buttons) => buttons.map((button) => button.textContent));
}

async function enter(page, name) {
  const buttons = await page.$$("#folder-list .folder-link");
  for (const button of buttons) {
    if ((await button.evaluate((element) => element.textContent)) === name) {
      await button.click();
      await settle(page);
      return;
    }
  }
  assert.fail(`no folder ${name} in ${await names(page)}`);
}

async function up(page, name) {
  const crumbs = await page.$$("#folder-path .folder-link");
  for (const crumb of crumbs) {
    if ((await crumb.evaluate((element) => element.textContent)) === name) {
      await crumb.click();
      await settle(page);
      return;
    }
  }
  assert.fail(`no ${name} in the path`);
}

flow("each account browses the folders it may read", async ({ open, logIn, appliance }) => {
  const alice = await open("alice");
  await logIn(alice, "alice");
  await assertVisible(alice, { "#folders-section": true, "#mkdir-form": false });
  assert.deepEqual(await names(alice), ["home", "photos", "public"]);

  await enter(alice, "photos");
  assert.deepEqual(await names(alice), ["2024", "birthday", "Αθήνα", "Москва", "القاهرة", "東京の旅"]);
  await assertVisible(alice, { "#mkdir-form": false });
  await enter(alice, "東京の旅");
  await enter(alice, "浅草");
  assert.deepEqual(await where(alice), ["Shared folders", "photos", "東京の旅", "浅草"]);
  assert.deepEqual(await names(alice), ["雷門"]);
  await up(alice, "photos");
  await enter(alice, "Москва");
  assert.deepEqual(await names(alice), ["Кремль"]);

  await up(alice, "Shared folders");
  await enter(alice, "public");
  await assertVisible(alice, { "#mkdir-form": true });
  await fill(alice, "#mkdir-form input[name=name]", "a:b");
  await alice.click("#mkdir-form button[type=submit]");
  await settle(alice);
  assert.equal(await alice.$eval("#folder-message", (element) => element.textContent),
               "That name cannot be given to a folder here.");
  await fill(alice, "#mkdir-form input[name=name]", "Reise 2025 ✈");
  await alice.click("#mkdir-form button[type=submit]");
  await settle(alice);
  assert.equal(await alice.$eval("#folder-message", (element) => element.textContent),
               "Created /public/Reise 2025 ✈.");
  assert.deepEqual(await names(alice), ["Documents", "Projekte", "Reise 2025 ✈"]);
  assert.ok((await stat(appliance.rootPath("/volume1/public/Reise 2025 ✈"))).isDirectory());

  await up(alice, "Shared folders");
  await enter(alice, "home");
  assert.deepEqual(await names(alice), ["Notes"]);

  const admin = await open("admin");
  await logIn(admin, "admin");
  assert.deepEqual(await names(admin), ["finance", "home", "homes", "photos", "public"]);
  await enter(admin, "photos");
  assert.deepEqual(await names(admin), ["2024", "birthday", "Private", "Αθήνα", "Москва", "القاهرة", "東京の旅"]);
  await up(admin, "Shared folders");
  await enter(admin, "finance");
  assert.deepEqual(await names(admin), ["Budget 2025"]);
});
