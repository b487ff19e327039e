// Desktop: taskbar.js
"use strict";
