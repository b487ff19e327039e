// Browser flows: what a person sees on the demo appliance's page, in Debian's
// chromium (headless) driven by puppeteer-core.
//
// A flow file holds one flow:
//
//   import { flow, textOf } from "../lib/flow.mjs";
//
//   flow("alice logs in and sees whoami's answer", async ({ open, logIn }) => {
//     const page = await open("alice");     // a person of their own, on "/"
//     await logIn(page, "alice");
//     assert.equal(await textOf(page, "#session-user"), "alice");
//   });
//
// Each flow gets a scratch appliance and a browser of its own.  Every page it
// opens is watched: a console error, an uncaught exception, a failed request,
// an HTTP error status, a Content-Security-Policy violation or a document
// without the security headers fails the flow.  At the end, passed or
// failed, each page's screenshot (LABEL.png), the log of everything the
// pages reported (console.log) and lighttpd's error log (server-error.log)
// are in the flow's output directory: $ARX_BROWSER_OUTPUT/FLOW (by default
// build/release/tests/browser/FLOW), FLOW being the file's name without
// ".test.mjs".

import assert from "node:assert/strict";
import { execFile } from "node:child_process";
import { readFileSync } from "node:fs";
import { copyFile, mkdir, mkdtemp, rm, writeFile } from "node:fs/promises";
import { tmpdir } from "node:os";
import path from "node:path";
import { test } from "node:test";
import { fileURLToPath } from "node:url";
import { promisify } from "node:util";

import { Appliance } from "./appliance.mjs";

const run = promisify(execFile);

export const sourceDir = path.resolve(path.dirname(fileURLToPath(import.meta.url)), "../../..");
export const buildDir = path.resolve(process.env.ARX_BUILD_DIR || path.join(sourceDir, "build/release"));
const outputRoot = path.resolve(process.env.ARX_BROWSER_OUTPUT || path.join(buildDir, "tests/browser"));
const chromium = process.env.ARX_CHROMIUM || "/usr/bin/chromium";

// Chromium as root (no sandbox then) on a machine without a network: without
// the background-networking flags it keeps trying to reach its services and
// has its connections refused many at a time.  Puppeteer adds a fresh
// --user-data-dir (the profile below).
const chromiumFlags = [
  "--headless",
  "--no-sandbox",
  "--disable-gpu",
  "--disable-quic",
  "--no-first-run",
  "--disable-background-networking",
  "--disable-component-update",
  "--disable-sync",
];

async function loadPuppeteer() {
  try {
    return (await import("puppeteer-core")).default;
  } catch (error) {
    throw new Error(`puppeteer-core is not installed in tests/browser (scripts/setup.sh installs it): ${error.message}`);
  }
}

// demo/credentials.txt: "user password description..." lines, and
// "USER-otp-secret SECRET" for two-step users.
function readCredentials() {
  const accounts = {};
  const text = readFileSync(path.join(sourceDir, "demo/credentials.txt"), "utf8");
  for (const line of text.split("\n")) {
    const [name, value] = line.trim().split(/\s+/);
    if (!name || name.startsWith("#") || !value) continue;
    const secretOf = name.match(/^(.+)-otp-secret$/);
    if (secretOf) (accounts[secretOf[1]] ??= {}).otpSecret = value;
    else (accounts[name] ??= {}).password = value;
  }
  return accounts;
}

export const credentials = readCredentials();

// --- Reading the page ---

// Whether a person sees the element: rendered, with its ancestors, and not
// hidden by a style.  False when there is no such element.
export function isVisible(page, selector) {
  return page.$$eval(
    selector,
    (elements) => elements.length > 0 && elements[0].checkVisibility({ visibilityProperty: true }),
  );
}

export function textOf(page, selector) {
  return page.$eval(selector, (element) => element.textContent);
}

// Waits until the page has done what the last step set off: no part of it
// busy (aria-busy, which the demo page sets while its requests are under
// way, before the event that started them returns) and no request in
// flight for a moment.
export async function settle(page) {
  await page.waitForFunction(() => !document.querySelector("[aria-busy=true]"));
  await page.waitForNetworkIdle({ idleTime: 100 });
}

