// Terminal: terminal.js
"use strict";
