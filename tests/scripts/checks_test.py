#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Tests of the checks: each finds the faults that it is for."""

import os
import re
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

import check_decisions
import check_exports
import check_first_uses
import check_layering
import check_naming
import check_one_definition
import check_readme
import check_sizes

ROOT = Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "scripts"))
import mutate
import mutations


class Layering(unittest.TestCase):
    def complaints(self, place, text):
        return list(check_layering.check_file(place, text))

    def assertRefused(self, place, *lines):
        for line in lines:
            self.assertEqual(len(self.complaints(place, line)), 1, line)

    def test_knows_the_room_of_every_file(self):
        for place, room in (("src/service/SOAPCall.cpp", "service"),
                            ("src/platform/http/URL.cpp", "http"),
                            ("src/platform/http/curl/Transfer.cpp", "http/curl"),
                            ("src/platform/Backends.cpp", "backends"),
                            ("src/config/ORVAAccount.cpp", "entry"),
                            ("include/ORXAccount/platform/Coder.h", "formats"),
                            ("src/platform/Log.cpp", None),
                            ("src/http/URL.cpp", None),
                            ("include/ORXAccount/New.h", None)):
            self.assertEqual(check_layering.room_of(place), room, place)
        self.assertRefused("src/platform/Log.cpp", "")

    def test_allows_what_lies_below(self):
        self.assertEqual(
            self.complaints("src/login/X.cpp",
                            "#include <ORXAccount/ORVAAccountUser.h>\n#include <string>\n"
                            '#include "service/X.h"\n#include "platform/http/Y.h"'), [])

    def test_refuses_what_lies_above_or_beside(self):
        self.assertRefused("src/service/X.cpp", '#include "login/X.h"', '#include "user/X.h"')
        self.assertRefused("src/platform/process/X.h", '#include "config/X.h"',
                           '#include "platform/formats/X.h"')

    def test_reads_public_headers_as_files_of_their_rooms(self):
        self.assertRefused("src/platform/base/X.cpp", "#include <ORXAccount/ORVAAccountUser.h>",
                           "#include <ORXAccount/platform/Coder.h>",
                           "#include <ORXAccount/platform/Missing.h>")
        self.assertRefused("include/ORXAccount/platform/Value.h",
                           "#include <ORXAccount/platform/Coder.h>", '#include "config/X.h"')

    def test_lets_the_entry_point_alone_reach_the_user(self):
        user = "#include <ORXAccount/ORVAAccountUser.h>"
        self.assertEqual(self.complaints("src/config/ORVAAccount.cpp", user), [])
        self.assertRefused("src/config/Servers.cpp", user)
        self.assertRefused("src/config/ORVAAccount.cpp", '#include "login/LoginState.h"')

    def test_lets_only_the_list_of_backends_see_an_implementation(self):
        transfer = '#include "platform/http/curl/Transfer.h"'
        self.assertEqual(self.complaints("src/platform/Backends.cpp", transfer), [])
        self.assertEqual(self.complaints("src/platform/http/curl/MultiHandle.h", transfer), [])
        for place in ("src/platform/http/URL.cpp", "src/service/SOAPCall.cpp"):
            self.assertRefused(place, transfer)
        self.assertRefused("src/service/SOAPCall.cpp", '#include "platform/Backends.h"')

    def test_knows_each_vendor_in_one_room(self):
        curl = "#include <curl/curl.h>"
        self.assertEqual(self.complaints("src/platform/http/curl/EasyHandle.h", curl), [])
        for place in ("src/platform/http/URL.cpp", "src/service/SOAPCall.cpp",
                      "include/ORXAccount/platform/URL.h"):
            self.assertRefused(place, curl)
        self.assertRefused("src/platform/formats/XMLParser.h", "#include <expat.h>")
        expected = "#include <tl/expected.hpp>"
        self.assertEqual(self.complaints("src/platform/base/Result.h", expected), [])
        self.assertRefused("src/platform/base/Data.cpp", expected)
        self.assertRefused("src/platform/formats/XMLParser.cpp", "#include <unknown.h>",
                           "#include <platform/base/Unicode.h>")

    def test_finds_a_circle_over_headers_and_their_sources(self):
        texts = {"src/platform/base/A.h": '#include "platform/base/B.h"',
                 "src/platform/base/B.h": "",
                 "src/platform/base/B.cpp": '#include "platform/base/C.h"',
                 "src/platform/base/C.h": '#include "platform/base/A.h"'}
        self.assertEqual(list(check_layering.check_tree(texts)),
                         ["a circle of files: base/A, base/B, base/C"])
        texts["src/platform/base/B.cpp"] = ""
        self.assertEqual(list(check_layering.check_tree(texts)), [])

    def test_joins_a_public_header_with_its_source(self):
        def circle(one, other):
            return list(check_layering.check_circles({
                f"include/ORXAccount/platform/{one}.h": "",
                f"src/platform/base/{one}.cpp": f"#include <ORXAccount/platform/{other}.h>",
                f"include/ORXAccount/platform/{other}.h":
                    f"#include <ORXAccount/platform/{one}.h>"}))

        self.assertEqual(circle("Dictionary", "Value"), [])
        self.assertEqual(len(circle("Object", "Value")), 1)

    def test_keeps_private_names_out_of_the_exported_namespace(self):
        def complaints(text):
            return list(check_layering.check_namespaces("file", text))

        queue = "class OperationQueue final { void f() { g(); } };"
        self.assertEqual(complaints("namespace orx {\nclass URLSessionDataTask;\n%s\n}" % queue), [])
        self.assertEqual(complaints("namespace orx::platform {\nint x;\n}"), [])
        self.assertEqual(len(complaints("namespace orx {\n%s\nvoid f();\n}" % queue)), 1)
        self.assertEqual(len(complaints("namespace orx {\nclass Strand {};\n}")), 1)
        self.assertEqual(len(complaints("namespace orx::archive {\n}")), 1)

    def test_finds_an_upward_include_planted_in_the_tree(self):
        texts = check_layering.read("src", "include")
        before = set(check_layering.check_tree(texts))
        texts["src/platform/base/Data.cpp"] += '#include "platform/http/Transport.h"\n'
        new = set(check_layering.check_tree(texts)) - before
        self.assertTrue(any("base may not include http" in complaint for complaint in new), new)

    def test_finds_a_circle_planted_in_the_tree(self):
        texts = check_layering.read("src", "include")
        texts["src/platform/base/One.h"] = '#include "platform/base/Other.h"\n'
        texts["src/platform/base/Other.cpp"] = '#include "platform/base/One.h"\n'
        texts["src/platform/base/Other.h"] = ""
        self.assertIn("a circle of files: base/One, base/Other",
                      list(check_layering.check_tree(texts)))

    def test_refuses_private_headers_in_a_host(self):
        self.assertEqual(
            len(list(check_layering.check_host("file", '#include "platform/process/Log.h"'))), 1)


