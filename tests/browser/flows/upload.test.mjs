// alice uploads two files at once, then a larger one in slices of 64 KiB;
// the progress bar fills, and the shared folder holds exactly what she sent.
import assert from "node:assert/strict";
import { randomBytes } from "node:crypto";
import { mkdtemp, readFile, rm, writeFile } from "node:fs/promises";
import { tmpdir } from "node:os";
import path from "node:path";

import { flow, settle, textOf } from "../lib/flow.mjs";

flow("alice uploads files, whole and in slices", async ({ open, logIn, appliance }) => {
  const dir = await mkdtemp(path.join(tmpdir(), "arx-upload-flow-"));
  const files = { "notes.txt": Buffer.from("a note\n"), "photo.bin": randomBytes(3000), "big.bin": randomBytes(200000) };
  for (const [name, content] of Object.entries(files)) await writeFile(path.join(dir, name), content);
  try {
    const page = await open("alice");
    await logIn(page, "alice");
    const input = await page.$("#upload-form input[type=file]");

    await input.uploadFile(path.join(dir, "notes.txt"), path.join(dir, "photo.bin"));
    await page.click("#upload-form button[type=submit]");
    await settle(page);
    assert.match(await textOf(page, "#upload-message"), /^Stored notes\.txt \(7 bytes\), photo\.bin \(3000 bytes\) in \/public\.$/);

    await input.uploadFile(path.join(dir, "big.bin"));
    await page.click("#upload-form input[name=sliced]");
    await page.locator("#upload-form input[name=slice_kib]").fill("64");
    await page.click("#upload-form button[type=submit]");
    await settle(page);
    assert.equal(await textOf(page, "#upload-message"), "Stored big.bin (200000 bytes) in /public.");
    assert.equal(await page.$eval("#upload-progress", (bar) => bar.value), 1);

    for (const [name, content] of Object.entries(files)) {
      assert.ok(content.equals(await readFile(appliance.rootPath(`/volume1/public/${name}`))), name);
    }
  } finally {
    await rm(dir, { recursive: true, force: true });
  }
});
