// Users: users.js
"use strict";
