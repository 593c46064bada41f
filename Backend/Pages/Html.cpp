#include "Pages/Html.h"

#include "Text/Escapes.h"

namespace qs {

namespace {

constexpr std::string_view kStyle = R"(:root {
  color-scheme: light dark;
  --ground: #f6f8f7; --sheet: #ffffff; --ink: #1d2a26; --quiet: #52635d; --line: #8fa39b;
  --accent: #2c6e5c; --on-accent: #ffffff; --fault: #a3201b;
}
@media (prefers-color-scheme: dark) {
  :root {
    --ground: #141a18; --sheet: #1d2623; --ink: #e6eeeb; --quiet: #a5b8b0; --line: #6b7f77;
    --accent: #8fd0bc; --on-accent: #10201b; --fault: #ff9c94;
  }
}
* { box-sizing: border-box; }
body { margin: 0; background: var(--ground); color: var(--ink); font: 1rem/1.5 system-ui, sans-serif; }
main { max-width: 28rem; margin: 8vh auto; padding: 2rem; background: var(--sheet); border-radius: 0.75rem; }
h1 { margin: 0 0 1rem; font-size: 1.4rem; line-height: 1.25; }
h2 { margin: 2rem 0 0.5rem; font-size: 1.1rem; }
label { display: block; margin: 1rem 0 0.25rem; font-weight: 600; }
input { width: 100%; padding: 0.6rem; border: 1px solid var(--line); border-radius: 0.4rem; background: var(--ground);
  color: inherit; font: inherit; }
button { margin-top: 1.5rem; padding: 0.6rem 1.2rem; border: 0; border-radius: 0.4rem; background: var(--accent);
  color: var(--on-accent); font: inherit; font-weight: 600; cursor: pointer; }
a { color: var(--accent); }
:focus-visible { outline: 3px solid var(--accent); outline-offset: 2px; }
.fault { color: var(--fault); font-weight: 600; }
.quiet { color: var(--quiet); }
img.picture { width: 6rem; height: 6rem; border-radius: 50%; object-fit: cover; }
@media (max-width: 32rem) { main { margin: 0; min-height: 100vh; border-radius: 0; padding: 1.25rem; } }
)";

}  // namespace

std::string escaped(std::string_view text) { return stringByEscapingXMLEntities(text); }

HttpServerResponse htmlPage(int status, std::string_view title, std::string_view body) {
    std::string page = "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
                       "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
                       "<meta name=\"robots\" content=\"noindex\">\n"
                       "<link rel=\"stylesheet\" href=\"/style.css\">\n<title>";
    page += escaped(title) + " - Quillstead</title>\n</head>\n<body>\n<main>\n<h1>" + escaped(title) + "</h1>\n";
    page += std::string(body) + "</main>\n</body>\n</html>\n";
    return {status,
            {{"Content-Type", "text/html; charset=utf-8"},
             {"Content-Security-Policy", "default-src 'none'; style-src 'self'; img-src 'self'; form-action 'self'; "
                                         "base-uri 'none'; frame-ancestors 'none'"}},
            std::move(page)};
}

HttpServerResponse messagePage(int status, std::string_view title, std::string_view sentence) {
    return htmlPage(status, title, "<p>" + escaped(sentence) + "</p>\n");
}

HttpServerResponse styleSheet() {
    return {200,
            {{"Content-Type", "text/css; charset=utf-8"}, {"Cache-Control", "public, max-age=3600"}},
            std::string(kStyle)};
}

std::string inputField(std::string_view label, std::string_view name, std::string_view type,
                       std::string_view attributes) {
    const std::string id(name);
    return "<label for=\"" + id + "\">" + escaped(label) + "</label>\n<input id=\"" + id + "\" name=\"" + id +
           "\" type=\"" + std::string(type) + "\" " + std::string(attributes) + ">\n";
}

std::string faultNote(std::string_view text) {
    return text.empty() ? std::string() : "<p class=\"fault\" role=\"alert\">" + escaped(text) + "</p>\n";
}

std::string hiddenField(std::string_view name, std::string_view value) {
    return "<input type=\"hidden\" name=\"" + std::string(name) + "\" value=\"" + escaped(value) + "\">\n";
}

}  // namespace qs
