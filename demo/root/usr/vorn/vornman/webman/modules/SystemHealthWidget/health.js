// SystemHealthWidget: health.js
"use strict";
