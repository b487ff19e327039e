// FileBrowser: browser.js
"use strict";
