// Certificates: certs.js
"use strict";
