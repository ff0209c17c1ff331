import random
import unittest

from nexargen.errors import DescriptionError
from nexargen.parser import MAX_TYPE_DEPTH, parse

# One service that uses every construct of the grammar; line numbers below refer to it.
SERVICE = """\
// Virtual drives, described with every construct the format has.
service com.quarn.nexar.storage.policies.VM {
  class Storage::Policies::VmSvc;
  resource_type "com.quarn.nexar.storage.policies.Vm";
  definition_name "VM";

  enum BackingType { ISO_FILE, HOST_DEVICE, CLIENT_DEVICE, }

  // A drive; `type` picks the backing.
  struct BackingInfo wire "backing" {
    enum Mode { PERSISTENT, NONPERSISTENT }

    type: BackingType;
    iso_file: optional<string> when type is ISO_FILE required;  // path on a datastore
    device: optional<string> when type is HOST_DEVICE, CLIENT_DEVICE;
    size_MiB: long;
    mode: optional<Mode>;
    all: map<string, list<set<optional<id<VirtualMachine | com.quarn.nexar.storage.policies.Vm>>>>>;
    scalars: list<uri>;
    flags: set<bool>;
    ratio: double;
    password: secret;
    created: datetime;
    blob: binary;
    anything: dynamic_structure;
    failure: dynamic_error;
    status: com.quarn.cis.task.Status;
  }

  resource_types { Drive, Slot, }

  op list() -> list<BackingInfo>;
  op get(vm: id<VirtualMachine>,
         drive: id<Drive>) -> BackingInfo
      errors Error, opax.std.errors.NotFound;
  task op wipe(drive: id<Drive>) -> void;
  op update(drive: id<Drive>, spec: BackingInfo) -> void also task errors Error;
}
"""

PACKAGE = """\
// Shared structures.
package com.quarn.nexar.vm.hardware {
  enum ConnectionState { CONNECTED, RECOVERABLE_ERROR }
  struct IdeAddressInfo { primary: bool; master: bool; }
  error NotFound { messages: list<LocalizableMessage>; }
  resource_types { VirtualMachine }
}
"""


def parse_text(text, rel="f"):
    return parse(f"{rel}.idl", rel, text)


class ConstructsTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.unit = parse_text(SERVICE, "storage/policies/vm")

    def test_service_and_settings(self):
        u = self.unit
        self.assertEqual((u.kind, u.dotted, u.line), ("service", "com.quarn.nexar.storage.policies.VM", 2))
        self.assertEqual(u.class_path, ["Storage", "Policies", "VmSvc"])
        self.assertEqual(u.resource_type, "com.quarn.nexar.storage.policies.Vm")
        self.assertEqual(u.definition_name, "VM")
        self.assertEqual(u.summary, "Virtual drives, described with every construct the format has.")
        self.assertEqual(u.resource_types, ["Drive", "Slot"])

    def test_enumerations_keep_order_and_allow_a_trailing_comma(self):
        (enum,) = self.unit.enums
        self.assertEqual(enum.values, ["ISO_FILE", "HOST_DEVICE", "CLIENT_DEVICE"])
        self.assertEqual(enum.value_lines, [7, 7, 7])
        (struct,) = self.unit.structs
        self.assertEqual([(e.name, e.values, e.line) for e in struct.enums],
                         [("Mode", ["PERSISTENT", "NONPERSISTENT"], 11)])

    def test_structure_fields_and_cases(self):
        (s,) = self.unit.structs
        self.assertEqual((s.name, s.wire, s.line, s.is_error), ("BackingInfo", "backing", 10, False))
        fields = {f.name: f for f in s.fields}
        self.assertEqual(list(fields)[:4], ["type", "iso_file", "device", "size_MiB"])
        iso = fields["iso_file"].case
        self.assertEqual((iso.tag, iso.values, iso.required, iso.line), ("type", ["ISO_FILE"], True, 14))
        device = fields["device"].case
        self.assertEqual((device.values, device.required), (["HOST_DEVICE", "CLIENT_DEVICE"], False))
        self.assertIsNone(fields["type"].case)
        self.assertEqual(fields["status"].type.name, "com.quarn.cis.task.Status")
        self.assertEqual([fields[n].type.args[0].kind for n in ["scalars", "flags"]], ["uri", "bool"])
        self.assertEqual([fields[n].type.kind for n in ["ratio", "password", "created", "blob", "anything", "failure"]],
                         ["double", "secret", "datetime", "binary", "dynamic_structure", "dynamic_error"])

    def test_nested_containers_and_identifiers(self):
        t = next(f for f in self.unit.structs[0].fields if f.name == "all").type
        kinds = []
        while t.args:
            kinds.append(t.kind)
            if t.kind == "map":
                self.assertEqual(t.args[0].kind, "string")
            t = t.args[-1]
        self.assertEqual(kinds, ["map", "list", "set", "optional"])
        self.assertEqual((t.kind, t.resources), ("id", ["VirtualMachine", "com.quarn.nexar.storage.policies.Vm"]))

    def test_operations(self):
        ops = {op.name: op for op in self.unit.operations}
        self.assertEqual(list(ops), ["list", "get", "wipe", "update"])
        self.assertEqual((ops["list"].params, ops["list"].result.kind), ([], "list"))
        get = ops["get"]
        self.assertEqual([(p.name, p.line) for p in get.params], [("vm", 33), ("drive", 34)])
        self.assertEqual(get.result.name, "BackingInfo")
        self.assertEqual(get.errors, ["Error", "opax.std.errors.NotFound"])
        self.assertEqual(get.error_lines, [35, 35])
        self.assertTrue(ops["wipe"].task_only and not ops["wipe"].also_task)
        self.assertEqual(ops["wipe"].result.kind, "void")
        update = ops["update"]
        self.assertTrue(update.also_task and not update.task_only)
        self.assertEqual(update.errors, ["Error"])

    def test_package(self):
        u = parse_text(PACKAGE, "vm/hardware/common")
        self.assertEqual((u.kind, u.dotted), ("package", "com.quarn.nexar.vm.hardware"))
        self.assertEqual([s.name for s in u.structs], ["IdeAddressInfo", "NotFound"])
        self.assertTrue(u.structs[1].is_error)
        self.assertEqual(u.resource_types, ["VirtualMachine"])
        self.assertEqual([s.line for s in u.structs], [4, 5])


