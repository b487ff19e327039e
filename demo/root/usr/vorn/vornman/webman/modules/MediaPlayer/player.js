// MediaPlayer: player.js
"use strict";
