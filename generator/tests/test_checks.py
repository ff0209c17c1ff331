import unittest

from nexargen import naming
from nexargen.catalog import Catalog
from nexargen.model import Enum, Struct
from nexargen.parser import parse

# A small catalogue in the shape of the real one: standard errors, the std package, the root
# package with its resource types, and a hardware package that services below it share.
BASE = [
    ("opax/std", "errors", """\
// Standard errors.
package com.quarn.opax.std.errors {
  error Error { messages: list<string>; }
  error NotFound { messages: list<string>; }
  error Unauthenticated { messages: list<string>; }
}
"""),
    ("opax/std", "std", """\
// Standard values.
package com.quarn.opax.std {
  struct DynamicID wire "dynamic_id" { type: string; id: string; }
}
"""),
    ("idl", "nexar", """\
// Types of no single service.
package com.quarn.nexar {
  enum State { ON, OFF }
  struct Credential {
    enum Type { USERNAME_PASSWORD, SAML_TOKEN }
    type: Type;
    saml_token: optional<secret> when type is SAML_TOKEN required;
  }
  resource_types { VirtualMachine, HostSystem, }
}
"""),
    ("idl", "vm/hardware/common", """\
// Shared hardware structures.
package com.quarn.nexar.vm.hardware {
  enum State { CONNECTED, NOT_CONNECTED }
  struct IdeAddressInfo { primary: bool; }
}
"""),
]


def service(service_id, body, rel=None, summary="// A service.\n"):
    """A service description below idl/ whose body starts on line 3; it lives where its id says unless told."""
    rel = rel or naming.service_relative_path(service_id)
    return "idl", rel, f"{summary}service {service_id} {{\n{body}\n}}\n"


def build(*files):
    """Checks the base catalogue plus `files`, each (root, path below the root, text)."""
    units = [parse(f"{root}/{rel}.idl", rel, text) for root, rel, text in BASE + list(files)]
    cat = Catalog(units)
    return cat, units, cat.check().errors


class CheckTest(unittest.TestCase):
    def errors(self, *files):
        return [(e.path, e.line, e.message) for e in build(*files)[2]]

    def assertErrors(self, files, expected):
        """`expected`: (path, line, fragment) for every error, in the order they are found."""
        found = self.errors(*files)
        self.assertEqual(len(found), len(expected), "\n".join(f"{p}:{n}: {m}" for p, n, m in found))
        for (path, line, message), (want_path, want_line, fragment) in zip(found, expected):
            self.assertEqual((path, line), (want_path, want_line), message)
            self.assertIn(fragment, message)

    def test_a_sound_catalogue_has_no_errors(self):
        self.assertErrors([service("com.quarn.nexar.vm.hardware.cdrom", """\
  resource_type "com.quarn.nexar.vm.hardware.Cdrom";
  struct Info {
    state: State;
    ide: optional<IdeAddressInfo>;
    owner: optional<opax.std.DynamicID>;
    cdrom: id<com.quarn.nexar.vm.hardware.Cdrom | VirtualMachine>;
  }
  op get(vm: id<VirtualMachine>) -> Info errors Error, NotFound;
  op connect(vm: id<VirtualMachine>) -> void also task errors com.quarn.opax.std.errors.Error;""")], [])


