// Notifications: notify.js
"use strict";
