// Contacts: contacts.js
"use strict";