class CommentAndSummaryTest(unittest.TestCase):
    def test_comments_hide_everything_to_the_end_of_the_line(self):
        u = parse_text('// s\npackage p { // struct Hidden { x: string; }\n'
                       '  struct A { x: string; } // }\n  // "unterminated\n}\n')
        self.assertEqual([s.name for s in u.structs], ["A"])

    def test_a_string_may_hold_slashes(self):
        u = parse_text('// s\nservice com.quarn.nexar.a { resource_type "a//b"; }')
        self.assertEqual(u.resource_type, "a//b")

    def test_summary_is_the_first_written_line(self):
        for text, summary in [
            ("// Drives.\n// More.\npackage p {}", "Drives."),
            ("\n\n   //   Padded.  \npackage p {}", "Padded."),
            ("package p {} // Not a summary.", ""),
            ("package p {\n// Inside.\n}", ""),
            ("//\n// Second line.\npackage p {}", ""),
            ("// Windows.\r\npackage p {\r\n}\r\n", "Windows."),
        ]:
            self.assertEqual(parse_text(text).summary, summary, repr(text))

    def test_line_numbers_count_comment_and_crlf_lines(self):
        u = parse_text("// s\r\n// t\r\npackage p {\r\n\r\n  struct A { x: string; }\r\n}\r\n")
        self.assertEqual(u.structs[0].line, 5)


