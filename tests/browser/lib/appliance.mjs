// A scratch demo appliance for one flow, laid out exactly as the end-to-end
// tests lay theirs: scripts/stage-root.sh with the build tree, then a real
// lighttpd in the foreground on a free loopback port.

import { execFile, spawn } from "node:child_process";
import { mkdtemp, readFile, rm } from "node:fs/promises";
import net from "node:net";
import { tmpdir } from "node:os";
import path from "node:path";
import { promisify } from "node:util";

const run = promisify(execFile);

function freeLoopbackPort() {
  return new Promise((resolve, reject) => {
    const server = net.createServer();
    server.once("error", reject);
    server.listen(0, "127.0.0.1", () => {
      const { port } = server.address();
      server.close(() => resolve(port));
    });
  });
}

function accepts(port) {
  return new Promise((resolve) => {
    const socket = net.connect(port, "127.0.0.1");
    socket.once("connect", () => {
      socket.destroy();
      resolve(true);
    });
    socket.once("error", () => resolve(false));
  });
}

const sleep = (ms) => new Promise((resolve) => setTimeout(resolve, ms));

export class Appliance {
  // sourceDir: the repository; buildDir: the build tree whose programs it serves.
  static async start({ sourceDir, buildDir, lighttpd = "/usr/sbin/lighttpd" }) {
    const scratch = await mkdtemp(path.join(tmpdir(), "arx-browser."));
    const appliance = new Appliance(scratch);
    try {
      // A port found free can be taken before lighttpd binds it: try again.
      for (let attempt = 0; attempt < 5; ++attempt) {
        const port = await freeLoopbackPort();
        await run(path.join(sourceDir, "scripts/stage-root.sh"), [scratch, buildDir, String(port)]);
        if (await appliance.#listen(lighttpd, port)) return appliance;
      }
      throw new Error(`lighttpd did not start: ${await appliance.errorLog()}`);
    } catch (error) {
      await appliance.stop();
      throw error;
    }
  }

  constructor(scratch) {
    this.scratch = scratch;
    this.port = 0;
    this.server = null;
  }

  async #listen(lighttpd, port) {
    const server = spawn(lighttpd, ["-D", "-f", path.join(this.scratch, "lighttpd.conf")], {
      stdio: ["ignore", "ignore", "inherit"],
    });
    let exited = false;
    server.once("exit", () => {
      exited = true;
    });
    server.once("error", () => {
      exited = true;
    });
    for (let wait = 0; wait < 500 && !exited; ++wait) {
      if (await accepts(port)) {
        this.server = server;
        this.port = port;
        return true;
      }
      await sleep(10);
    }
    if (!exited) server.kill("SIGTERM");
    return false;
  }

  // "http://127.0.0.1:PORT" followed by the path.
  url(urlPath = "/") {
    return `http://127.0.0.1:${this.port}${urlPath}`;
  }

  // A system path inside the appliance's root (what VORN_ROOT names).
  rootPath(systemPath) {
    return path.join(this.scratch, "root", systemPath);
  }

  async errorLog() {
    return readFile(path.join(this.scratch, "log/error.log"), "utf8").catch(() => "");
  }

  async stop() {
    const server = this.server;
    this.server = null;
    if (server && server.exitCode === null && server.signalCode === null) {
      const exited = new Promise((resolve) => server.once("exit", resolve));
      server.kill("SIGTERM");
      await exited;
    }
    await rm(this.scratch, { recursive: true, force: true });
  }
}