class Decisions(unittest.TestCase):
    known = check_decisions.tests_in("service", "TEST(A, B) {}\nTEST_P(A,\n       C) {}\n")

    def complaints(self, text):
        return list(check_decisions.check_text(text, self.known))

    def test_finds_tests_of_every_kind(self):
        self.assertEqual(self.known, {"service/A.B", "service/A.C"})

    def test_wants_a_test_on_every_line_that_decides(self):
        self.assertEqual(self.complaints("words\n- this. — `service/A.B`, `service/One/A.C`"), [])
        self.assertEqual(len(self.complaints("- this.")), 1)
        self.assertEqual(len(self.complaints("- `service/A.B` is no proof.")), 1)

    def test_refuses_tests_that_are_not_there(self):
        self.assertEqual(len(self.complaints("- this. — `service/A.X`, `user/A.B`")), 2)

    def test_refuses_patterns(self):
        self.assertEqual(len(self.complaints("- this. — `service/A.*`, `service/A.B*`")), 2)


class OneDefinition(unittest.TestCase):
    def complaints(self, *sources):
        return list(check_one_definition.check_programs(sources))

    def test_finds_two_types_of_one_name_in_a_program(self):
        text = "namespace n {\nstruct A : B {\n  struct C {};\n};\n}\n"
        self.assertEqual(len(self.complaints(("p", "1", text), ("p", "2", text))), 1)
        self.assertEqual(len(self.complaints(("p", "1", text), ("support", "2", text))), 1)

    def test_allows_them_in_two_programs_two_namespaces_or_none_that_has_a_name(self):
        text = "namespace n {\nclass A {};\n}\n"
        self.assertEqual(self.complaints(("p", "1", text), ("q", "2", text)), [])
        self.assertEqual(
            self.complaints(("p", "1", text), ("p", "2", text.replace("n {", "m {"))), [])
        self.assertEqual(
            self.complaints(("p", "1", text), ("p", "2", text.replace("n {", "{"))), [])

    def test_tells_a_nested_type_from_the_one_around_it(self):
        self.assertEqual(
            self.complaints(("p", "1", "struct A { int x; };"), ("p", "2", "struct A::B {};")), [])
        self.assertEqual(
            self.complaints(("p", "1", "struct A {};"), ("p", "2", "void f() { struct A {}; }")), [])


