// Backup: backup.js
"use strict";
