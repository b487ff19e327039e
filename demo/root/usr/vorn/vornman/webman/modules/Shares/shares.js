// Shares: shares.js
"use strict";