class Mutations(unittest.TestCase):
    def lines(self, text):
        return [mutant.new_line for mutant in mutations.mutants_of(text)]

    def test_turns_comparisons_and_moves_constants(self):
        self.assertEqual(
            self.lines("bool b = a < 10;\n"),
            ["bool b = a <= 10;", "bool b = a < 11;", "bool b = a < 9;"])

    def test_drops_branches_calls_and_results(self):
        self.assertEqual(
            self.lines("int f() {\n  if (a(b)) c();\n  return d;\n}\n"),
            ["if (false && (a(b))) c();", "if (true || (a(b))) c();", "if (a(b)) ;", "return {};"])

    def test_leaves_locks_untaken(self):
        self.assertEqual(self.lines("  const std::lock_guard lock(mutex);\n"), [";"])

    def test_touches_neither_comments_nor_texts_nor_directives(self):
        self.assertEqual(
            self.lines("#define A 1\n// a < 1\nchar c[] = \"a < 1\"; /* 2 */\n"), [])

    def test_puts_the_fault_where_it_says(self):
        text = "void f() {\n  x = y;\n  x = y + 1;\n}\n"
        faults = [mutant for mutant in mutations.mutants_of(text) if mutant.line == 3]
        self.assertIn(text.replace("y + 1", "y - 1"), [fault.applied_to(text) for fault in faults])


class Mutate(unittest.TestCase):
    def test_chooses_the_same_faults_for_the_same_seed(self):
        found = dict.fromkeys(("f", str(n), "") for n in range(50))
        for number, key in enumerate(found):
            found[key] = mutations.Mutant("", 1, number, number, "", "", "")
        first = mutate.chosen(found, 1, 10)
        self.assertEqual(first, mutate.chosen(found, 1, 10))
        self.assertNotEqual(first, mutate.chosen(found, 2, 10))
        fewer = {key: fault for key, fault in found.items() if key in first or fault.begin % 2}
        self.assertEqual(mutate.chosen(fewer, 1, 10), first)

    def test_knows_what_is_named_as_harmless(self):
        self.assertEqual(mutate.named_harmless("- `a.cpp`: `x < 1;` → `x <= 1;` — equal.\n- `b`\n"),
                         {("a.cpp", "x < 1;", "x <= 1;")})

    def test_knows_the_tests_of_every_source(self):
        for path in mutate.sources([]):
            self.assertTrue(mutate.programs_for(path), path)


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

    def test_keeps_private_names_inside(self):
        for private in ("orx::platform::Log::write()", "vtable for orx::platform::Reactor",
                        "orx::(anonymous namespace)::f()"):
            shown = [*check_exports.MUST_SHOW, private]
            self.assertEqual(len(list(check_exports.check_symbols(shown))), 1, private)

    def test_wants_each_function_of_the_c_header_under_its_version(self):
        header = "ORX_EXPORT const char* orx_a(const char* b);\nORX_EXPORT orx_e* orx_b(void);\n"
        shown = ["orx_a@@ORXACCOUNT_1.0", "orx_b@@ORXACCOUNT_1.0"]
        self.assertEqual(list(check_exports.check_c_symbols(shown, header)), [])
        self.assertEqual(len(list(check_exports.check_c_symbols(shown[1:], header))), 1)
        self.assertEqual(len(list(check_exports.check_c_symbols(["orx_a", shown[1]], header))), 2)
        self.assertEqual(len(list(check_exports.check_c_symbols([*shown, "orx_c"], header))), 1)

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

    def test_wants_each_object_of_the_process_tested(self):
        sources = [("Bundle", "static constinit ProcessWide<int> a;"), ("URL", "int b;")]
        self.assertEqual(len(list(check_first_uses.check_tested(sources, "URL::x()"))), 1)
        self.assertEqual(list(check_first_uses.check_tested(sources, "Bundle::x()")), [])