class UnknownAndDuplicateTest(CheckTest):
    def test_unknown_types_are_reported_where_written(self):
        self.assertErrors([service("com.quarn.nexar.a", """\
  struct A {
    x: Missing;
    y: map<string,
           list<AlsoMissing>>;
  }
  op get(p: Gone) -> Nowhere;""")], [
            ("idl/a.idl", 4, "unknown type 'Missing'"),
            ("idl/a.idl", 6, "unknown type 'AlsoMissing'"),
            ("idl/a.idl", 8, "unknown type 'Gone'"),
            ("idl/a.idl", 8, "unknown type 'Nowhere'"),
        ])

    def test_duplicate_types(self):
        self.assertErrors([service("com.quarn.nexar.a", """\
  enum A { X }
  struct A { x: string; }
  struct B {
    enum E { X }
    enum E { Y }
  }""")], [
            ("idl/a.idl", 4, "duplicate name 'A'"),
            ("idl/a.idl", 7, "duplicate name 'E'"),
        ])

    def test_duplicate_types_across_files_of_one_package(self):
        self.assertErrors([("idl", "more", "// More root types.\npackage com.quarn.nexar {\n\n  struct Credential {}\n}\n")],
                          [("idl/more.idl", 4, "duplicate name 'Credential' in com.quarn.nexar")])

    def test_duplicate_service(self):
        self.assertErrors([service("com.quarn.nexar.a", ""), service("com.quarn.nexar.a", "", rel="b")], [
            ("idl/b.idl", 2, "also described in idl/a.idl"),
            ("idl/b.idl", 2, "belongs in 'a.idl'"),
        ])

    def test_duplicate_members(self):
        self.assertErrors([service("com.quarn.nexar.a", """\
  enum E {
    X,
    Y,
    X,
  }
  struct S {
    size_MiB: long;
    size_mi_b: long;
    x: long;
    x: string;
  }
  op get(a: long, b: long,
         a: string) -> void;
  op get() -> void;
  task op move() -> void;
  op move_task() -> void;""")], [
            ("idl/a.idl", 6, "value 'X' of E is reserved or repeated"),
            ("idl/a.idl", 10, "'size_MiB' and 'size_mi_b' have the same accessor 'sizeMiB'"),
            ("idl/a.idl", 12, "duplicate field 'x' in S"),
            ("idl/a.idl", 15, "duplicate parameter 'a' of 'get'"),
            ("idl/a.idl", 16, "duplicate operation 'get'"),
            ("idl/a.idl", 18, "'move' and 'move_task' have the same blocking method 'MoveTask'"),
        ])

    def test_names_that_break_the_case_rules(self):
        self.assertErrors([service("com.quarn.nexar.a", """\
  enum state {
    On,
    _UNKNOWN,
  }
  struct info { Size: long; }
  op Get(Vm: long) -> void;""")], [
            ("idl/a.idl", 3, "enumeration name 'state'"),
            ("idl/a.idl", 4, "'On' of state is not UPPER_SNAKE_CASE"),
            ("idl/a.idl", 5, "'_UNKNOWN' of state is not UPPER_SNAKE_CASE"),
            ("idl/a.idl", 5, "'_UNKNOWN' of state is reserved"),
            ("idl/a.idl", 7, "structure name 'info'"),
            ("idl/a.idl", 7, "field name 'Size'"),
            ("idl/a.idl", 8, "operation name 'Get'"),
            ("idl/a.idl", 8, "parameter name 'Vm'"),
        ])

    def test_void_is_only_a_result(self):
        self.assertErrors([service("com.quarn.nexar.a", """\
  struct S {
    nothing: void;
    many: list<void>;
  }
  op put(v: void) -> optional<void>;
  op ok() -> void;""")], [
            ("idl/a.idl", 4, "void is only a result type"),
            ("idl/a.idl", 5, "void is only a result type"),
            ("idl/a.idl", 7, "void is only a result type"),
            ("idl/a.idl", 7, "void is only a result type"),
        ])


class UnionTest(CheckTest):
    def test_cases_check_their_tag(self):
        self.assertErrors([service("com.quarn.nexar.a", """\
  enum Kind { DISK, CDROM }
  struct S {
    kind: optional<Kind>;
    label: string;
    disk: optional<string> when kind is DISK, FLOPPY required;
    by_label: optional<string> when label is DISK;
    by_nothing: optional<string> when missing is DISK;
    cdrom: string when kind is CDROM;
    sub: optional<Kind> when kind is DISK;
    x: optional<long> when sub is CDROM;
  }""")], [
            ("idl/a.idl", 7, "names 'FLOPPY', which Kind does not have"),
            ("idl/a.idl", 8, "the tag 'label' of S is not an enumeration"),
            ("idl/a.idl", 9, "names the tag 'missing', which S does not have"),
            ("idl/a.idl", 10, "union case field 'cdrom' must be optional"),
            ("idl/a.idl", 12, "the tag 'sub' of S is itself a union case"),
        ])

    def test_a_tag_of_unknown_type_is_reported_once(self):
        self.assertErrors([service("com.quarn.nexar.a", """\
  struct S {
    kind: optional<Kynd>;
    a: optional<long> when kind is A;
    b: optional<long> when kind is B;
  }""")], [("idl/a.idl", 4, "unknown type 'Kynd'")])

    def test_a_tag_may_be_a_struct_enum_or_an_outer_one(self):
        self.assertErrors([service("com.quarn.nexar.a", """\
  struct S {
    enum Kind { A, B }
    kind: Kind;
    state: com.quarn.nexar.State;
    a: optional<long> when kind is A;
    on: optional<long> when state is ON required;
  }""")], [])

    def test_a_tag_keeps_to_one_bit_per_value(self):
        values = ", ".join(f"V{i}" for i in range(64))
        self.assertErrors([service("com.quarn.nexar.a", f"""\
  enum Wide {{ {values} }}
  struct S {{
    kind: Wide;
    a: optional<long> when kind is V63;
  }}""")], [("idl/a.idl", 6, "more than 63 values")])