class SyntaxErrorTest(unittest.TestCase):
    def assertError(self, text, line, fragment):
        with self.assertRaises(DescriptionError) as caught:
            parse_text(text)
        e = caught.exception
        self.assertEqual((e.path, e.line), ("f.idl", line), f"{e} for {text!r}")
        self.assertIn(fragment, e.message)
        self.assertTrue(str(e).startswith(f"f.idl:{line}: "))

    def test_missing_semicolon_is_reported_where_it_belongs(self):
        self.assertError("// s\npackage p {\n  struct A {\n    x: string\n  }\n}\n", 4, "expected ';'")
        self.assertError("// s\npackage p {\n  struct A {\n    x: string\n\n    y: long;\n  }\n}\n", 4,
                         "expected ';'")
        self.assertError("// s\nservice com.quarn.nexar.a {\n  op get() -> string\n      errors Error\n"
                         "  op set() -> void;\n}\n", 4, "expected ';'")
        self.assertError('// s\nservice com.quarn.nexar.a {\n  resource_type "x"\n}\n', 3, "expected ';'")

    def test_missing_closing_brace_points_at_the_last_written_line(self):
        self.assertError("// s\npackage p {\n  struct A { x: string; }\n", 3, "missing '}'")
        self.assertError("// s\npackage p {\n  struct A {\n    x: string;\n\n\n", 4, "missing '}' at the end of A")
        self.assertError("// s\npackage p {\n  enum E { A, B\n// trailing note\n", 4, "expected '}'")

    def test_bad_tokens(self):
        self.assertError('// s\nservice com.quarn.nexar.a {\n  resource_type "abc;\n}\n', 3, "unterminated string")
        self.assertError('// s\nservice com.quarn.nexar.a {\n  resource_type "ab\\c";\n}\n', 3, "'\\'")
        self.assertError("// s\npackage p {\n  struct A {\n    x: string; @\n  }\n}\n", 4, "unexpected character '@'")
        self.assertError("// s\npackage p {\n  struct A { x: list<string>; }\n  # note\n}\n", 4, "'#'")
        self.assertError("// s\npackage p {\n  enum E { A, 2B }\n}\n", 3, "'2'")

    def test_misplaced_constructs(self):
        self.assertError("// s\nmodule p {}\n", 2, "starts with 'service' or 'package'")
        self.assertError("// s\npackage p {\n  class A::B;\n}\n", 3, "unexpected 'class' in a package")
        self.assertError("// s\npackage p {\n  op get() -> void;\n}\n", 3, "unexpected 'op' in a package")
        self.assertError("// s\npackage p {\n}\npackage q {\n}\n", 4, "nothing may follow")
        self.assertError("// s\npackage p {\n  enum E { }\n}\n", 3, "expected an enumeration value")
        self.assertError("// s\npackage p {\n  enum E { A B }\n}\n", 3, "expected '}'")
        self.assertError("// s\npackage p {\n  resource_types { }\n}\n", 3, "expected a resource type")
        self.assertError("// s\nservice com.quarn.nexar.a {\n  op get(a: long,) -> void;\n}\n", 3,
                         "expected a parameter name")
        self.assertError("// s\nservice com.quarn.nexar.a {\n  op get() -> string also errors E;\n}\n", 3,
                         "expected 'task'")
        self.assertError("// s\nservice com.quarn.nexar.a {\n  op get() -> string errors;\n}\n", 3,
                         "expected an error name")

    def test_bad_types(self):
        self.assertError("// s\npackage p {\n  struct A {\n    m: map<long, string>;\n  }\n}\n", 4,
                         "map keys are strings")
        self.assertError("// s\npackage p {\n  struct A {\n    m: map<optional<string>, string>;\n  }\n}\n", 4,
                         "map keys are strings")
        self.assertError("// s\npackage p {\n  struct A {\n    m: map<string>;\n  }\n}\n", 4, "expected ','")
        self.assertError("// s\npackage p {\n  struct A {\n    i: id<>;\n  }\n}\n", 4, "expected a resource type")
        self.assertError("// s\npackage p {\n  struct A {\n    l: list<string;\n  }\n}\n", 4, "expected '>'")
        self.assertError("// s\npackage p {\n  struct A {\n    x: ;\n  }\n}\n", 4, "expected a type")

    def test_nesting_is_bounded(self):
        ok = "list<" * MAX_TYPE_DEPTH + "string" + ">" * MAX_TYPE_DEPTH
        parse_text(f"// s\npackage p {{ struct A {{ x: {ok}; }} }}")
        deep = "optional<" * 5000 + "string" + ">" * 5000
        self.assertError(f"// s\npackage p {{\n  struct A {{ x: {deep}; }}\n}}\n", 3, "nest at most")


class GarbledInputTest(unittest.TestCase):
    """Whatever a file holds, the parser answers with a DescriptionError on one of its lines."""

    def assertOnlyDescriptionErrors(self, text):
        try:
            parse_text(text)
        except DescriptionError as e:
            last = max(1, len(text.splitlines()))
            self.assertTrue(1 <= e.line <= last, f"line {e.line} of {last} for {text!r}")
        except Exception as e:  # noqa: BLE001: the point is that nothing else escapes
            self.fail(f"{type(e).__name__}: {e} for {text!r}")

    def test_every_prefix(self):
        end = SERVICE.rstrip().rfind("}")
        for n in range(len(SERVICE) + 1):
            self.assertOnlyDescriptionErrors(SERVICE[:n])
            if n <= end:
                with self.assertRaises(DescriptionError):
                    parse_text(SERVICE[:n])

    def test_random_deletions_and_insertions(self):
        rng = random.Random(20240611)
        noise = "{}()<>,;:|.\"/\\@#\n\t\r\x00é\u2028 ab_9$"
        for _ in range(1500):
            chars = list(SERVICE)
            for _ in range(rng.randint(1, 8)):
                at = rng.randrange(len(chars))
                if rng.random() < 0.6:
                    del chars[at]
                else:
                    chars.insert(at, rng.choice(noise))
            self.assertOnlyDescriptionErrors("".join(chars))

    def test_shuffled_lines(self):
        rng = random.Random(7)
        lines = SERVICE.splitlines(keepends=True)
        for _ in range(300):
            rng.shuffle(lines)
            self.assertOnlyDescriptionErrors("".join(lines[: rng.randint(1, len(lines))]))


if __name__ == "__main__":
    unittest.main()
