// ControlPanel: panel.js
"use strict";