class ReferenceTest(CheckTest):
    def test_identifiers_name_declared_resource_types(self):
        self.assertErrors([
            service("com.quarn.nexar.a", '  resource_type "com.quarn.nexar.A";'),
            service("com.quarn.nexar.b", """\
  struct S {
    mine: id<com.quarn.nexar.A | HostSystem>;
    theirs: optional<list<id<VirtualMachine | Cluster>>>;
  }
  op get(x: id<com.quarn.nexar.a>) -> void;"""),
        ], [
            ("idl/b.idl", 5, "unknown resource type 'Cluster'"),
            ("idl/b.idl", 7, "unknown resource type 'com.quarn.nexar.a'"),
        ])

    def test_declared_errors_are_standard_errors(self):
        self.assertErrors([service("com.quarn.nexar.a", """\
  struct Failure { x: string; }
  op get() -> void
      errors Error, NotFound,
             NotFund, Failure;
  op put() -> void errors Error, com.quarn.opax.std.errors.Error;""")], [
            ("idl/a.idl", 6, "'NotFund' is not a standard error"),
            ("idl/a.idl", 6, "'Failure' is not a standard error"),
            ("idl/a.idl", 7, "error 'com.quarn.opax.std.errors.Error' is declared twice by 'put'"),
        ])

    def test_errors_are_not_field_types_of_a_service(self):
        self.assertErrors([service("com.quarn.nexar.a", "  struct S {\n    e: optional<opax.std.errors.NotFound>;\n  }")],
                          [("idl/a.idl", 4, "is an error; fields hold errors as dynamic_error")])

    def test_task_only_operations_have_no_second_task_form(self):
        self.assertErrors([service("com.quarn.nexar.a", "\n  task op run() -> void also task;")],
                          [("idl/a.idl", 4, "task-only and cannot also have a task form")])


class ServiceNamingTest(CheckTest):
    def test_ids_keep_the_naming_rule(self):
        self.assertErrors([
            service("com.quarn.nexar.vm.hardware.Cdrom", "", rel="vm/hardware/cdrom"),
            service("com.quarn.nexar.VM.disks", "", rel="vm/disks"),
            service("org.example.vm", "", rel="vm"),
        ], [
            ("idl/vm/hardware/cdrom.idl", 2, "breaks the naming rule at 'Cdrom'"),
            ("idl/vm/disks.idl", 2, "breaks the naming rule at 'VM'"),
            ("idl/vm.idl", 2, "starts with 'com.quarn.nexar.'"),
        ])

    def test_a_service_lives_where_its_id_says(self):
        self.assertErrors([
            service("com.quarn.nexar.storage.policies.VM", ""),
            service("com.quarn.nexar.tags.vm", ""),
            service("com.quarn.nexar.vm.hardware.cdrom", "", rel="vm/cdrom"),
            service("com.quarn.nexar.compute.policies.VM", "", rel="compute/policies/VM"),
        ], [
            ("idl/vm/cdrom.idl", 2, "belongs in 'vm/hardware/cdrom.idl', not 'vm/cdrom.idl'"),
            ("idl/compute/policies/VM.idl", 2, "belongs in 'compute/policies/vm.idl'"),
        ])

    def test_a_class_setting_must_name_the_class_the_id_gives(self):
        self.assertErrors([
            service("com.quarn.nexar.storage.policies.VM", "  class Storage::Policies::VmSvc;"),
            service("com.quarn.nexar.compute.policies.VM", "\n  class Compute::Policies::VMSvc;"),
            service("com.quarn.nexar.tags.vm", "  class Tags::Vm;"),
        ], [
            ("idl/compute/policies/vm.idl", 4, "class 'Compute::Policies::VMSvc' is not the class the id names: "
                                               "'Compute::Policies::VmSvc'"),
            ("idl/tags/vm.idl", 3, "class 'Tags::Vm' is not"),
        ])

    def test_every_file_starts_with_its_summary(self):
        self.assertErrors([
            service("com.quarn.nexar.a", "", summary=""),
            service("com.quarn.nexar.b", "", summary="\n\n"),
            service("com.quarn.nexar.c", "", summary="//\n"),
            ("idl", "p", "package com.quarn.nexar.p { // Too late.\n}\n"),
        ], [
            ("idl/a.idl", 1, "the first line must be a '//' comment"),
            ("idl/b.idl", 1, "the first line must be a '//' comment"),
            ("idl/c.idl", 1, "the first line must be a '//' comment"),
            ("idl/p.idl", 1, "the first line must be a '//' comment"),
        ])


