// Calendar: calendar.js
"use strict";
