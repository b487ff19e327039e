// OldBackup: legacy.js
"use strict";