class ResolutionTest(unittest.TestCase):
    def resolve(self, *files):
        cat, units, errors = build(*files)
        self.assertEqual([str(e) for e in errors], [])
        unit = units[-1]
        found = {}
        for struct in unit.structs:
            for field in struct.fields:
                t = field.type
                while t.args:
                    t = t.args[-1]
                found[field.name] = t.target
        return cat, found

    def test_innermost_scope_wins(self):
        cat, found = self.resolve(service("com.quarn.nexar.vm.hardware.cdrom", """\
  enum State { PLUGGED }
  struct Info {
    enum State { INSIDE }
    own: State;
    qualified: cdrom.State;
    shared: IdeAddressInfo;
  }
  struct Other {
    service_level: State;
    package_level: hardware.State;
    root_level: nexar.State;
    credential_type: optional<Credential.Type>;
  }"""))
        values = {name: (t.values if isinstance(t, Enum) else t.name) for name, t in found.items()}
        self.assertEqual(values, {
            "own": ["INSIDE"],
            "qualified": ["PLUGGED"],
            "service_level": ["PLUGGED"],
            "shared": "IdeAddressInfo",
            "package_level": ["CONNECTED", "NOT_CONNECTED"],
            "root_level": ["ON", "OFF"],
            "credential_type": ["USERNAME_PASSWORD", "SAML_TOKEN"],
        })
        self.assertIs(found["shared"], cat.types["com.quarn.nexar.vm.hardware.IdeAddressInfo"])

    def test_dotted_references_are_tried_under_each_enclosing_scope(self):
        cat, found = self.resolve(service("com.quarn.nexar.authorization.vt_containers.mappings", """\
  struct Info {
    brief: opax.std.DynamicID;
    full: com.quarn.opax.std.DynamicID;
    in_list: list<optional<opax.std.DynamicID>>;
  }"""))
        dynamic_id = cat.types["com.quarn.opax.std.DynamicID"]
        self.assertIsInstance(dynamic_id, Struct)
        self.assertTrue(all(t is dynamic_id for t in found.values()))

    def test_a_field_whose_accessor_is_a_keyword_is_refused(self):
        errors = build(service("com.quarn.nexar.a", """\
  struct S {
    default: string;
  }"""))[2]
        self.assertEqual([(e.line, e.message) for e in errors],
                         [(4, "field 'default' would have the C++ keyword 'default' as its accessor")])

    def test_a_dotted_reference_does_not_match_a_suffix(self):
        self.assertEqual(
            [(e.path, e.line, e.message) for e in build(service("com.quarn.nexar.a", """\
  struct Info {
    x: std.DynamicID;
    y: DynamicID;
    z: hardware.State;
  }"""))[2]], [
                ("idl/a.idl", 4, "unknown type 'std.DynamicID'"),
                ("idl/a.idl", 5, "unknown type 'DynamicID'"),
                ("idl/a.idl", 6, "unknown type 'hardware.State'"),
            ])

    def test_struct_enums_are_private_to_their_struct_by_plain_name(self):
        errors = build(service("com.quarn.nexar.a", "  struct S { t: Type; }"))[2]
        self.assertEqual([(e.line, e.message) for e in errors], [(3, "unknown type 'Type'")])


if __name__ == "__main__":
    unittest.main()
