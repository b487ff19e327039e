// TextEditor: editor.js
"use strict";
