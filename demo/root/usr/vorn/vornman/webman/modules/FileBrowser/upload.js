// FileBrowser: upload.js
"use strict";
