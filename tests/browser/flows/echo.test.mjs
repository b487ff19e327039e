// The echo form sends its fields to echo.cgi as a JSON body and as a form
// body; both come back unchanged, characters that need escaping included.
import assert from "node:assert/strict";

import { fill, flow, settle, textOf } from "../lib/flow.mjs";

flow("the echo form round-trips JSON and form bodies", async ({ open }) => {
  const page = await open("visitor");
  const fields = { name: "Zoë & \"friends\"", message: "a+b=c; 100% {sure}? <yes>" };
  await fill(page, "#echo-form input[name=name]", fields.name);
  await fill(page, "#echo-form input[name=message]", fields.message);

  for (const [as, source] of [
    ["json", "json"],
    ["form", "form"],
  ]) {
    await page.select("#echo-form select[name=as]", as);
    await page.click("#echo-form button[type=submit]");
    await settle(page);
    const reply = JSON.parse(await textOf(page, "#echo-reply"));
    assert.deepEqual(reply, { success: true, source, data: fields }, `sent as ${as}`);
  }
});
