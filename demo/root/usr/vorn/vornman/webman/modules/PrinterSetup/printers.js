// PrinterSetup: printers.js
"use strict";
