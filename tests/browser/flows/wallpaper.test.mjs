// alice adds two wallpapers and chooses the older one by its thumbnail;
// admin adds a login background, which the login form then shows.
import assert from "node:assert/strict";
import { execFileSync } from "node:child_process";
import { mkdtemp, rm } from "node:fs/promises";
import { tmpdir } from "node:os";
import path from "node:path";

import { flow, settle } from "../lib/flow.mjs";

flow("wallpapers and the login background are chosen from the page", async ({ open, logIn }) => {
  const dir = await mkdtemp(path.join(tmpdir(), "arx-wallpaper-flow-"));
  const draw = (name, what) => {
    execFileSync("/usr/bin/convert", ["-size", "90x60", what, path.join(dir, name)]);
    return path.join(dir, name);
  };
  try {
    const alice = await open("alice");
    await logIn(alice, "alice");
    const input = await alice.$("#wallpaper-form input[type=file]");
    for (const picture of [draw("sea.png", "gradient:blue-white"), draw("dusk.jpg", "gradient:red-black")]) {
      await input.uploadFile(picture);
      await alice.click("#wallpaper-form button[type=submit]");
      await settle(alice);
    }
    const slots = () => alice.$$eval("#wallpaper-slots .slot", (items) =>
      items.map((item) => [item.title, item.querySelector("img").naturalWidth]));
    assert.deepEqual(await slots(), [["Slot 1", 120], ["Slot 2 (current)", 120]]);
    await alice.click("#wallpaper-slots .slot:first-child");
    await settle(alice);
    assert.deepEqual(await slots(), [["Slot 1 (current)", 120], ["Slot 2", 120]]);
    assert.equal(await alice.$eval("#wallpaper-current", (img) => img.naturalWidth), 90);

    const admin = await open("admin");
    await logIn(admin, "admin");
    await (await admin.$("#login-image-form input[type=file]")).uploadFile(draw("bg.png", "gradient:green-white"));
    await admin.click("#login-image-form button[type=submit]");
    await settle(admin);
    assert.equal(await admin.$$eval("#login-image-slots .slot", (items) => items.length), 1);

    const visitor = await open("visitor");
    await settle(visitor);
    assert.equal(await visitor.$eval("#login-background", (img) => !img.hidden && img.naturalWidth), 90);
  } finally {
    await rm(dir, { recursive: true, force: true });
  }
});