// Asserts which of the selectors a person sees, as {selector: visible}.
export async function assertVisible(page, expected) {
  const seen = {};
  for (const selector of Object.keys(expected)) seen[selector] = await isVisible(page, selector);
  assert.deepEqual(seen, expected);
}

// --- The demo page's login form ---

// Types into a field of the page, replacing what it held.
export async function fill(page, selector, value) {
  await page.locator(selector).fill(value);
}

// Fills the login form and submits it, then waits for the page to take the
// answer in.  The one-time code is typed only when given.
export async function submitLogin(page, user, password, code) {
  await fill(page, "#login-form input[name=user]", user);
  await fill(page, "#login-form input[name=password]", password);
  if (code !== undefined) await fill(page, "#login-form input[name=otp_code]", code);
  await Promise.all([
    page.waitForResponse((response) => response.url().endsWith("/webapi/login.cgi")),
    page.click("#login-form button[type=submit]"),
  ]);
  await settle(page);
}

// --- The flow ---

class Flow {
  constructor({ appliance, browser, outputDir }) {
    this.appliance = appliance;
    this.browser = browser;
    this.outputDir = outputDir;
    this.credentials = credentials;
    this.pages = [];
    // Flows destructure what they use: the operations keep their object.
    this.open = this.open.bind(this);
    this.logIn = this.logIn.bind(this);
    this.otpCode = this.otpCode.bind(this);
  }

  // Opens urlPath in a browser context of its own (a person with their own
  // cookies), watched from before the first request, and waits until the
  // page has settled.  label names its screenshot.
  async open(label = "page", urlPath = "/") {
    assert.ok(!this.pages.some((page) => page.arxLabel === label), `a second page labelled ${label}`);
    const context = await this.browser.createBrowserContext();
    const page = await context.newPage();
    page.arxLabel = label;
    page.arxLog = [];
    page.arxProblems = [];
    this.pages.push(page);
    // A step that waits in vain fails the flow long before its time is up.
    page.setDefaultTimeout(10000);
    await watch(page);
    await page.goto(this.appliance.url(urlPath), { waitUntil: "load" });
    await settle(page);
    return page;
  }

  // Logs in as one of the demo's accounts through the page's form,
  // answering the one-time code with the demo's code tool for a two-step
  // user, and asserts that the page shows the session.
  async logIn(page, user, password = credentials[user]?.password) {
    assert.ok(password !== undefined, `no password for ${user} in demo/credentials.txt`);
    await submitLogin(page, user, password);
    if (credentials[user]?.otpSecret) {
      assert.ok(await isVisible(page, "#otp-field"), "the one-time code is asked for");
      await submitLogin(page, user, password, await this.otpCode(user));
    }
    await assertVisible(page, { "#session-section": true, "#login-section": false });
    assert.equal(await textOf(page, "#session-user"), user);
  }

  // The current one-time code of a two-step user (demo/otp-code).
  async otpCode(user) {
    const secret = credentials[user]?.otpSecret;
    assert.ok(secret, `${user} has no one-time-code secret in demo/credentials.txt`);
    const { stdout } = await run(path.join(buildDir, "demo/otp-code"), [secret]);
    return stdout.trim();
  }

  // Screenshots of every page and the log of what they reported.
  async record(failure) {
    const lines = [];
    for (const page of this.pages) {
      lines.push(`== ${page.arxLabel}`, ...page.arxLog, "");
      try {
        await page.screenshot({ path: path.join(this.outputDir, `${page.arxLabel}.png`), fullPage: true });
      } catch (error) {
        lines.push(`(no screenshot: ${error.message})`, "");
      }
    }
    if (failure) lines.push("== the flow failed", String(failure.stack || failure), "");
    const text = lines.join("\n");
    await writeFile(path.join(this.outputDir, "console.log"), text);
    await copyFile(path.join(this.appliance.scratch, "log/error.log"), path.join(this.outputDir, "server-error.log")).catch(
      () => {},
    );
    return text;
  }

  problems() {
    return this.pages.flatMap((page) => page.arxProblems.map((problem) => `${page.arxLabel}: ${problem}`));
  }
}

