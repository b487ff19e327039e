"use strict";

// Pictures: the login page's background (chosen by an administrator) and
// each user's desktop wallpaper, the last eight with their thumbnails.
// Uses app.js's token, busy, postForm, refusal and show.

const wallpaperUrl = "/webapi/wallpaper.cgi";
const loginImageUrl = "/webapi/login_image.cgi";

// The login page shows the chosen background, when there is one.
async function showLoginBackground() {
  const reply = await fetch(`${loginImageUrl}?action=chosen&type=background`);
  const chosen = await reply.json();
  const picture = document.getElementById("login-background");
  if (chosen.exists) picture.src = `${loginImageUrl}?action=current&type=background&v=${Date.now()}`;
  picture.hidden = !chosen.exists;
}

// Thumbnails of the slots in list, the current one marked; clicking one
// chooses it.
function showSlots(container, list, pictureUrl, choose) {
  container.replaceChildren();
  for (const { slot } of list.slots) {
    const button = document.createElement("button");
    button.type = "button";
    button.className = slot === list.current ? "slot current" : "slot";
    button.title = `Slot ${slot}${slot === list.current ? " (current)" : ""}`;
    const thumb = document.createElement("img");
    thumb.src = pictureUrl(slot);
    thumb.alt = button.title;
    button.append(thumb);
    button.addEventListener("click", busy(() => choose(slot)));
    container.append(button);
  }
}

async function sendPicture(url, fields, file) {
  const body = new FormData();
  for (const [name, value] of Object.entries(fields)) body.append(name, value);
  body.append("file", file, file.name);
  const reply = await fetch(url, { method: "POST", headers: { "X-VornToken": token }, body });
  return (await reply.json().catch(() => ({}))).success ? "" : refusal(reply) || "The picture was refused.";
}

async function showWallpapers() {
  const list = await (await fetch(`${wallpaperUrl}?action=list`)).json();
  const stamp = Date.now();
  showSlots(document.getElementById("wallpaper-slots"), list,
    (slot) => `${wallpaperUrl}?action=image&slot=${slot}&kind=thumb&v=${stamp}`,
    async (slot) => {
      await postForm(wallpaperUrl, { action: "choose", slot });
      await showWallpapers();
    });
  const current = document.getElementById("wallpaper-current");
  current.hidden = list.slots.length === 0;
  if (list.slots.length) current.src = `${wallpaperUrl}?action=image&slot=current&v=${stamp}`;
}

async function showLoginImages() {
  const list = await (await fetch(`${loginImageUrl}?action=list&type=background`, {
    headers: { "X-VornToken": token } })).json();
  const stamp = Date.now();
  showSlots(document.getElementById("login-image-slots"), list,
    (slot) => `${loginImageUrl}?action=image&type=background&slot=${slot}&kind=thumb&v=${stamp}`,
    async (slot) => {
      await postForm(loginImageUrl, { action: "choose", type: "background", slot });
      await showLoginImages();
      await showLoginBackground();
    });
}

async function uploadWallpaper(event) {
  event.preventDefault();
  const file = event.target.elements.file.files[0];
  const message = document.getElementById("wallpaper-message");
  message.textContent = file ? await sendPicture(wallpaperUrl, {}, file) : "Choose a picture first.";
  await showWallpapers();
}

async function uploadLoginBackground(event) {
  event.preventDefault();
  const file = event.target.elements.file.files[0];
  const message = document.getElementById("login-image-message");
  message.textContent = file ? await sendPicture(loginImageUrl, { type: "background" }, file) : "Choose a picture first.";
  await showLoginImages();
  await showLoginBackground();
}

// Called by app.js when the session is shown (who) or ended (null).
async function showImages(who) {
  show("wallpaper-section", who !== null);
  show("login-image-section", who !== null && who.is_admin);
  if (who === null) return;
  await showWallpapers();
  if (who.is_admin) await showLoginImages();
}

document.getElementById("wallpaper-form").addEventListener("submit", busy(uploadWallpaper));
document.getElementById("login-image-form").addEventListener("submit", busy(uploadLoginBackground));
busy(showLoginBackground)();
