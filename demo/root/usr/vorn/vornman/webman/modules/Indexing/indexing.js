// Indexing: indexing.js
"use strict";
