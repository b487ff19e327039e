// Utils: utils.js
"use strict";
