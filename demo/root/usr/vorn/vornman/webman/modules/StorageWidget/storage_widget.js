// StorageWidget: storage_widget.js
"use strict";
