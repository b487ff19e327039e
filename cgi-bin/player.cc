// player.cgi: the page of the demo's media centre add-on.  The page plays
// media from the add-on's content server and shows pictures from anywhere,
// which the system-wide policy does not allow: the add-on's rule config
// gives the page "MediaCenter.Player" a policy of its own, and the page asks
// for it by that name.

#include <stdio.h>

#include <arx/webman.h>

namespace {

constexpr char kPage[] = "MediaCenter.Player";

constexpr char kHtml[] = R"(<!DOCTYPE html>
<html lang="en">
<head>
  <meta charset="utf-8">
  <title>Media centre</title>
  <link rel="icon" href="/favicon.svg" type="image/svg+xml">
  <link rel="stylesheet" href="/style.css">
</head>
<body>
  <header><h1>Media centre</h1></header>
  <main>
    <section>
      <h2>Player</h2>
      <p>This page is served with the policy of the page MediaCenter.Player:
         media from the add-on's content server, pictures from any host.</p>
    </section>
  </main>
</body>
</html>
)";

}  // namespace

int main()
{
    WebMan web(false);
    web.AddSecurityHeaders(kPage);
    web.WriteHeader("text/html; charset=\"UTF-8\"");
    fputs(kHtml, stdout);
    return 0;
}