class Readme(unittest.TestCase):
    def test_compares_the_program_letter_by_letter(self):
        readme = "text\n```cpp\nint main() {}\n```\n"
        licence = "// SPDX-License-Identifier: MIT\n"
        self.assertEqual(list(check_readme.check_program(readme, licence + "int main() {}\n")), [])
        self.assertEqual(len(list(check_readme.check_program(readme, licence + "int main() { }\n"))), 1)

    def test_knows_commands_that_do_not_exist(self):
        usage = "  demo    walk\n  test    run\n"
        self.assertEqual(list(check_readme.check_commands("run `./dev demo`", usage)), [])
        self.assertEqual(len(list(check_readme.check_commands("run `./dev fly`", usage))), 1)


class Dev(unittest.TestCase):
    """./dev with other programs in the place of those that it runs."""

    def run_with(self, programs, *command):
        with tempfile.TemporaryDirectory() as folder:
            for name, script in programs.items():
                program = Path(folder, name)
                program.write_text(f"#!/bin/sh\n{script}\n", encoding="ascii")
                program.chmod(0o755)
            return subprocess.run(
                command, text=True, capture_output=True, cwd=ROOT,
                env={**os.environ, "PATH": f"{folder}:{os.environ['PATH']}", "PLACE": folder})

    def pattern_for(self, *arguments):
        done = self.run_with({"cmake": "echo http_tests: phony", "ctest": 'printf "<%s>" "$@"', "sudo": "true",
                              "apt-get": "true"}, "bash", "dev", "test", *arguments)
        self.assertEqual(done.returncode, 0, done.stderr)
        # ctest heeds the last -R alone.
        return done.stdout.rsplit("<-R>", 1)[1].split(">")[0].lstrip("<")

    def test_runs_the_tests_of_one_room_whose_name_matches(self):
        self.assertEqual(self.pattern_for("http"), "^http/")
        both = self.pattern_for("http", "-R", "Redirect|Proxy")
        for name, runs in (("http/Redirect.X", True), ("http/Proxy.X", True), ("http/URL.X", False),
                           ("service/Proxy.X", False)):
            self.assertEqual(bool(re.search(both, name)), runs, name)
        self.assertEqual(self.pattern_for("-R", "login/"), "login/")

    def test_names_the_rooms_where_a_name_is_none(self):
        programs = {"cmake": "printf '%s: phony\\n' base_tests user_tests user", "ctest": "exit 8", "sudo": "true",
                    "apt-get": "true"}
        done = self.run_with(programs, "bash", "dev", "test", "tools")
        self.assertEqual(done.returncode, 1, done.stderr)
        self.assertRegex(done.stderr, "there is no room tools .*rooms: base user\n$")

    def test_asks_for_git_before_it_copies_what_git_lists(self):
        programs = {"dpkg-query": 'shift 3; for p; do [ "$p" = git ] || echo "$p installed"; done',
                    "apt-get": "exit 7", "sudo": 'exec "$@"'}
        # What would run next, and for long.
        programs |= dict.fromkeys(("git", "cmake", "python3", "dpkg-parsechangelog"), "exit 8")
        for command in ("package", "compilers", "mutate", "check"):
            with self.subTest(command):
                done = self.run_with(programs, "bash", "dev", command)
                self.assertEqual(done.returncode, 7, done.stderr)
                self.assertIn("installing Debian packages: git\n", done.stdout)

    def test_compares_every_file_of_two_builds(self):
        script = ("set -eu; source scripts/compilers.sh; "
                  'if compare_two_folders "$PLACE/builds" >/dev/null; then echo same; fi')
        for differs in ("none", "liborxaccount.so.1.0.0", "liborxaccount.a"):
            compare = f'case $1 in *{differs}) exit 1 ;; esac'
            done = self.run_with({"cmake": "true", "git": "printf dev", "cmp": compare},
                                 "bash", "-c", script)
            self.assertEqual(done.stdout, "same\n" if differs == "none" else "", done.stderr)


if __name__ == "__main__":
    sys.exit(unittest.main())
