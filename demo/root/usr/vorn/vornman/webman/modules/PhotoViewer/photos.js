// PhotoViewer: photos.js
"use strict";
