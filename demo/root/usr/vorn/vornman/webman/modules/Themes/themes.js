// Themes: themes.js
"use strict";
