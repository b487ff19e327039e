// ResourceMonitor: monitor.js
"use strict";
