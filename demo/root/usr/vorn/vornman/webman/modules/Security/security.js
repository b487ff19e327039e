// Security: security.js
"use strict";
