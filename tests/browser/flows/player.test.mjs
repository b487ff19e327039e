// The page's link to the media centre opens a program's page with a policy
// of its own, and it works under that policy.
import assert from "node:assert/strict";

import { flow, settle, textOf } from "../lib/flow.mjs";

flow("the media centre's page opens from the demo page", async ({ open }) => {
  const page = await open("player");
  const [response] = await Promise.all([page.waitForNavigation(), page.click("a[href='/webapi/player.cgi']")]);
  await settle(page);
  assert.equal(await textOf(page, "h1"), "Media centre");
  assert.match(response.headers()["content-security-policy"], /media-src 'self' https:\/\/cdn\.example\.org blob:;/);
});
