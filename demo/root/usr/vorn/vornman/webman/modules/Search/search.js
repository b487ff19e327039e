// Search: search.js
"use strict";
