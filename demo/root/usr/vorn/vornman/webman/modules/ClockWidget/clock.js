// ClockWidget: clock.js
"use strict";