// Attaches the listeners that see what a person would not: the console, the
// network, policy violations, the document's security headers.
async function watch(page) {
  const log = (line) => page.arxLog.push(line);
  const problem = (line) => {
    page.arxProblems.push(line);
    log(`PROBLEM ${line}`);
  };
  page.on("console", (message) => {
    const where = message.location()?.url ? ` (${message.location().url}:${message.location().lineNumber ?? "?"})` : "";
    const line = `console.${message.type()}: ${message.text()}${where}`;
    if (message.type() === "error" || message.type() === "assert") problem(line);
    else log(line);
  });
  page.on("pageerror", (error) => problem(`uncaught: ${error.message}`));
  page.on("requestfailed", (request) =>
    problem(`request failed: ${request.method()} ${request.url()} ${request.failure()?.errorText ?? ""}`),
  );
  page.on("response", (response) => {
    const request = response.request();
    const line = `${response.status()} ${request.method()} ${response.url()}`;
    if (response.status() >= 400) problem(line);
    else log(line);
    if (request.isNavigationRequest() && response.frame() === page.mainFrame()) {
      const headers = response.headers();
      for (const name of ["content-security-policy", "x-frame-options"]) {
        if (!headers[name]) problem(`document without ${name}: ${response.url()}`);
      }
    }
  });
  await page.exposeFunction("arxReportViolation", (violation) =>
    problem(`policy violation: ${violation.directive} blocked ${violation.blocked || "(inline)"} at ${violation.source}`),
  );
  await page.evaluateOnNewDocument(() => {
    document.addEventListener(
      "securitypolicyviolation",
      (event) =>
        window.arxReportViolation({
          directive: event.violatedDirective,
          blocked: event.blockedURI,
          source: `${event.sourceFile}:${event.lineNumber}`,
        }),
      true,
    );
  });
}

async function launchBrowser(puppeteer, profile) {
  try {
    return await puppeteer.launch({
      executablePath: chromium,
      headless: true,
      userDataDir: profile,
      args: chromiumFlags,
      defaultViewport: { width: 1024, height: 768 },
    });
  } catch (error) {
    throw new Error(`${chromium} did not start (scripts/setup.sh installs Debian's chromium): ${error.message}`);
  }
}

// The flow's own time limit, below CTest's, so that a flow that hangs still
// leaves its screenshots and stops its browser and web server.
function withinTime(ms, promise) {
  let timer;
  const late = new Promise((resolve, reject) => {
    timer = setTimeout(() => reject(new Error(`the flow took longer than ${ms / 1000} s`)), ms);
  });
  return Promise.race([promise, late]).finally(() => clearTimeout(timer));
}

let flowsInThisFile = 0;

// Registers one flow: body(flow) runs with a fresh appliance and browser;
// the flow fails on an assertion of its own or on any problem a page
// reported.
export function flow(title, body, { timeout = 120000 } = {}) {
  const name = path.basename(process.argv[1] || "flow").replace(/\.test\.mjs$|\.mjs$/, "");
  assert.equal(++flowsInThisFile, 1, "one flow per file: its output directory is named after the file");
  const outputDir = path.join(outputRoot, name);

  test(title, async (t) => {
    await rm(outputDir, { recursive: true, force: true });
    await mkdir(outputDir, { recursive: true });
    const puppeteer = await loadPuppeteer();
    const profile = await mkdtemp(path.join(tmpdir(), "arx-chromium."));
    let appliance;
    let browser;
    let current;
    let failure;
    let log = "";
    try {
      appliance = await Appliance.start({ sourceDir, buildDir });
      browser = await launchBrowser(puppeteer, profile);
      current = new Flow({ appliance, browser, outputDir });
      await withinTime(
        timeout,
        (async () => {
          await body(current);
          // What the last step set off counts too.
          for (const page of current.pages) await settle(page);
        })(),
      );
    } catch (error) {
      failure = error;
    } finally {
      if (current) log = await current.record(failure);
      if (browser) await browser.close().catch(() => {});
      if (appliance) await appliance.stop();
      await rm(profile, { recursive: true, force: true });
    }
    t.diagnostic(`screenshots and console log: ${outputDir}`);
    const problems = current ? current.problems() : [];
    if (failure || problems.length > 0) process.stderr.write(`--- ${outputDir}/console.log\n${log}\n`);
    if (failure) throw failure;
    assert.deepEqual(problems, [], `the pages reported problems (see ${outputDir}/console.log)`);
  });
}
