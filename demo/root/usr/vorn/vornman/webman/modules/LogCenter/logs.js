// LogCenter: logs.js
"use strict";
