// Desktop: desktop.js
"use strict";
