// StorageManager: storage.js
"use strict";
