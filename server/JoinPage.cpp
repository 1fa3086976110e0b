// The page behind an invite link: a person opens <base>/join in a browser and
// its button hands the server's address to the app (velmarin://join?server=).
// The page learns its own address from the browser, so it is right behind any
// proxy or name the server is reached by.
#include "Routes.h"

namespace {

constexpr char kPage[] = R"html(<!doctype html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1">
<title>Join on Velmarin</title>
<style>
body { font-family: system-ui, sans-serif; background: #f4f5f7; color: #1d1f23;
       display: flex; min-height: 100vh; margin: 0; align-items: center; justify-content: center; }
main { background: #fff; border-radius: 14px; padding: 32px 36px; max-width: 420px;
       box-shadow: 0 2px 12px rgba(0,0,0,.08); text-align: center; }
h1 { font-size: 20px; margin: 0 0 8px; }
p { color: #5b606a; line-height: 1.45; }
a.button { display: inline-block; margin-top: 12px; padding: 10px 22px; border-radius: 9px;
           background: #2f6fde; color: #fff; text-decoration: none; font-weight: 600; }
code { background: #eef0f3; padding: 2px 6px; border-radius: 5px; word-break: break-all; }
</style>
</head>
<body>
<main>
<h1>Join on Velmarin</h1>
<p>Open this server in the Velmarin app. Ask whoever invited you for the invite code if the app asks for one.</p>
<a class="button" id="open" href="velmarin://join">Open in Velmarin</a>
<p>Server address: <code id="server"></code></p>
</main>
<script>
const server = location.origin;
document.getElementById("server").textContent = server;
document.getElementById("open").href = "velmarin://join?server=" + encodeURIComponent(server);
</script>
</body>
</html>
)html";

} // namespace

void addJoinPage(Router& router, Context&) {
    router.add("GET", QStringLiteral("join"), Router::Access::Public, [](const HttpRequest&) {
        return HttpReply{200, QByteArray(kPage), "text/html; charset=utf-8"};
    });
}
