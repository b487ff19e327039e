// Updates: updates.js
"use strict";
