#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""A web session from the sign-in to the page that a browser shows.

usage: web_sso_test.py --orxaccount PROGRAM --devserver PROGRAM [--screenshots FOLDER]
"""

import argparse
import json
import os
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

from browser import WAIT, Browser

PASSWORD = "correct horse battery"
programs = None


class WebSSO(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="orxaccount-sso.")
        self.addCleanup(folder.cleanup)
        self.home = Path(folder.name)
        self.start_service()

    def start_service(self, *options):
        """A second call leaves the first service running."""
        service = subprocess.Popen([programs.devserver, *options], stdout=subprocess.PIPE, text=True,
                                   cwd=self.home)
        self.addCleanup(self.stop, service)
        self.ready = json.loads(service.stdout.readline())
        self.environment = {
            "PATH": os.environ["PATH"],
            "HOME": str(self.home),
            "ORXACCOUNT_APP_ID": "demo-app",
            "ORXACCOUNT_APP_KEY": "demo-key",
            "ORXACCOUNT_CA_FILE": self.ready["caFile"],
            "ORXACCOUNT_CONNECT": ",".join(
                f"{host}=127.0.0.1:{self.ready['port']}" for host in self.ready["hosts"]),
            **{name: value for name, value in os.environ.items() if name.endswith("SAN_OPTIONS")},
        }

    def stop(self, service):
        service.terminate()
        service.wait(WAIT)
        service.stdout.close()

    def tool(self, *arguments, typed=""):
        done = subprocess.run(
            [programs.orxaccount, *arguments], input=typed, text=True, capture_output=True,
            timeout=WAIT, cwd=self.home, env=self.environment, check=False)
        self.assertEqual(done.returncode, 0, done.stdout + done.stderr)
        return done.stdout.strip()

    def sign_up(self, login, *profile):
        self.tool("register", "--login", login, "--password-stdin", *profile,
                  typed=PASSWORD + "\n")
        return json.loads(self.tool("login", "--login", login, "--password-stdin", "--json",
                                    typed=PASSWORD + "\n"))

    def browser(self, trusting=True, **options):
        browser = Browser(self.ready["hosts"], self.ready["port"],
                          self.ready["caFile"] if trusting else None, **options)
        self.addCleanup(browser.close)
        return browser

    def keep_screenshot(self, browser, name):
        if programs.screenshots:
            Path(programs.screenshots).mkdir(parents=True, exist_ok=True)
            browser.screenshot(Path(programs.screenshots) / f"{name}.png")

    def assert_fits(self, browser):
        self.assertLessEqual(*browser.evaluate(
            "const page = document.documentElement; return [page.scrollWidth, page.clientWidth]"))

    def test_the_link_shows_once_who_is_signed_in(self):
        user = self.sign_up("ada@example.com", "--first-name", "Ada", "--last-name", "Lovelace",
                            "--country", "GBR")
        link = self.tool("sso")
        browser = self.browser()
        browser.open(link)
        self.keep_screenshot(browser, "signed-in")
        self.assertEqual(browser.title(), "Signed in as Ada Lovelace")
        self.assertEqual(browser.text("h1"), "Signed in as Ada Lovelace")
        shown = browser.text("dl")
        self.assertIn("ada@example.com", shown)
        self.assertIn(user["cus_id"], shown)
        loaded = browser.evaluate(
            "const image = document.querySelector('img');"
            "return [image.complete, image.naturalWidth, image.alt]")
        self.assertEqual(loaded, [True, 128, "Picture of Ada Lovelace"])
        self.assert_fits(browser)

        browser.open(link)
        self.keep_screenshot(browser, "spent")
        self.assertEqual(browser.title(), "This sign-in link is no longer good")
        self.assertNotIn("Ada", browser.text("body"))
        self.assertIsNone(browser.text("img"))

    def test_the_china_host_has_a_page_of_its_own(self):
        self.sign_up("wei@example.com", "--nick-name", "小薇")
        link = self.tool("--china", "sso")
        self.assertIn(self.ready["hosts"][1], link)
        browser = self.browser(dark=True)
        browser.open(link)
        self.keep_screenshot(browser, "dark")
        self.assertEqual(browser.text("h1"), "Signed in as 小薇")
        self.assertEqual(browser.evaluate("return location.hostname"), self.ready["hosts"][1])

    def test_what_users_typed_is_text_and_fits_a_small_screen(self):
        typed = "<img src=x onerror=document.title='owned'>" + "W" * 80
        # Sent over the JSON interface, because a "<" would break the envelope of a SOAP call.
        identity = ("--type", "google", "--uid", "eve")
        self.tool("register-openid-v2", *identity, "--nick-name", typed)
        self.tool("login-openid-v2", *identity)
        browser = self.browser()
        browser.resize(360, 700)
        browser.open(self.tool("sso"))
        self.keep_screenshot(browser, "narrow")
        self.assertEqual(browser.text("h1"), "Signed in as " + typed)
        self.assertEqual(browser.title(), "Signed in as " + typed)
        self.assertEqual(browser.evaluate("return document.images.length"), 1)
        self.assert_fits(browser)

    def test_a_link_to_the_service_itself_opens_where_the_ca_is_trusted(self):
        self.start_service("--link-host", "localhost")
        self.sign_up("ada@example.com")
        link = self.tool("sso")
        self.assertTrue(link.startswith(f"https://localhost:{self.ready['port']}/sso/"), link)
        browser = Browser(ca_file=self.ready["caFile"])
        self.addCleanup(browser.close)
        browser.open(link)
        self.assertEqual(browser.title(), "Signed in as ada@example.com")

    def test_a_browser_that_does_not_trust_the_ca_shows_nothing(self):
        self.sign_up("ada@example.com")
        link = self.tool("sso")
        browser = self.browser(trusting=False)
        browser.open(link)
        self.assertIn("NET::ERR_CERT_AUTHORITY_INVALID", browser.text("body"))
        # The browser sent no request, so the link has not been used up.
        trusting = self.browser()
        trusting.open(link)
        self.assertEqual(trusting.title(), "Signed in as ada@example.com")


def main():
    global programs
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--orxaccount", required=True)
    parser.add_argument("--devserver", required=True)
    parser.add_argument("--screenshots", help="a folder to keep pictures of the pages in")
    programs, others = parser.parse_known_args()
    result = unittest.main(argv=[sys.argv[0], *others], exit=False).result
    return 0 if result.wasSuccessful() else 1


if __name__ == "__main__":
    sys.exit(main())
