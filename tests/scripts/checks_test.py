#!/usr/bin/env python3
"""The checks find what they are for."""

import sys
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

sys.path.insert(0, str(Path(__file__).resolve().parents[2] / "scripts"))
import mutate
import mutations


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
        self.assertEqual(list(check_readme.check_program(readme, "int main() {}\n")), [])
        self.assertEqual(len(list(check_readme.check_program(readme, "int main() { }\n"))), 1)

    def test_knows_commands_that_do_not_exist(self):
        usage = "  demo    walk\n  test    run\n"
        self.assertEqual(list(check_readme.check_commands("run `./dev demo`", usage)), [])
        self.assertEqual(len(list(check_readme.check_commands("run `./dev fly`", usage))), 1)


if __name__ == "__main__":
    sys.exit(unittest.main())
