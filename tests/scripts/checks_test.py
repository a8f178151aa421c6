#!/usr/bin/env python3
"""The checks find what they are for."""

import sys
import unittest

import check_decisions
import check_exports
import check_first_uses
import check_layering
import check_naming
import check_readme
import check_sizes


class Layering(unittest.TestCase):
    def complaints(self, folder, text):
        return list(check_layering.check_source(folder, "file", text))

    def test_allows_what_lies_below(self):
        self.assertEqual(self.complaints("login", '#include "service/X.h"\n#include "user/Y.h"'), [])

    def test_refuses_what_lies_above_or_beside(self):
        self.assertEqual(len(self.complaints("service", '#include "login/X.h"')), 1)
        self.assertEqual(len(self.complaints("service", '#include "user/X.h"')), 1)
        self.assertEqual(len(self.complaints("platform", '#include "config/X.h"')), 1)

    def test_keeps_accounts_out_of_the_platform(self):
        self.assertEqual(
            len(self.complaints("platform", "#include <ORXAccount/ORVAAccountUser.h>")), 1)
        self.assertEqual(
            self.complaints("platform", "#include <ORXAccount/platform/Value.h>"), [])

    def test_refuses_vendors_in_public_headers_and_in_two_files(self):
        self.assertEqual(
            len(list(check_layering.check_public("file", "#include <curl/curl.h>", False))), 1)
        self.assertEqual(
            len(list(check_layering.check_vendors({"expat.h": ["a.cpp", "b.cpp"]}))), 1)
        self.assertEqual(list(check_layering.check_vendors({"expat.h": ["a.cpp"]})), [])
        self.assertEqual(
            len(list(check_layering.check_vendors(
                {"curl/curl.h": ["src/platform/TransferEngine.cpp", "src/service/SOAPCall.cpp"]}))),
            1)

    def test_refuses_private_headers_in_a_host(self):
        self.assertEqual(
            len(list(check_layering.check_host("file", '#include "platform/Log.h"'))), 1)


class Decisions(unittest.TestCase):
    known = check_decisions.tests_in("service", "TEST(A, B) {}\nTEST_P(A,\n       C) {}\n")

    def complaints(self, text):
        return list(check_decisions.check_text(text, self.known))

    def test_finds_tests_of_every_kind(self):
        self.assertEqual(self.known, {"service/A.B", "service/A.C"})

    def test_wants_a_test_on_every_line_that_decides(self):
        self.assertEqual(self.complaints("words\n- this. — `service/A.B`, `service/One/A.*`"), [])
        self.assertEqual(len(self.complaints("- this.")), 1)
        self.assertEqual(len(self.complaints("- `service/A.B` is no proof.")), 1)

    def test_refuses_tests_that_are_not_there(self):
        self.assertEqual(len(self.complaints("- this. — `service/A.X`, `user/A.B`")), 2)


class Naming(unittest.TestCase):
    def complaints(self, declaration):
        return list(check_naming.check_text("class Thing {\n public:\n  %s\n};" % declaration))

    def test_counts_words_and_parameters(self):
        self.assertEqual(self.complaints("void a_b(std::map<int, int> x, int y);"), [])
        self.assertEqual(len(self.complaints("void a_b(int x);")), 1)
        self.assertEqual(len(self.complaints("void a(int x, int y);")), 1)
        self.assertEqual(len(self.complaints("static std::shared_ptr<int> a_b();")), 1)

    def test_sees_operations_behind_inline_bodies_and_defaults(self):
        self.assertEqual(
            len(self.complaints("int x() const { return x_; }\n  void bad_name(int a);")), 1)

    def test_ignores_what_is_private(self):
        self.assertEqual(self.complaints("int x();\n private:\n  void a_b();"), [])

    def test_wants_a_getter_for_each_setter(self):
        self.assertEqual(len(self.complaints("void setName(int name);")), 1)
        self.assertEqual(self.complaints("int name() const;\n  void setName(int name);"), [])

    def test_reads_names_as_keywords(self):
        self.assertEqual(len(self.complaints("void a__b(int x, int y, int z);")), 1)


class Sizes(unittest.TestCase):
    def complaints(self, text):
        return list(check_sizes.check_text("file", text, True))

    def test_measures_functions_inside_scopes(self):
        long = "namespace n {\nclass C {\n  void f() {\n" + "    g();\n" * 60 + "  }\n};\n}\n"
        self.assertEqual(len(self.complaints(long)), 1)
        self.assertEqual(self.complaints(long.replace("    g();\n" * 3, "", 1)), [])

    def test_is_not_misled_by_braces_in_text(self):
        self.assertEqual(self.complaints('void f() { g("{"); }\nvoid h() { g(\'{\'); }\n'), [])

    def test_does_not_count_the_rows_of_a_table(self):
        self.assertEqual(self.complaints("void f() {\n" + "    {kA, \"a\"},\n" * 80 + "}\n"), [])

    def test_measures_files(self):
        self.assertEqual(len(self.complaints("int x;\n" * 401)), 1)


class Exports(unittest.TestCase):
    def test_shows_the_namespace_alone(self):
        self.assertEqual(list(check_exports.check_symbols(list(check_exports.MUST_SHOW))), [])
        more = [*check_exports.MUST_SHOW, "std::vector<int>::push_back(int&&)"]
        self.assertEqual(len(list(check_exports.check_symbols(more))), 1)
        self.assertEqual(len(list(check_exports.check_symbols(check_exports.MUST_SHOW[1:]))), 1)

    def test_refuses_desktop_libraries(self):
        self.assertEqual(
            len(list(check_exports.check_libraries(["libglib-2.0.so.0 => /lib/x (0x1)"]))), 1)

    def test_wants_a_library_that_stays(self):
        self.assertEqual(list(check_exports.check_flags("(FLAGS_1) Flags: NODELETE")), [])
        self.assertEqual(len(list(check_exports.check_flags("(FLAGS_1) Flags: NOW"))), 1)


class FirstUses(unittest.TestCase):
    def test_finds_what_the_compiler_guards(self):
        symbols = ["0000 b guard variable for orx::Bundle::mainBundle()::bundle",
                   "0000 b guard variable for std::locale::classic()::it",
                   "0000 b orx::Bundle::mainBundle()::bundle"]
        self.assertEqual(len(list(check_first_uses.check_symbols(symbols))), 1)
        self.assertEqual(list(check_first_uses.check_symbols(symbols[1:])), [])


class Readme(unittest.TestCase):
    def test_compares_the_program_letter_by_letter(self):
        readme = "text\n```cpp\nint main() {}\n```\n"
        self.assertEqual(list(check_readme.check_program(readme, "int main() {}\n")), [])
        self.assertEqual(len(list(check_readme.check_program(readme, "int main() { }\n"))), 1)

    def test_knows_commands_that_do_not_exist(self):
        usage = "  demo    walk\n  test    run\n"
        self.assertEqual(list(check_readme.check_commands("run `./dev demo`", usage)), [])
        self.assertEqual(len(list(check_readme.check_commands("run `./dev fly`", usage))), 1)


if __name__ == "__main__":
    sys.exit(unittest.main())
