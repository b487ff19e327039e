// FileChooser: chooser.js
"use strict";
