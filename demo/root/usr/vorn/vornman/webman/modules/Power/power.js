// Power: power.js
"use strict";
