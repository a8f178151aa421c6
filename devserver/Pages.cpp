// SPDX-License-Identifier: MIT
#include "devserver/Pages.h"

#include "devserver/Envelope.h"
#include "devserver/UserRecord.h"

namespace orx::devserver {
namespace {

constexpr const char* kStyle = R"css(
:root { color-scheme: light dark; font: 1rem/1.5 system-ui, sans-serif; }
body { margin: 0; display: grid; min-height: 100vh; place-items: center; }
main { box-sizing: border-box; width: min(34rem, 100%); padding: 2rem; }
h1 { font-size: 1.5rem; line-height: 1.2; margin: 0 0 1rem; overflow-wrap: anywhere; }
dl { display: grid; grid-template-columns: max-content 1fr; gap: .25rem 1.5rem; }
dt { opacity: .75; }
dd { margin: 0; overflow-wrap: anywhere; }
img { border-radius: .75rem; }
code { overflow-wrap: anywhere; }
footer { margin-top: 2rem; font-size: .875rem; opacity: .75; }
)css";

// On every page, so that nobody takes it for a page of the real service.
constexpr const char* kFooter = "<footer>This is the account service for development.</footer>\n";

HTTPResponse page(int status, const std::string& title, const std::string& content) {
  const std::string body =
      "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
      "<meta name=\"viewport\" content=\"width=device-width\">\n<title>" +
      title + "</title>\n<style>" + kStyle + "</style>\n</head>\n<body>\n" + "<main>\n<h1>" +
      title + "</h1>\n" + content + kFooter + "</main>\n</body>\n</html>\n";
  return {status,
          "text/html; charset=utf-8",
          body,
          {{"Cache-Control", "no-store"},
           {"Content-Security-Policy",
            "default-src 'none'; img-src 'self'; style-src 'unsafe-inline'; base-uri 'none'; "
            "form-action 'none'; frame-ancestors 'none'"},
           {"Referrer-Policy", "no-referrer"},
           {"X-Content-Type-Options", "nosniff"}}};
}

std::string entry(const std::string& term, const std::string& text) {
  return "<dt>" + term + "</dt><dd>" + escapedForElement(text) + "</dd>\n";
}

std::string field(const Account& account, const std::string& name) {
  const auto found = account.profile.find(name);
  return found == account.profile.end() ? std::string() : found->second;
}

// The nick name, else the full name, else the login.
std::string displayName(const Account& account) {
  if (std::string nick = field(account, "nick_name"); !nick.empty()) return nick;
  const std::string first = field(account, "first_name");
  const std::string last = field(account, "last_name");
  if (first.empty() && last.empty()) return account.login;
  return first.empty() || last.empty() ? first + last : first + " " + last;
}

}  // namespace

HTTPResponse startPage() {
  return page(200, "Account service for development",
              "<p>This server stands in for the account service while applications are developed "
              "and tested. Its accounts are no real ones.</p>\n"
              "<p>It answers the SOAP calls at <code>/ws/lumcusinfo.asmx</code> and "
              "<code>/ws/OrvaService.asmx</code>, the OpenID calls below "
              "<code>/api/OpenIdApi/</code>, and pictures at "
              "<code>/utilities/pic.ashx</code>.</p>\n");
}

HTTPResponse signedInPage(const Account& account) {
  const std::string name = displayName(account);
  const std::string picture = "<p><img src=\"/utilities/pic.ashx?s=medium&amp;f=" +
                              escapedForAttribute(pictureName(account)) +
                              "\" width=\"128\" height=\"128\" alt=\"Picture of " +
                              escapedForAttribute(name) + "\"></p>\n";
  return page(200, "Signed in as " + escapedForElement(name),
              picture + "<dl>\n" + entry("Name", name) + entry("Login", account.login) +
                  entry("Customer number", account.customerID()) + "</dl>\n");
}

HTTPResponse spentLinkPage() {
  return page(410, "This sign-in link is no longer good",
              "<p>A link works once, for a few minutes. Go back to the application and open the "
              "web page from there again.</p>\n");
}

HTTPResponse notFoundPage() {
  return page(404, "Not found", "<p>There is nothing at this address.</p>\n");
}

}  // namespace orx::devserver
