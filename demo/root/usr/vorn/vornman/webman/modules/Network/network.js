// Network: network.js
"use strict";
