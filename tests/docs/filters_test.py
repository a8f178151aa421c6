#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""What the documentation generator is given of headers and pages."""

import sys
import unittest
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[2] / "scripts"))
import doxygen_comments  # noqa: E402
import doxygen_page  # noqa: E402


def header(text):
    return "".join(doxygen_comments.Header().add(text.splitlines(keepends=True)))


def page(text, name="docs/guide/some.md"):
    return "".join(doxygen_page.converted(Path(name), text.splitlines(keepends=True)))


class Comment(unittest.TestCase):
    def test_describes_the_declaration_below(self):
        self.assertEqual(header("// Adds.\nint add(int a);\n"), "/// Adds.\nint add(int a);\n")

    def test_that_stands_alone_describes_the_file(self):
        self.assertEqual(header("#pragma once\n\n// Numbers.\n\nint add(int a);\n"),
                         "#pragma once\n/// @file\n/// Numbers.\n\nint add(int a);\n")

    def test_that_begins_a_paragraph_is_referred_to_by_the_rest_of_it(self):
        self.assertEqual(header("\n// Two of them.\nvoid one();\nvoid two(int a,\n         int b);\n\nvoid three();\n"),
                         "\n/// Two of them.\nvoid one();\n/** See one(). */ void two(int a,\n         int b);\n\n"
                         "void three();\n")

    def test_amid_a_paragraph_is_about_one_declaration_and_its_setter(self):
        self.assertEqual(header("int a();\n// Of b.\nint b();\nvoid setB(int b);\nint c();\n"),
                         "int a();\n/// Of b.\nint b();\n/** See b(). */ void setB(int b);\nint c();\n")

    def test_behind_code_describes_that_code(self):
        self.assertEqual(header("\n// Numbers.\nint one = 1;  // odd\nint two = 2;  // even\n"),
                         "\n/// Numbers.\nint one = 1; ///< odd\nint two = 2; ///< even\n")

    def test_within_a_class_that_stands_alone_is_a_heading_up_to_the_private_part(self):
        self.assertEqual(
            header("class A {\n public:\n  // From here on: not for\n  // hosts.\n\n  int b();\n\n private:\n};\n"),
            "class A {\n public:\n/// @name Not for hosts.\n\n///@{\n  int b();\n///@}\n private:\n};\n")

    def test_in_the_body_of_a_function_stays(self):
        body = "void f() {\n  // Why.\n  g();\n  h();\n}\n"
        self.assertEqual(header(body), body)

    def test_holds_programs_as_programs(self):
        self.assertEqual(header("// Adds:\n//\n//   add(1);\n//\n// Yes.\nint add(int a);\n"),
                         "/// Adds:\n///\n///       add(1);\n///    \n/// Yes.\nint add(int a);\n")


class Page(unittest.TestCase):
    def test_has_the_anchors_of_a_code_host(self):
        self.assertEqual(page("## A loop of one's own\n"), "## A loop of one's own {#some_a-loop-of-ones-own}\n")

    def test_links_to_headings_of_its_own_and_of_others(self):
        self.assertEqual(page("[here](#a-b) and [there](../other.md#c)\n"),
                         "[here](#some_a-b) and [there](#other_c)\n")

    def test_links_to_pages_as_they_are_and_to_no_other_file(self):
        self.assertEqual(page("[page](other.md), [licence](../../LICENSE), ![picture](a.svg)\n"),
                         "[page](other.md), licence, ![picture](a.svg)\n")

    def test_keeps_code(self):
        code = "```sh\n## no heading\n[ -s a ] (b)\n```\n"
        self.assertEqual(page(code), code)


if __name__ == "__main__":
    unittest.main()
